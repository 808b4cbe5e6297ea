/** What the adapter reports to the event manager and asks of Startup, decoded. */
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "switch_client.h"

/** One report or request. Everything that a program may want is in `fields`, everything for people in `text`. */
struct Event_t {
    bool startup = false;                              /**< a request to Startup, else an event record */
    unsigned id = 0;                                   /**< event id, or request type */
    std::string name;                                  /**< stable, such as "fan-fault-status" */
    std::string severity;                              /**< "information", "warning" or "error" */
    unsigned chassis = 0;                              /**< 0 in requests to Startup */
    std::string chassisName;                           /**< such as "vsc055" */
    std::vector<std::pair<std::string, long>> numbers; /**< fields of this kind of event, by stable name */
    std::vector<std::string> elements; /**< the elements that are marked, such as {"fan1"}; empty when all is well */
    std::string text;
};

/** Decodes a message as the event manager or Startup gets it; nothing when it is neither. Any bytes are safe. */
std::optional<Event_t> decodeEvent(const Message_t& message);

/**
 * Tells news from repeats. The adapter reports an overheated enclosure, and asks for the shutdown, anew on every poll
 * for as long as it lasts; such an event that says the same as the one before, within a minute of it, is a repeat.
 */
class RepeatFilter_t {
public:
    /** The number of repeats held back since the last news of this kind, when `event` is news; nothing for a repeat. */
    std::optional<unsigned> news(const Event_t& event, Clock_t::time_point now);

private:
    struct Seen_t {
        std::string text;
        Clock_t::time_point last;
        unsigned repeats = 0;
    };
    std::map<std::string, Seen_t> seen_;
};

/** Tells what one event alone does not: that the supplies' fault indication went on since the event before. */
class SupplyMemory_t {
public:
    /** Adds to the text of a supply event; leaves others alone. Every event is to be told, in their order. */
    void tell(Event_t& event);

private:
    bool known_ = false;
    long last_ = 0;
};

/** Short name of a chassis value, such as "xyratex". */
const char* chassisName(unsigned chassis);
