#include "pace.h"

#include <algorithm>
#include <utility>

namespace {

constexpr double BURST_SECONDS = 4;
constexpr double ALL_PLACES = 8; // times one place's rate

template <std::size_t... INDEX>
std::array<Bucket_t, sizeof...(INDEX)> repeated(const Bucket_t& bucket, std::index_sequence<INDEX...>) {
    return {((void)INDEX, bucket)...};
}

} // namespace

double Bucket_t::level(MsmClock_t::time_point now) {
    const std::chrono::duration<double> passed = now - at_;
    at_ = now;
    level_ = perSecond_ <= 0 ? most_ : std::min(most_, level_ + passed.count() * perSecond_);
    return level_;
}

MsmClock_t::time_point Bucket_t::ready(MsmClock_t::time_point now) {
    const double missing = 1 - level(now);
    if (missing <= 0) {
        return now;
    }
    return now + std::chrono::ceil<MsmClock_t::duration>(std::chrono::duration<double>(missing / perSecond_));
}

Pace_t::Pace_t(unsigned rate)
    : rate_(rate), all_(rate * ALL_PLACES, std::max(1.0, rate * ALL_PLACES)),
      places_(repeated({static_cast<double>(rate), std::max(1.0, rate * BURST_SECONDS)},
                       std::make_index_sequence<std::tuple_size_v<decltype(places_)>>())) {}

double Pace_t::allowance(Place_t place, MsmClock_t::time_point now) {
    if (all_.level(now) < 1) {
        return 0;
    }
    return places_[place].level(now);
}

void Pace_t::spend(Place_t place, MsmClock_t::time_point now) {
    all_.takeOne(now);
    places_[place].takeOne(now);
}

MsmClock_t::time_point Pace_t::ready(Place_t place, MsmClock_t::time_point now) {
    return std::max(all_.ready(now), places_[place].ready(now));
}
