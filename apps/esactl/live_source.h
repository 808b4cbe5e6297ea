/** Status and events for as long as somebody watches: connections that break are made anew. */
#pragma once

#include <memory>

#include "enclosure.h"
#include "event_source.h"
#include "options.h"

class LiveSource_t {
public:
    explicit LiveSource_t(const Options_t& options) : options_(options) {}

    /** The enclosure now. Throws ToolError_t when it cannot be asked, and Interrupted; the next call connects anew. */
    Enclosure_t fetch();

    /** The events that have come since the last call, Startup's requests among them; none while the switch is away. */
    std::vector<EventNews_t> takeEvents();

    /** Descriptors to wait on for events. */
    std::vector<int> fds() const;

private:
    const Options_t& options_;
    std::unique_ptr<SesClient_t> client_;
    std::unique_ptr<EventSource_t> events_;
};
