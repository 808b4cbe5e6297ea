#include "chips/w83782d.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace {

constexpr std::uint8_t VOLTAGES = 0x20; // to 0x26
constexpr std::uint8_t TEMPERATURE = 0x27;
constexpr std::uint8_t FAN_COUNTS = 0x28; // to 0x2A
constexpr std::uint8_t LIMITS_FIRST = 0x2B;
constexpr std::uint8_t LIMITS_LAST = 0x3D;
constexpr std::uint8_t CONFIGURATION = 0x40;
constexpr std::uint8_t SERIAL_BUS_ADDRESS = 0x48;
constexpr std::uint8_t FAN_IN_OUT_BEEP = 0x4D;

constexpr std::uint8_t BEEP_OFF = 0x40;    // in the configuration
constexpr std::uint8_t BEEP_OUTPUT = 0x80; // in the fan in/out and beep control

constexpr double FAN_CLOCK = 1350000.0;
constexpr double FAN_DIVISOR = 2.0; // as the divisor bits stand at power-on; nothing on these boards changes them
constexpr std::uint8_t TOO_SLOW = 0xFF;

constexpr double VOLTS_PER_STEP = 0.016;

/**
 * The pin sees rail x gain + offset: plain dividers for the positive rails, dividers against the 3.6 V reference (232 k
 * with 56 k, 120 k with 56 k) for the negative ones.
 */
struct Input_t {
    double gain, offset;
};
constexpr Input_t INPUTS[] = {
    {1.0, 0.0},
    {1.0, 0.0},
    {1.0, 0.0},
    {1.0 / 1.68, 0.0},
    {1.0 / 3.8, 0.0},
    {56.0 / 288.0, 3.6 * 232.0 / 288.0},
    {56.0 / 176.0, 3.6 * 120.0 / 176.0},
};

/**
 * Power-on values of the registers beside the measured ones and the limits. The limits are undefined at power-on; here
 * they are 0.
 */
struct Default_t {
    std::uint8_t reg, value;
    bool writable;
};
constexpr Default_t DEFAULTS[] = {
    {CONFIGURATION, 0x01, true},
    {0x41, 0x00, false},
    {0x42, 0x00, false},
    {0x47, 0x50, true},
    {SERIAL_BUS_ADDRESS, 0x2D, true},
    {0x49, 0x02, true},
    {0x4B, 0x44, true},
    {FAN_IN_OUT_BEEP, 0x15, true},
    {0x4E, 0x80, true},
    {0x58, 0x30, false},
    {0x5A, 0xFF, true},
    {0x5B, 0xFF, true},
    {0x5C, 0x11, true},
    {0x5E, 0xFF, true},
    {0x5F, 0xFF, true},
};

const Default_t* defaultOf(std::uint8_t reg) {
    const auto* const found =
        std::find_if(std::begin(DEFAULTS), std::end(DEFAULTS), [reg](const Default_t& row) { return row.reg == reg; });
    return found == std::end(DEFAULTS) ? nullptr : found;
}

bool isMeasured(std::uint8_t reg) {
    return reg >= VOLTAGES && reg < LIMITS_FIRST;
}
bool isLimit(std::uint8_t reg) {
    return reg >= LIMITS_FIRST && reg <= LIMITS_LAST;
}

std::uint8_t clampToByte(double value, double least, double most) {
    return static_cast<std::uint8_t>(static_cast<int>(std::lround(std::clamp(value, least, most))));
}

} // namespace

W83782d_t::W83782d_t(std::uint8_t address) {
    for (const Default_t& row : DEFAULTS) {
        registers_[row.reg] = row.value;
    }
    registers_[SERIAL_BUS_ADDRESS] = address;
}

unsigned W83782d_t::width(std::uint8_t reg) const {
    return isMeasured(reg) || isLimit(reg) || defaultOf(reg) != nullptr ? 1 : 0;
}

double W83782d_t::duty(std::uint8_t reg) const {
    return registers_[reg] / 255.0;
}

bool W83782d_t::beeping() const {
    return (registers_[FAN_IN_OUT_BEEP] & BEEP_OUTPUT) != 0 && (registers_[CONFIGURATION] & BEEP_OFF) == 0;
}

unsigned W83782d_t::load(std::uint8_t reg) const {
    return isMeasured(reg) ? measured(reg) : registers_[reg];
}

bool W83782d_t::store(std::uint8_t reg, unsigned value) {
    const Default_t* const row = defaultOf(reg);
    if (!isLimit(reg) && (row == nullptr || !row->writable)) {
        return false;
    }
    registers_[reg] = static_cast<std::uint8_t>(value);
    return true;
}

std::uint8_t W83782d_t::measured(std::uint8_t reg) const {
    if (reg < TEMPERATURE) {
        const std::size_t input = reg - std::size_t{VOLTAGES};
        return clampToByte((volts_[input] * INPUTS[input].gain + INPUTS[input].offset) / VOLTS_PER_STEP, 0, 255);
    }
    if (reg == TEMPERATURE) {
        return clampToByte(celsius_, -128, 127);
    }
    const double rpm = rpm_[reg - std::size_t{FAN_COUNTS}];
    return rpm < 1.0 ? TOO_SLOW : clampToByte(FAN_CLOCK / (rpm * FAN_DIVISOR), 1, TOO_SLOW);
}
