#include "live_source.h"

#include "errors.h"
#include "session.h"

Enclosure_t LiveSource_t::fetch() {
    try {
        if (!client_) {
            client_ = std::make_unique<SesClient_t>(options_.directory, options_.timeout(), options_.door());
        }
        return askEnclosure(*client_, options_);
    } catch (const ToolError_t&) {
        client_.reset();
        throw;
    }
}

std::vector<EventNews_t> LiveSource_t::takeEvents() {
    try {
        if (!events_) {
            events_ = std::make_unique<EventSource_t>(options_, true);
        }
        return events_->take();
    } catch (const ToolError_t&) {
        events_.reset(); // whoever asks for the status is told that the switch is gone
        return {};
    }
}

std::vector<int> LiveSource_t::fds() const {
    return events_ ? events_->fds() : std::vector<int>{};
}
