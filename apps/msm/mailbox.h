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
    const Backlog_t& waiting() const { return waiting_; }
    /** Whether a message may go at once, past the mailbox: nothing waits and its pace allows it. */
    bool isOpen(const Origin_t& origin, MsmClock_t::time_point now) const;
    /** A message has gone past the mailbox. */
    void passed(const Origin_t& origin, MsmClock_t::time_point now);

    /** Lets a letter wait; how many found no room for it: the newest ones of whoever has the most waiting. */
    std::size_t push(const LetterPtr_t& letter);

    /**
     * Takes the letter whose turn it is; null when none waits, or none may go yet. With a pace: of the user, and then
     * of that user's process, that has waited longest for a turn, the connection with the fewest letters.
     */
    LetterPtr_t next(MsmClock_t::time_point now);
    /** When next() will have one, for a mailbox that is not empty. */
    MsmClock_t::time_point ready(MsmClock_t::time_point now) const;

private:
    std::optional<Origin_t> choose(MsmClock_t::time_point now) const;

    std::size_t limit_;
    Pace_t* pace_;
    Backlog_t waiting_;
    std::uint64_t last_ = 0; /**< connection of the latest letter */
};
