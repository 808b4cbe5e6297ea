/** Status and events for as long as somebody watches: connections that break are made anew. */
#pragma once

#include <memory>

#include "enclosure.h"
#include "event_source.h"
#include "options.h"

class LiveSource {
public:
    explicit LiveSource(const Options& options) : options_(options) {}

    /** The enclosure now. Throws ToolError when it cannot be asked, and Interrupted; the next call connects anew. */
    Enclosure fetch();

    /** The events that have come since the last call, Startup's requests among them; none while the switch is away. */
    std::vector<EventNews> takeEvents();

    /** Descriptors to wait on for events. */
    std::vector<int> fds() const;

private:
    const Options& options_;
    std::unique_ptr<SesClient> client_;
    std::unique_ptr<EventSource> events_;
};
