#include "event_source.h"

#include "render_json.h"

EventSource_t::EventSource_t(const Options_t& options, bool startup) : everyEvent_(options.everyEvent) {
    const Deadline_t deadline = Clock_t::now() + options.timeout();
    connections_.push_back(std::make_unique<SwitchConnection_t>(options.directory, "eventlog", deadline));
    if (startup) {
        connections_.push_back(std::make_unique<SwitchConnection_t>(options.directory, "startup", deadline));
    }
}

std::vector<int> EventSource_t::fds() const {
    std::vector<int> fds;
    for (const auto& connection : connections_) {
        fds.push_back(connection->fd());
    }
    return fds;
}

std::vector<EventNews_t> EventSource_t::take() {
    std::vector<EventNews_t> news;
    try {
        for (const auto& connection : connections_) {
            while (const std::optional<Message_t> message = connection->receiveQueued()) {
                addNews(news, *message);
            }
        }
    } catch (const ToolError_t&) {
        if (news.empty()) {
            throw;
        }
        // What came before the connection broke is still news; the next call meets the break again.
    }
    return news;
}

void EventSource_t::addNews(std::vector<EventNews_t>& news, const Message_t& message) {
    std::optional<Event_t> event = decodeEvent(message);
    if (!event) {
        return;
    }
    supplies_.tell(*event);
    const std::optional<unsigned> repeats = everyEvent_ ? 0U : filter_.news(*event, Clock_t::now());
    if (repeats) {
        news.push_back({*event, *repeats, timeText()});
    }
}
