#include "sim/chips/w83782d.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace encsim {
namespace {

constexpr std::uint8_t kVoltages = 0x20; // to 0x26
constexpr std::uint8_t kTemperature = 0x27;
constexpr std::uint8_t kFanCounts = 0x28; // to 0x2A
constexpr std::uint8_t kLimitsFirst = 0x2B;
constexpr std::uint8_t kLimitsLast = 0x3D;
constexpr std::uint8_t kConfiguration = 0x40;
constexpr std::uint8_t kSerialBusAddress = 0x48;
constexpr std::uint8_t kFanInOutBeep = 0x4D;

constexpr std::uint8_t kBeepOff = 0x40;    // in the configuration
constexpr std::uint8_t kBeepOutput = 0x80; // in the fan in/out and beep control

constexpr double kFanClock = 1350000.0;
constexpr double kFanDivisor = 2.0; // as the divisor bits stand at power-on; nothing on these boards changes them
constexpr std::uint8_t kTooSlow = 0xFF;

constexpr double kVoltsPerStep = 0.016;

// The pin sees rail x gain + offset: plain dividers for the positive rails, dividers against the 3.6 V reference (232 k
// with 56 k, 120 k with 56 k) for the negative ones.
struct Input {
    double gain, offset;
};
constexpr Input kInputs[] = {
    {1.0, 0.0},
    {1.0, 0.0},
    {1.0, 0.0},
    {1.0 / 1.68, 0.0},
    {1.0 / 3.8, 0.0},
    {56.0 / 288.0, 3.6 * 232.0 / 288.0},
    {56.0 / 176.0, 3.6 * 120.0 / 176.0},
};

// Power-on values of the registers beside the measured ones and the limits. The limits are undefined at power-on; here
// they are 0.
struct Default {
    std::uint8_t reg, value;
    bool writable;
};
constexpr Default kDefaults[] = {
    {kConfiguration, 0x01, true},
    {0x41, 0x00, false},
    {0x42, 0x00, false},
    {0x47, 0x50, true},
    {kSerialBusAddress, 0x2D, true},
    {0x49, 0x02, true},
    {0x4B, 0x44, true},
    {kFanInOutBeep, 0x15, true},
    {0x4E, 0x80, true},
    {0x58, 0x30, false},
    {0x5A, 0xFF, true},
    {0x5B, 0xFF, true},
    {0x5C, 0x11, true},
    {0x5E, 0xFF, true},
    {0x5F, 0xFF, true},
};

const Default* defaultOf(std::uint8_t reg) {
    const auto* const found =
        std::find_if(std::begin(kDefaults), std::end(kDefaults), [reg](const Default& row) { return row.reg == reg; });
    return found == std::end(kDefaults) ? nullptr : found;
}

bool isMeasured(std::uint8_t reg) {
    return reg >= kVoltages && reg < kLimitsFirst;
}
bool isLimit(std::uint8_t reg) {
    return reg >= kLimitsFirst && reg <= kLimitsLast;
}

std::uint8_t clampToByte(double value, double least, double most) {
    return static_cast<std::uint8_t>(static_cast<int>(std::lround(std::clamp(value, least, most))));
}

} // namespace

W83782d::W83782d(std::uint8_t address) {
    for (const Default& row : kDefaults) {
        registers_[row.reg] = row.value;
    }
    registers_[kSerialBusAddress] = address;
}

unsigned W83782d::width(std::uint8_t reg) const {
    return isMeasured(reg) || isLimit(reg) || defaultOf(reg) != nullptr ? 1 : 0;
}

double W83782d::duty(std::uint8_t reg) const {
    return registers_[reg] / 255.0;
}

bool W83782d::beeping() const {
    return (registers_[kFanInOutBeep] & kBeepOutput) != 0 && (registers_[kConfiguration] & kBeepOff) == 0;
}

unsigned W83782d::load(std::uint8_t reg) const {
    return isMeasured(reg) ? measured(reg) : registers_[reg];
}

bool W83782d::store(std::uint8_t reg, unsigned value) {
    const Default* const row = defaultOf(reg);
    if (!isLimit(reg) && (row == nullptr || !row->writable)) {
        return false;
    }
    registers_[reg] = static_cast<std::uint8_t>(value);
    return true;
}

std::uint8_t W83782d::measured(std::uint8_t reg) const {
    if (reg < kTemperature) {
        const std::size_t input = reg - std::size_t{kVoltages};
        return clampToByte((volts_[input] * kInputs[input].gain + kInputs[input].offset) / kVoltsPerStep, 0, 255);
    }
    if (reg == kTemperature) {
        return clampToByte(celsius_, -128, 127);
    }
    const double rpm = rpm_[reg - std::size_t{kFanCounts}];
    return rpm < 1.0 ? kTooSlow : clampToByte(kFanClock / (rpm * kFanDivisor), 1, kTooSlow);
}

} // namespace encsim
