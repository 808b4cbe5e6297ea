/** How often messages may go to a receiver that works for each of them: so many a second for a sender, so many for all.
 */
#pragma once

#include <array>
#include <cstddef>
#include <limits>

#include "letter.h"

/** A store that fills steadily up to a bound and gives out one at a time. */
class Bucket_t {
public:
    /** `perSecond`: 0 or less means without end. */
    Bucket_t(double perSecond, double most) : perSecond_(perSecond), most_(most), level_(most) {}
    /** What is in it; `now` does not run backwards. */
    double level(MsmClock_t::time_point now);
    void takeOne(MsmClock_t::time_point now) { level_ = level(now) - 1; }
    /** When there will be a whole one. */
    MsmClock_t::time_point ready(MsmClock_t::time_point now);

private:
    double perSecond_;
    double most_;
    double level_;
    MsmClock_t::time_point at_{};
};

/**
 * The paces of all places towards one receiver. A place keeps its bucket when it changes hands, so that connecting
 * anew fills none.
 */
class Pace_t {
public:
    /** `rate`: messages a second for one place, 0 for no bound; 4 seconds' worth at once; 8 times that for all. */
    explicit Pace_t(unsigned rate);
    bool isBounded() const { return rate_ != 0; }
    /** What the place may send now, less than 1 for nothing: who has asked for least has the most. */
    double allowance(Place_t place, MsmClock_t::time_point now);
    void spend(Place_t place, MsmClock_t::time_point now);
    /** When the place may send again. */
    MsmClock_t::time_point ready(Place_t place, MsmClock_t::time_point now);

private:
    unsigned rate_;
    Bucket_t all_;
    std::array<Bucket_t, std::numeric_limits<Place_t>::max() + std::size_t{1}> places_;
};
