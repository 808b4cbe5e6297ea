// watch: the status view and the latest events, redrawn.
#include <deque>
#include <memory>

#include "commands.h"
#include "event_source.h"
#include "interrupt.h"
#include "render_json.h"
#include "render_text.h"
#include "watch_screen.h"

namespace {

/** Everything that a frame shows. Connections that break are made anew at the next redraw. */
class Watch {
public:
    explicit Watch(const Options& options) : options_(options), palette_(standardOutputPalette()) {}

    void refresh() {
        try {
            if (!client_) {
                client_ = std::make_unique<SesClient>(options_.directory, options_.timeout());
            }
            const Enclosure enclosure = fetchEnclosure(*client_);
            status_ = statusLines(enclosure, assessHealth(enclosure.status), palette_);
        } catch (const ToolError& error) {
            client_.reset();
            status_ = {"Enclosure " + palette_.paint("NOT REACHED", CONDITION_E_FAULT) + ": " + error.what()};
        }
        takeEvents();
    }

    /** Whether there are new events to show. */
    bool takeEvents() {
        bool any = false;
        try {
            if (!events_) {
                events_ = std::make_unique<EventSource>(options_.directory, true, options_.everyEvent);
            }
            for (const EventNews& news : events_->take()) {
                history_.push_back(eventLine(news.event, news.repeats, news.time, palette_));
                any = true;
            }
        } catch (const ToolError&) {
            events_.reset(); // the status line says that the switch is gone
        }
        constexpr std::size_t KEPT = 200;
        while (history_.size() > KEPT) {
            history_.pop_front();
        }
        return any;
    }

    std::vector<int> fds() const { return events_ ? events_->fds() : std::vector<int>{}; }

    /** The status and the latest events: as many as `height` lines hold on a screen, five at least elsewhere. */
    std::vector<std::string> frame(std::size_t height, bool keys) const {
        std::vector<std::string> lines{timeText() + (keys ? "  q quits" : "")};
        lines.insert(lines.end(), status_.begin(), status_.end());
        const std::size_t least = keys ? 1 : 5;
        const std::size_t used = lines.size() + 1;
        const std::size_t room = std::max(least, height > used ? height - used : 0);
        lines.emplace_back(history_.empty() ? "Events: none yet" : "Events:");
        const std::size_t first = history_.size() > room ? history_.size() - room : 0;
        for (std::size_t i = first; i < history_.size(); ++i) {
            lines.push_back("  " + history_[i]);
        }
        return lines;
    }

private:
    const Options& options_;
    Palette palette_;
    std::unique_ptr<SesClient> client_;
    std::unique_ptr<EventSource> events_;
    std::vector<std::string> status_;
    std::deque<std::string> history_;
};

/** Redraws for every event until the next refresh is due. */
void waitShowingEvents(Watch& watch, WatchScreen& screen, Deadline deadline) {
    while (Clock::now() < deadline) {
        waitReadable(watch.fds(), deadline);
        if (watch.takeEvents() && screen.interactive()) {
            screen.draw(watch.frame(screen.height(), true));
        }
    }
}

} // namespace

int watchCommand(const Options& options) {
    interruptInstall();
    Watch watch(options);
    WatchScreen screen;
    const auto interval = std::chrono::milliseconds(static_cast<long long>(options.intervalSeconds * 1000.0));
    try {
        watch.takeEvents(); // listen before asking: asking makes the adapter report what it finds
        for (unsigned drawn = 0;;) {
            const Deadline next = Clock::now() + interval;
            watch.refresh();
            screen.draw(watch.frame(screen.height(), screen.interactive()));
            if (++drawn == options.count) {
                return 0;
            }
            waitShowingEvents(watch, screen, next);
        }
    } catch (const Interrupted&) {
        return 0; // how a live view is meant to end
    }
}
