#include "chips/lm75.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr std::uint8_t LM75_TEMPERATURE = 0x00;
constexpr std::uint8_t LM75_CONFIGURATION = 0x01;
constexpr std::uint8_t LM75_HYSTERESIS = 0x02;
constexpr std::uint8_t LM75_LIMIT = 0x03;

constexpr unsigned IMPLEMENTED_BITS = 0xFF80; // nine bits, left-justified

} // namespace

unsigned Lm75_t::width(std::uint8_t reg) const {
    if (reg > LM75_LIMIT) {
        return 0;
    }
    return reg == LM75_CONFIGURATION ? 1 : 2;
}

unsigned Lm75_t::load(std::uint8_t reg) const {
    switch (reg) {
    case LM75_TEMPERATURE: {
        const auto halves = static_cast<int>(std::lround(std::clamp(celsius_, -55.0, 125.0) * 2.0));
        return (static_cast<unsigned>(halves) << 7) & IMPLEMENTED_BITS;
    }
    case LM75_CONFIGURATION:
        return configuration_;
    case LM75_HYSTERESIS:
        return hysteresis_;
    default:
        return limit_;
    }
}

bool Lm75_t::store(std::uint8_t reg, unsigned value) {
    switch (reg) {
    case LM75_CONFIGURATION:
        configuration_ = static_cast<std::uint8_t>(value);
        return true;
    case LM75_HYSTERESIS:
        hysteresis_ = value & IMPLEMENTED_BITS;
        return true;
    case LM75_LIMIT:
        limit_ = value & IMPLEMENTED_BITS;
        return true;
    default: // the temperature is read only
        return false;
    }
}

bool Lm75_t::deliver(std::uint8_t reg, unsigned value, std::span<std::uint8_t> out) {
    if (width(reg) == 1) {
        return Device_t::deliver(reg, value, out);
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
