// events: the stream that the event manager sees.
#include <cstdio>

#include "commands.h"
#include "event_source.h"
#include "interrupt.h"
#include "output.h"
#include "render_text.h"

namespace {

void printEvent(const EventNews& news, const Options& options, const Palette& palette) {
    if (options.json()) {
        printJsonLine(eventJson(news.event, news.repeats, news.time));
    } else {
        printText(eventLine(news.event, news.repeats, news.time, palette) + "\n");
    }
}

/** Prints events until `deadline` or until `options.count` of them; the number printed. */
unsigned printUntil(EventSource& source, const Options& options, Deadline deadline) {
    const Palette palette = standardOutputPalette();
    unsigned printed = 0;
    for (;;) {
        for (const EventNews& news : source.take()) {
            printEvent(news, options, palette);
            if (++printed == options.count) {
                return printed;
            }
        }
        if (Clock::now() >= deadline) {
            return printed;
        }
        waitReadable(source.fds(), deadline);
    }
}

} // namespace

int eventsCommand(const Options& options) {
    interruptInstall();
    EventSource source(options.directory, options.startup, options.everyEvent);
    const Deadline deadline = options.follow ? Deadline::max() : Clock::now() + options.timeout();
    try {
        if (printUntil(source, options, deadline) == 0 && !options.json()) {
            std::fprintf(stderr, "esactl: no event within %g s; use --follow to wait on\n", options.timeoutSeconds);
        }
    } catch (const Interrupted&) {
        return 0; // how --follow is meant to end
    }
    return 0;
}
