#include "pace.h"

#include <algorithm>

using namespace std::chrono_literals;

namespace {

constexpr double BURST_SECONDS = 4;
constexpr double ALL_PROCESSES = 8; // times the rate of one
/** Entries beyond which those that say nothing any more are removed. */
constexpr std::size_t CROWD = 1024;
/** A turn that is longer ago counts like this one, and so does that of somebody who has had none. */
constexpr auto LONG_AGO = 1s;

} // namespace

double Bucket_t::level(MsmClock_t::time_point now) {
    level_ = levelAt(now);
    at_ = now;
    return level_;
}

double Bucket_t::levelAt(MsmClock_t::time_point now) const {
    const std::chrono::duration<double> passed = now - at_;
    return perSecond_ <= 0 ? most_ : std::min(most_, level_ + passed.count() * perSecond_);
}

MsmClock_t::time_point Bucket_t::ready(MsmClock_t::time_point now) {
    const double missing = 1 - level(now);
    if (missing <= 0) {
        return now;
    }
    return now + std::chrono::ceil<MsmClock_t::duration>(std::chrono::duration<double>(missing / perSecond_));
}

Bucket_t& Buckets_t::of(const Visitor_t& visitor, MsmClock_t::time_point now) {
    if (const auto found = buckets_.find(visitor); found != buckets_.end()) {
        return found->second;
    }
    if (buckets_.size() >= CROWD) {
        // A full bucket is what a new one would be.
        std::erase_if(buckets_, [now](const auto& entry) { return entry.second.isFull(now); });
    }
    return buckets_.emplace(visitor, Bucket_t(perSecond_, most_)).first->second;
}

Pace_t::Pace_t(unsigned rate)
    : all_(rate * ALL_PROCESSES, std::max(1.0, rate * ALL_PROCESSES)),
      processes_(rate, std::max(1.0, rate * BURST_SECONDS)) {}

bool Pace_t::allows(const Visitor_t& visitor, MsmClock_t::time_point now) {
    return all_.level(now) >= 1 && processes_.of(visitor, now).level(now) >= 1;
}

void Pace_t::spend(const Visitor_t& visitor, MsmClock_t::time_point now) {
    all_.takeOne(now);
    processes_.of(visitor, now).takeOne(now);
    turnOf(processTurns_, visitor, now) = now;
    turnOf(userTurns_, {visitor.user, 0}, now) = now;
}

MsmClock_t::time_point Pace_t::ready(const Visitor_t& visitor, MsmClock_t::time_point now) {
    return std::max(all_.ready(now), processes_.of(visitor, now).ready(now));
}

std::pair<MsmClock_t::time_point, MsmClock_t::time_point> Pace_t::lastTurns(const Visitor_t& visitor,
                                                                            MsmClock_t::time_point now) {
    return {turnOf(userTurns_, {visitor.user, 0}, now), turnOf(processTurns_, visitor, now)};
}

MsmClock_t::time_point& Pace_t::turnOf(Turns_t& turns, const Visitor_t& visitor, MsmClock_t::time_point now) {
    const MsmClock_t::time_point longAgo = now - LONG_AGO;
    if (turns.size() >= CROWD) {
        std::erase_if(turns, [longAgo](const auto& entry) { return entry.second <= longAgo; });
    }
    return turns.try_emplace(visitor, longAgo).first->second;
}
