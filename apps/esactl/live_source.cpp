#include "live_source.h"

#include "tool_error.h"

Enclosure LiveSource::fetch() {
    try {
        if (!client_) {
            client_ = std::make_unique<SesClient>(options_.directory, options_.timeout());
        }
        return fetchEnclosure(*client_);
    } catch (const ToolError&) {
        client_.reset();
        throw;
    }
}

std::vector<EventNews> LiveSource::takeEvents() {
    try {
        if (!events_) {
            events_ = std::make_unique<EventSource>(options_.directory, true, options_.everyEvent);
        }
        return events_->take();
    } catch (const ToolError&) {
        events_.reset(); // whoever asks for the status is told that the switch is gone
        return {};
    }
}

std::vector<int> LiveSource::fds() const {
    return events_ ? events_->fds() : std::vector<int>{};
}
