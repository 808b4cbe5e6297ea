/** How often messages may go to a receiver that works for each of them: so many a second for a process, so many for
 * all. */
#pragma once

#include <cstddef>
#include <map>
#include <utility>

#include "letter.h"

/** A store that fills steadily up to a bound and gives out one at a time. */
class Bucket_t {
public:
    /** `perSecond`: 0 means without end. `most`: at least 1. */
    Bucket_t(double perSecond, double most) : perSecond_(perSecond), most_(most), level_(most) {}
    /** What is in it; `now` does not run backwards. */
    double level(MsmClock_t::time_point now);
    bool isFull(MsmClock_t::time_point now) const { return levelAt(now) >= most_; }
    void takeOne(MsmClock_t::time_point now) { level_ = level(now) - 1; }
    /** When there will be a whole one. */
    MsmClock_t::time_point ready(MsmClock_t::time_point now);

private:
    double levelAt(MsmClock_t::time_point now) const;

    double perSecond_;
    double most_;
    double level_;
    MsmClock_t::time_point at_{};
};

/** A bucket for each process that has been seen lately. */
class Buckets_t {
public:
    Buckets_t(double perSecond, double most) : perSecond_(perSecond), most_(most) {}
    Bucket_t& of(const Visitor_t& visitor, MsmClock_t::time_point now);

private:
    double perSecond_;
    double most_;
    std::map<Visitor_t, Bucket_t> buckets_;
};

/** The paces of all processes towards one receiver, and when each had its last turn. */
class Pace_t {
public:
    /** `rate`: messages a second of one process, 0 for no bound; 4 seconds' worth at once; 8 times that for all. */
    explicit Pace_t(unsigned rate);
    bool allows(const Visitor_t& visitor, MsmClock_t::time_point now);
    void spend(const Visitor_t& visitor, MsmClock_t::time_point now);
    /** When the process may send again. */
    MsmClock_t::time_point ready(const Visitor_t& visitor, MsmClock_t::time_point now);
    /** Who has waited longest comes first: last turns of the user and of the process. */
    std::pair<MsmClock_t::time_point, MsmClock_t::time_point> lastTurns(const Visitor_t& visitor,
                                                                        MsmClock_t::time_point now);

private:
    using Turns_t = std::map<Visitor_t, MsmClock_t::time_point>;

    static MsmClock_t::time_point& turnOf(Turns_t& turns, const Visitor_t& visitor, MsmClock_t::time_point now);

    Bucket_t all_;
    Buckets_t processes_;
    Turns_t processTurns_;
    Turns_t userTurns_; /**< process 0 stands for all of the user's */
};
