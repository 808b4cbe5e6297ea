/** The stream of events, as the event manager and Startup get them, without the repeats. */
#pragma once

#include <memory>

#include "events.h"
#include "options.h"

struct EventNews_t {
    Event_t event;
    unsigned repeats; /**< repeats of its kind that were held back before it */
    std::string time; /**< when it arrived, UTC */
};

class EventSource_t {
public:
    /** Connects, within the time of the options. `startup`: Startup's requests too. Throws as SwitchConnection. */
    EventSource_t(const Options_t& options, bool startup);

    /** Descriptors to wait on. */
    std::vector<int> fds() const;

    /**
     * What has come since the last call, in order of arrival on each connection; never blocks. Throws as
     * SwitchConnection::receive() does, once everything that came before is handed over.
     */
    std::vector<EventNews_t> take();

private:
    void addNews(std::vector<EventNews_t>& news, const Message_t& message);

    std::vector<std::unique_ptr<SwitchConnection_t>> connections_;
    RepeatFilter_t filter_;
    SupplyMemory_t supplies_;
    bool everyEvent_;
};
