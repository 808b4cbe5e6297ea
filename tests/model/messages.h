/** Messages to the adapter as its peers send them, and as nobody should. */
#pragma once

#include <random>
#include <vector>

#include "world.h"

namespace model {

/** Numbers that a seed decides, the same on every host: two of them never stand in one call, whose order is nobody's.
 */
class Random {
public:
    explicit Random(std::uint64_t seed) : engine(seed) {}

    unsigned below(unsigned bound) { return static_cast<unsigned>(engine() % bound); }
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
    std::mt19937_64 engine;
};

/** Element counts of a chassis, in the order of the pages. */
struct Counts {
    unsigned devices, supplies, fans, sensors, alarms;
};
Counts countsOf(std::uint8_t chassis);

/** A message of any kind, most of them well-formed. */
Bytes randomMessage(Random& random, std::uint8_t chassis);

Bytes receiveDiagnostic(std::uint8_t pageCode, unsigned allocationLength, std::uint8_t flags = 0x80);
/** A control page whose records are `fill` four times over, lists selected. */
Bytes controlPage(const Counts& counts, std::uint32_t fill);

} // namespace model
