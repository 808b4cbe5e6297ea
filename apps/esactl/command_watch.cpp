/** watch: the status view and the latest events, redrawn; or both as a stream of JSON lines. */
#include <deque>

#include "commands.h"
#include "interrupt.h"
#include "live_source.h"
#include "output.h"
#include "render_json.h"
#include "render_text.h"
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
    void showStatus(const Enclosure_t& enclosure, const Health_t& health) override {
        status_ = statusLines(enclosure, health, palette_);
    }

    void showError(const ToolError_t& error) override {
        status_ = {"Enclosure " + palette_.paint("NOT REACHED", CONDITION_E_FAULT) + ": " + error.what()};
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
        lines.insert(lines.end(), status_.begin(), status_.end());
        lines.emplace_back(history_.empty() ? "Events: none yet" : "Events:");
        const std::size_t height = screen_.height();
        const std::size_t least = screen_.interactive() ? 1 : 5;
        const std::size_t room = std::max(least, height > lines.size() ? height - lines.size() : 0);
        const std::size_t first = history_.size() > room ? history_.size() - room : 0;
        for (std::size_t i = first; i < history_.size(); ++i) {
            lines.push_back("  " + history_[i]);
        }
        return lines;
    }

    Palette_t palette_ = standardOutputPalette();
    WatchScreen_t screen_;
    std::vector<std::string> status_;
    std::deque<std::string> history_;
};

void look(LiveSource_t& source, View_t& view) {
    // A ToolError of the view itself means that nobody can see it any more and ends the watch.
    std::optional<Enclosure_t> enclosure;
    try {
        enclosure = source.fetch();
    } catch (const ToolError_t& error) {
        view.showError(error);
    }
    if (enclosure) {
        view.showStatus(*enclosure, assessHealth(enclosure->status));
    }
    view.showEvents(source.takeEvents());
    view.endOfLook();
}

void watchUntilInterrupted(LiveSource_t& source, View_t& view, const Options_t& options) {
    const auto interval = std::chrono::milliseconds(static_cast<long long>(options.intervalSeconds * 1000.0));
    view.showEvents(source.takeEvents()); // listen before asking: asking makes the adapter report what it finds
    for (unsigned looks = 0;;) {
        const Deadline_t next = Clock_t::now() + interval;
        look(source, view);
        if (++looks == options.count) {
            return;
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
    const std::unique_ptr<View_t> view =
        options.json() ? std::unique_ptr<View_t>(new JsonView_t) : std::unique_ptr<View_t>(new ScreenView_t);
    try {
        watchUntilInterrupted(source, *view, options);
    } catch (const Interrupted_t&) {
        return 0; // how a live view is meant to end
    }
    return 0;
}
