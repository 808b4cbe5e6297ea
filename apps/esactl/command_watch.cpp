/** watch: the status view and the latest events, redrawn; or both as a stream of JSON lines. */
#include <deque>

#include "commands.h"
#include "interrupt.h"
#include "live_source.h"
#include "output.h"
#include "render_json.h"
#include "render_text.h"
#include "session.h"
#include "stop_signal.h"
#include "watch_screen.h"

namespace {

/** Where a watch shows what it learns. */
class View_t {
public:
    virtual ~View_t() = default;
    virtual void showStatus(const Enclosure_t& enclosure, const Health_t& health) = 0;
    virtual void showError(const ToolError_t& error) = 0;
    virtual void showEvents(const std::vector<EventNews_t>& news) = 0;
    /** Everything of this look has been shown. */
    virtual void endOfLook() = 0;
};

class JsonView_t : public View_t {
public:
    void showStatus(const Enclosure_t& enclosure, const Health_t& health) override {
        printJsonLine(statusJson(enclosure, health, timeText()));
    }
    void showError(const ToolError_t& error) override { printJsonLine(errorJson(error)); }
    void showEvents(const std::vector<EventNews_t>& all) override {
        for (const EventNews_t& news : all) {
            printJsonLine(eventJson(news.event, news.repeats, news.time));
        }
    }
    void endOfLook() override {}
};

class ScreenView_t : public View_t {
public:
    ScreenView_t(std::string note) : note_(std::move(note)) {}

    void showStatus(const Enclosure_t& enclosure, const Health_t& health) override {
        status_ = statusLines(enclosure, health, palette_, screen_.width());
        known_ = statusLines(enclosure, health, {}, screen_.width());
        knownAt_ = Clock_t::now();
    }

    void showError(const ToolError_t& error) override {
        status_ = {"Enclosure " + palette_.paint("NOT REACHED", CONDITION_E_FAULT) + ": " + error.what()};
        if (known_.empty()) {
            return;
        }
        const auto age = std::chrono::duration_cast<std::chrono::seconds>(Clock_t::now() - knownAt_).count();
        status_.push_back("What it was " + std::to_string(age) + " s ago:");
        for (const std::string& line : known_) {
            status_.push_back(palette_.paint(line, CONDITION_E_UNKNOWN));
        }
    }

    void showEvents(const std::vector<EventNews_t>& all) override {
        for (const EventNews_t& news : all) {
            history_.push_back(eventLine(news.event, news.repeats, news.time, palette_));
        }
        constexpr std::size_t KEPT = 200;
        while (history_.size() > KEPT) {
            history_.pop_front();
        }
        if (!all.empty() && screen_.interactive() && !status_.empty()) {
            endOfLook();
        }
    }

    void endOfLook() override { screen_.draw(frame()); }

private:
    /** The status and the latest events: as many as a screen holds, five at least where there is none. */
    std::vector<std::string> frame() const {
        std::vector<std::string> lines{timeText() + (screen_.interactive() ? "  q quits" : "")};
        if (!note_.empty()) {
            lines.push_back(note_);
        }
        lines.insert(lines.end(), status_.begin(), status_.end());
        lines = wrapLines(lines, screen_.width(), INDENT);
        lines.emplace_back(history_.empty() ? "Events: none yet" : "Events:");
        const std::size_t height = screen_.height();
        const std::size_t least = screen_.interactive() ? 1 : 5;
        const std::size_t room = std::max(least, height > lines.size() ? height - lines.size() : 0);
        std::vector<std::string> events;
        for (const std::string& event : history_) {
            events.push_back("  " + event);
        }
        events = wrapLines(events, screen_.width(), INDENT);
        lines.insert(lines.end(),
                     events.size() > room ? events.end() - static_cast<std::ptrdiff_t>(room) : events.begin(),
                     events.end());
        return lines;
    }

    static constexpr std::size_t INDENT = 4;

    std::string note_;
    Palette_t palette_ = standardOutputPalette();
    WatchScreen_t screen_;
    std::vector<std::string> known_; /**< the last status, without colours */
    Clock_t::time_point knownAt_;
    std::vector<std::string> status_;
    std::deque<std::string> history_;
};

/** The exit status of this look, as the status command's. */
int look(LiveSource_t& source, View_t& view, const Options_t& options) {
    int exitStatus = 0;
    // A ToolError of the view itself means that nobody can see it any more and ends the watch.
    std::optional<Enclosure_t> enclosure;
    try {
        enclosure = source.fetch();
    } catch (const ToolError_t& error) {
        exitStatus = error.exitStatus();
        view.showError(error);
    }
    if (enclosure) {
        const Health_t health = judgedHealth(*enclosure, options);
        exitStatus = health.exitStatus;
        view.showStatus(*enclosure, health);
    }
    view.showEvents(source.takeEvents());
    view.endOfLook();
    return exitStatus;
}

/** The exit status of the last look. */
int watchUntilInterrupted(LiveSource_t& source, View_t& view, const Options_t& options) {
    const auto interval = std::chrono::milliseconds(static_cast<long long>(options.intervalSeconds * 1000.0));
    view.showEvents(source.takeEvents()); // listen before asking: asking makes the adapter report what it finds
    for (unsigned looks = 0;;) {
        const Deadline_t next = Clock_t::now() + interval;
        const int exitStatus = look(source, view, options);
        if (++looks == options.count) {
            return exitStatus;
        }
        while (Clock_t::now() < next) {
            waitReadable(source.fds(), next);
            view.showEvents(source.takeEvents());
        }
    }
}

} // namespace

int watchCommand(const Options_t& options) {
    stopSignalInstall();
    LiveSource_t source(options);
    const std::unique_ptr<View_t> view = options.json() ? std::unique_ptr<View_t>(new JsonView_t)
                                                        : std::unique_ptr<View_t>(new ScreenView_t(options.note));
    try {
        return watchUntilInterrupted(source, *view, options);
    } catch (const Interrupted_t&) {
        return 0; // how a live view is meant to end
    }
}
