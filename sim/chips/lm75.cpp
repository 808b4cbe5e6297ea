#include "sim/chips/lm75.h"

#include <algorithm>
#include <cmath>

namespace encsim {
namespace {

constexpr std::uint8_t kTemperature = 0x00;
constexpr std::uint8_t kConfiguration = 0x01;
constexpr std::uint8_t kHysteresis = 0x02;
constexpr std::uint8_t kLimit = 0x03;

constexpr unsigned kImplementedBits = 0xFF80; // nine bits, left-justified

} // namespace

unsigned Lm75::width(std::uint8_t reg) const {
    if (reg > kLimit) {
        return 0;
    }
    return reg == kConfiguration ? 1 : 2;
}

unsigned Lm75::load(std::uint8_t reg) const {
    switch (reg) {
    case kTemperature: {
        const auto halves = static_cast<int>(std::lround(std::clamp(celsius_, -55.0, 125.0) * 2.0));
        return (static_cast<unsigned>(halves) << 7) & kImplementedBits;
    }
    case kConfiguration:
        return configuration_;
    case kHysteresis:
        return hysteresis_;
    default:
        return limit_;
    }
}

bool Lm75::store(std::uint8_t reg, unsigned value) {
    switch (reg) {
    case kConfiguration:
        configuration_ = static_cast<std::uint8_t>(value);
        return true;
    case kHysteresis:
        hysteresis_ = value & kImplementedBits;
        return true;
    case kLimit:
        limit_ = value & kImplementedBits;
        return true;
    default: // the temperature is read only
        return false;
    }
}

bool Lm75::deliver(std::uint8_t reg, unsigned value, std::span<std::uint8_t> out) {
    if (width(reg) == 1) {
        return Device::deliver(reg, value, out);
    }
    const auto most = static_cast<std::uint8_t>(value >> 8);
    const auto least = static_cast<std::uint8_t>(value);
    if (out.size() == 2) {
        out[0] = most;
        out[1] = least;
        return true;
    }
    if (out.size() != 1) {
        return false;
    }
    out[0] = mostSignificantNext_ ? most : least;
    mostSignificantNext_ = !mostSignificantNext_;
    return true;
}

} // namespace encsim
