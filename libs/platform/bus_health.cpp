#include "bus_health.h"

#include <algorithm>
#include <array>
#include <limits>

namespace {

constexpr int TIMEOUTS_IN_A_ROW = 3;
constexpr std::int64_t PROBE_INTERVAL_MS = 1000;

struct Health_t {
    U8_t timeouts;        /**< in a row, counted up to what the type holds */
    std::int64_t probeMs; /**< when the next transfer may be tried */
};

std::array<Health_t, 128> chips{}; // by 7-bit address
Health_t wholeBus{};

void note(Health_t& health, bool timedOut, std::int64_t nowMs) {
    if (!timedOut) {
        health.timeouts = 0;
    } else if (health.timeouts < std::numeric_limits<U8_t>::max()) {
        ++health.timeouts;
    }
    health.probeMs = nowMs + PROBE_INTERVAL_MS;
}

} // namespace

bool busIsDead() {
    return wholeBus.timeouts >= TIMEOUTS_IN_A_ROW;
}

bool busMayTry(U8_t i2cAddr, std::int64_t nowMs) {
    const Health_t& chip = chips[i2cAddr & 0x7F];
    if (busIsDead() && chip.timeouts > 0) {
        return nowMs >= wholeBus.probeMs;
    }
    return chip.timeouts < TIMEOUTS_IN_A_ROW || nowMs >= chip.probeMs;
}

bool busNoteOutcome(U8_t i2cAddr, bool timedOut, std::int64_t nowMs) {
    const bool wasDead = busIsDead();
    note(chips[i2cAddr & 0x7F], timedOut, nowMs);
    note(wholeBus, timedOut, nowMs);
    return busIsDead() != wasDead;
}

void busForgetHealth() {
    chips.fill({});
    wholeBus = {};
}
