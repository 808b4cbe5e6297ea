/** What waits for a receiver that is connected, and whose turn it is. */
#pragma once

#include <optional>

#include "backlog.h"
#include "pace.h"

class Mailbox_t {
public:
    /** `limit`: bytes that wait at most, one greatest message or more. `pace` may be null: no bound, turn by turn. */
    Mailbox_t(std::size_t limit, Pace_t* pace) : limit_(limit), pace_(pace) {}

    bool empty() const { return waiting_.empty(); }
    /** Messages from the place that wait. */
    std::size_t count(Place_t place) const { return waiting_.count(place); }
    /** Whether a message of the place may go at once, past the mailbox: nothing waits and its pace allows it. */
    bool isOpen(Place_t place, MsmClock_t::time_point now) const;
    /** A message of the place has gone past the mailbox. */
    void passed(Place_t place, MsmClock_t::time_point now);

    /** Lets a letter wait; how many found no room for it: the newest ones of whoever has the most waiting. */
    std::size_t push(const LetterPtr_t& letter);

    /** Takes the letter whose turn it is; null when none waits, or none may go yet. */
    LetterPtr_t next(MsmClock_t::time_point now);
    /** When next() will have one, for a mailbox that is not empty. */
    MsmClock_t::time_point ready(MsmClock_t::time_point now) const;

private:
    std::optional<Place_t> choose(MsmClock_t::time_point now) const;

    std::size_t limit_;
    Pace_t* pace_;
    Backlog_t waiting_;
    Place_t last_ = 0;
};
