#include "mailbox.h"

#include <algorithm>
#include <tuple>

bool Mailbox_t::isOpen(const Origin_t& origin, MsmClock_t::time_point now) const {
    return empty() && (pace_ == nullptr || pace_->allows(origin.visitor, now));
}

void Mailbox_t::passed(const Origin_t& origin, MsmClock_t::time_point now) {
    if (pace_ != nullptr) {
        pace_->spend(origin.visitor, now);
    }
}

std::size_t Mailbox_t::push(const LetterPtr_t& letter) {
    std::size_t dropped = 0;
    for (waiting_.push(letter); waiting_.bytes() > limit_; ++dropped) {
        (void)waiting_.takeNewest(waiting_.heaviest());
    }
    return dropped;
}

LetterPtr_t Mailbox_t::next(MsmClock_t::time_point now) {
    const std::optional<Origin_t> origin = choose(now);
    if (!origin) {
        return nullptr;
    }
    last_ = origin->connection;
    passed(*origin, now);
    return waiting_.takeOldest(last_);
}

std::optional<Origin_t> Mailbox_t::choose(MsmClock_t::time_point now) const {
    using Rank_t = std::tuple<MsmClock_t::time_point, MsmClock_t::time_point, std::size_t, std::uint64_t>;
    std::optional<Origin_t> best;
    Rank_t lowest;
    waiting_.forEachRow([&](const Origin_t& origin, std::size_t letters) {
        // The next connection behind the last one, in a circle.
        const std::uint64_t distance = origin.connection - last_ - 1;
        Rank_t rank{{}, {}, 0, distance};
        if (pace_ != nullptr) {
            if (!pace_->allows(origin.visitor, now)) {
                return;
            }
            const auto [user, process] = pace_->lastTurns(origin.visitor, now);
            rank = {user, process, letters, distance};
        }
        if (!best || rank < lowest) {
            best = origin;
            lowest = rank;
        }
    });
    return best;
}

MsmClock_t::time_point Mailbox_t::ready(MsmClock_t::time_point now) const {
    if (pace_ == nullptr) {
        return now;
    }
    MsmClock_t::time_point earliest = MsmClock_t::time_point::max();
    waiting_.forEachRow(
        [&](const Origin_t& origin, std::size_t) { earliest = std::min(earliest, pace_->ready(origin.visitor, now)); });
    return earliest;
}
