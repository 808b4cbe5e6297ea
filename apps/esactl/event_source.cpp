#include "event_source.h"

#include "render_json.h"

EventSource::EventSource(const std::string& directory, bool startup, bool everyEvent) : everyEvent_(everyEvent) {
    connections_.push_back(std::make_unique<SwitchConnection>(directory, "eventlog"));
    if (startup) {
        connections_.push_back(std::make_unique<SwitchConnection>(directory, "startup"));
    }
}

std::vector<int> EventSource::fds() const {
    std::vector<int> fds;
    for (const auto& connection : connections_) {
        fds.push_back(connection->fd());
    }
    return fds;
}

std::vector<EventNews> EventSource::take() {
    std::vector<EventNews> news;
    try {
        for (const auto& connection : connections_) {
            while (const std::optional<Message> message = connection->receiveQueued()) {
                addNews(news, *message);
            }
        }
    } catch (const ToolError&) {
        if (news.empty()) {
            throw;
        }
        // What came before the connection broke is still news; the next call meets the break again.
    }
    return news;
}

void EventSource::addNews(std::vector<EventNews>& news, const Message& message) {
    const std::optional<Event> event = decodeEvent(message);
    if (!event) {
        return;
    }
    const std::optional<unsigned> repeats = everyEvent_ ? 0U : filter_.news(*event, Clock::now());
    if (repeats) {
        news.push_back({*event, *repeats, timeText()});
    }
}
