#include "chips/vsc055.h"

#include <algorithm>
#include <cmath>

namespace {

/* Register map. */
constexpr std::uint8_t PORT_DATA = 0x00;      // + port
constexpr std::uint8_t PORT_DIRECTION = 0x10; // + port, 1 = input
constexpr std::uint8_t FAN_FIRST = 0x30;      // + 4 x fan: configuration; + 2: tachometer
constexpr std::uint8_t FAN_LAST = 0x4F;
constexpr std::uint8_t PWM_FIRST = 0x98; // + fan

/* Fan speed configuration. */
constexpr std::uint8_t TACHOMETER_ENABLE = 0x80;
constexpr std::uint8_t DIVISOR = 0x03; // the count is divided by 1, 2, 4 or 8

/* PWM control. */
constexpr std::uint8_t PWM_ENABLE = 0x20;
constexpr std::uint8_t PWM_STEPS = 0x1F; // n + 1 of 32 steps high

constexpr double TACHOMETER_CLOCK = 1200000.0;
constexpr std::uint8_t NO_PULSES = 0xFF;

struct Place_t {
    enum Kind_e { NONE, DATA, DIRECTION, FAN_CONFIGURATION, TACHOMETER, PWM } kind;
    unsigned index;
};

Place_t place(std::uint8_t reg) {
    if (reg < PORT_DATA + Vsc055_t::PORTS) {
        return {Place_t::DATA, reg};
    }
    if (reg >= PORT_DIRECTION && reg < PORT_DIRECTION + Vsc055_t::PORTS) {
        return {Place_t::DIRECTION, reg - unsigned{PORT_DIRECTION}};
    }
    if (reg >= FAN_FIRST && reg <= FAN_LAST && reg % 2 == 0) {
        return {reg % 4 == 0 ? Place_t::FAN_CONFIGURATION : Place_t::TACHOMETER, (reg - unsigned{FAN_FIRST}) / 4};
    }
    if (reg >= PWM_FIRST && reg < PWM_FIRST + Vsc055_t::FANS) {
        return {Place_t::PWM, reg - unsigned{PWM_FIRST}};
    }
    return {Place_t::NONE, 0};
}

} // namespace

unsigned Vsc055_t::width(std::uint8_t reg) const {
    return place(reg).kind == Place_t::NONE ? 0 : 1;
}

std::uint8_t Vsc055_t::pins(unsigned port) const {
    return static_cast<std::uint8_t>(data_.at(port) | direction_.at(port));
}

bool Vsc055_t::drivesLow(unsigned port, std::uint8_t mask) const {
    return (pins(port) & mask) == 0;
}

bool Vsc055_t::drivesHigh(unsigned port, std::uint8_t mask) const {
    return (direction_.at(port) & mask) == 0 && (data_.at(port) & mask) != 0;
}

double Vsc055_t::duty(unsigned fan) const {
    const std::uint8_t code = pwm_.at(fan);
    return (code & PWM_ENABLE) != 0 ? ((code & PWM_STEPS) + 1) / 32.0 : 0.0;
}

unsigned Vsc055_t::load(std::uint8_t reg) const {
    const Place_t at = place(reg);
    switch (at.kind) {
    case Place_t::DATA:
        return (inputs_[at.index] & direction_[at.index]) | (data_[at.index] & ~unsigned{direction_[at.index]});
    case Place_t::DIRECTION:
        return direction_[at.index];
    case Place_t::FAN_CONFIGURATION:
        return fanConfiguration_[at.index];
    case Place_t::TACHOMETER:
        return tachometer(at.index);
    case Place_t::PWM:
        return pwm_[at.index];
    case Place_t::NONE:
        break;
    }
    return 0;
}

bool Vsc055_t::store(std::uint8_t reg, unsigned value) {
    const Place_t at = place(reg);
    const auto byte = static_cast<std::uint8_t>(value);
    switch (at.kind) {
    case Place_t::DATA:
        data_[at.index] = byte;
        return true;
    case Place_t::DIRECTION:
        direction_[at.index] = byte;
        return true;
    case Place_t::FAN_CONFIGURATION:
        fanConfiguration_[at.index] = byte;
        return true;
    case Place_t::PWM:
        pwm_[at.index] = byte;
        return true;
    case Place_t::TACHOMETER: // read only
    case Place_t::NONE:
        break;
    }
    return false;
}

std::uint8_t Vsc055_t::tachometer(unsigned fan) const {
    const std::uint8_t configuration = fanConfiguration_[fan];
    if ((configuration & TACHOMETER_ENABLE) == 0 || rpm_[fan] < 1.0) {
        return NO_PULSES;
    }
    const double count = TACHOMETER_CLOCK / (rpm_[fan] * (1 << (configuration & DIVISOR)));
    // A count that does not fit looks like no pulses at all.
    return static_cast<std::uint8_t>(std::clamp(std::round(count), 1.0, double{NO_PULSES}));
}
