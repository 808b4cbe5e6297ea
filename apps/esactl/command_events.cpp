/** events: the stream that the event manager sees. */
#include <cstdio>

#include "commands.h"
#include "event_source.h"
#include "interrupt.h"
#include "output.h"
#include "render_json.h"
#include "render_text.h"
#include "session.h"
#include "stop_signal.h"

namespace {

void printEvent(const EventNews_t& news, const Options_t& options, const Palette_t& palette) {
    if (options.json()) {
        printJsonLine(eventJson(news.event, news.repeats, news.time));
    } else {
        printText(eventLine(news.event, news.repeats, news.time, palette) + "\n");
    }
}

/** What comes at once has waited in the switch: nothing in it tells for how long. */
void tellKept() {
    tellNote(
        "what the switch had kept is shown with the time at which it came here; with --since 1h the monitor tells when "
        "it happened");
}

/** Prints events until `deadline` or until `options.count` of them; the number printed. */
unsigned printUntil(EventSource_t& source, const Options_t& options, Deadline_t deadline) {
    const Palette_t palette = standardOutputPalette();
    constexpr auto AT_ONCE = std::chrono::milliseconds(300);
    const Deadline_t early = Clock_t::now() + AT_ONCE;
    unsigned printed = 0;
    for (;;) {
        for (const EventNews_t& news : source.take()) {
            if (printed == 0 && !options.json() && Clock_t::now() < early) {
                tellKept();
            }
            printEvent(news, options, palette);
            if (++printed == options.count) {
                return printed;
            }
        }
        if (Clock_t::now() >= deadline) {
            return printed;
        }
        waitReadable(source.fds(), deadline);
    }
}

} // namespace

int eventsCommand(const Options_t& options) {
    if (wantsHistory(options)) {
        return pastEventsCommand(options);
    }
    stopSignalInstall();
    EventSource_t source(options, options.startup);
    const Deadline_t deadline = options.follow ? Deadline_t::max() : Clock_t::now() + options.timeout();
    try {
        if (printUntil(source, options, deadline) == 0 && !options.json()) {
            std::fprintf(stderr, "esactl: no event within %g s; use --follow to wait on\n", options.timeoutSeconds);
        }
    } catch (const Interrupted_t&) {
        return 0; // how --follow is meant to end
    }
    return 0;
}
