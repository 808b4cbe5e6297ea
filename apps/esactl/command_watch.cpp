// watch: the status view and the latest events, redrawn; or both as a stream of JSON lines.
#include <deque>

#include "commands.h"
#include "interrupt.h"
#include "live_source.h"
#include "output.h"
#include "render_text.h"
#include "watch_screen.h"

namespace {

/** Where a watch shows what it learns. */
class View {
public:
    virtual ~View() = default;
    virtual void showStatus(const Enclosure& enclosure, const Health& health) = 0;
    virtual void showError(const ToolError& error) = 0;
    virtual void showEvents(const std::vector<EventNews>& news) = 0;
    /** Everything of this look has been shown. */
    virtual void endOfLook() = 0;
};

class JsonView : public View {
public:
    void showStatus(const Enclosure& enclosure, const Health& health) override {
        printJsonLine(statusJson(enclosure, health, timeText()));
    }
    void showError(const ToolError& error) override { printJsonLine(errorJson(error)); }
    void showEvents(const std::vector<EventNews>& all) override {
        for (const EventNews& news : all) {
            printJsonLine(eventJson(news.event, news.repeats, news.time));
        }
    }
    void endOfLook() override {}
};

class ScreenView : public View {
public:
    void showStatus(const Enclosure& enclosure, const Health& health) override {
        status_ = statusLines(enclosure, health, palette_);
    }

    void showError(const ToolError& error) override {
        status_ = {"Enclosure " + palette_.paint("NOT REACHED", CONDITION_E_FAULT) + ": " + error.what()};
    }

    void showEvents(const std::vector<EventNews>& all) override {
        for (const EventNews& news : all) {
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

    Palette palette_ = standardOutputPalette();
    WatchScreen screen_;
    std::vector<std::string> status_;
    std::deque<std::string> history_;
};

void look(LiveSource& source, View& view) {
    // A ToolError of the view itself means that nobody can see it any more and ends the watch.
    std::optional<Enclosure> enclosure;
    try {
        enclosure = source.fetch();
    } catch (const ToolError& error) {
        view.showError(error);
    }
    if (enclosure) {
        view.showStatus(*enclosure, assessHealth(enclosure->status));
    }
    view.showEvents(source.takeEvents());
    view.endOfLook();
}

void watchUntilInterrupted(LiveSource& source, View& view, const Options& options) {
    const auto interval = std::chrono::milliseconds(static_cast<long long>(options.intervalSeconds * 1000.0));
    view.showEvents(source.takeEvents()); // listen before asking: asking makes the adapter report what it finds
    for (unsigned looks = 0;;) {
        const Deadline next = Clock::now() + interval;
        look(source, view);
        if (++looks == options.count) {
            return;
        }
        while (Clock::now() < next) {
            waitReadable(source.fds(), next);
            view.showEvents(source.takeEvents());
        }
    }
}

} // namespace

int watchCommand(const Options& options) {
    interruptInstall();
    LiveSource source(options);
    const std::unique_ptr<View> view =
        options.json() ? std::unique_ptr<View>(new JsonView) : std::unique_ptr<View>(new ScreenView);
    try {
        watchUntilInterrupted(source, *view, options);
    } catch (const Interrupted&) {
        return 0; // how a live view is meant to end
    }
    return 0;
}
