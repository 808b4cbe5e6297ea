/** Messages to the adapter as its peers send them, and as nobody should. */
#pragma once

#include <random>
#include <vector>

#include "world.h"

namespace model {

/** Numbers that a seed decides, the same on every host: two of them never stand in one call, whose order is nobody's.
 */
class Random_t {
public:
    explicit Random_t(std::uint64_t seed) : engine_(seed) {}

    unsigned below(unsigned bound) { return static_cast<unsigned>(engine_() % bound); }
    bool chance(unsigned percent) { return below(100) < percent; }
    std::uint8_t byte() { return static_cast<std::uint8_t>(below(256)); }

    template <typename T>
    T pick(std::initializer_list<T> values) {
        return values.begin()[below(static_cast<unsigned>(values.size()))];
    }
    template <typename T>
    const T& pick(const std::vector<T>& values) {
        return values[below(static_cast<unsigned>(values.size()))];
    }

private:
    std::mt19937_64 engine_;
};

/** Element counts of a chassis, in the order of the pages. */
struct Counts_t {
    unsigned devices, supplies, fans, sensors, alarms;
};
Counts_t countsOf(std::uint8_t chassis);

/** A message of any kind, most of them well-formed. */
Bytes_t randomMessage(Random_t& random, std::uint8_t chassis);

Bytes_t receiveDiagnostic(std::uint8_t pageCode, unsigned allocationLength, std::uint8_t flags = 0x80);
/** A control page whose records are `fill` four times over, lists selected. */
Bytes_t controlPage(const Counts_t& counts, std::uint32_t fill);

} // namespace model
