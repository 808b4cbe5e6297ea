#include "mailbox.h"

#include <algorithm>

bool Mailbox_t::isOpen(Place_t place, MsmClock_t::time_point now) const {
    return empty() && (pace_ == nullptr || pace_->allowance(place, now) >= 1);
}

void Mailbox_t::passed(Place_t place, MsmClock_t::time_point now) {
    if (pace_ != nullptr) {
        pace_->spend(place, now);
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
    const std::optional<Place_t> place = choose(now);
    if (!place) {
        return nullptr;
    }
    last_ = *place;
    passed(*place, now);
    return waiting_.takeOldest(*place);
}

/** The place with the most allowance; of equals the next behind the last one, in a circle. */
std::optional<Place_t> Mailbox_t::choose(MsmClock_t::time_point now) const {
    std::optional<Place_t> best;
    double most = 0;
    const auto distance = [this](Place_t place) { return static_cast<Place_t>(place - last_ - 1); };
    waiting_.forEachRow([&](Place_t place, const Letter_t&) {
        const double allowance = pace_ == nullptr ? 1 : pace_->allowance(place, now);
        if (allowance >= 1 && (!best || allowance > most || (allowance == most && distance(place) < distance(*best)))) {
            best = place;
            most = allowance;
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
        [&](Place_t place, const Letter_t&) { earliest = std::min(earliest, pace_->ready(place, now)); });
    return earliest;
}
