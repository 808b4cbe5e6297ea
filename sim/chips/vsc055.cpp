#include "sim/chips/vsc055.h"

#include <algorithm>
#include <cmath>

namespace encsim {
namespace {

// Register map.
constexpr std::uint8_t kData = 0x00;      // + port
constexpr std::uint8_t kDirection = 0x10; // + port, 1 = input
constexpr std::uint8_t kFanFirst = 0x30;  // + 4 x fan: configuration; + 2: tachometer
constexpr std::uint8_t kFanLast = 0x4F;
constexpr std::uint8_t kPwm = 0x98; // + fan

// Fan speed configuration.
constexpr std::uint8_t kTachometerEnable = 0x80;
constexpr std::uint8_t kDivisor = 0x03; // the count is divided by 1, 2, 4 or 8

// PWM control.
constexpr std::uint8_t kPwmEnable = 0x20;
constexpr std::uint8_t kPwmSteps = 0x1F; // n + 1 of 32 steps high

constexpr double kTachometerClock = 1200000.0;
constexpr std::uint8_t kNoPulses = 0xFF;

struct Place {
    enum Kind { None, Data, Direction, FanConfiguration, Tachometer, Pwm } kind;
    unsigned index;
};

Place place(std::uint8_t reg) {
    if (reg < kData + Vsc055::kPorts) {
        return {Place::Data, reg};
    }
    if (reg >= kDirection && reg < kDirection + Vsc055::kPorts) {
        return {Place::Direction, reg - unsigned{kDirection}};
    }
    if (reg >= kFanFirst && reg <= kFanLast && reg % 2 == 0) {
        return {reg % 4 == 0 ? Place::FanConfiguration : Place::Tachometer, (reg - unsigned{kFanFirst}) / 4};
    }
    if (reg >= kPwm && reg < kPwm + Vsc055::kFans) {
        return {Place::Pwm, reg - unsigned{kPwm}};
    }
    return {Place::None, 0};
}

} // namespace

unsigned Vsc055::width(std::uint8_t reg) const {
    return place(reg).kind == Place::None ? 0 : 1;
}

std::uint8_t Vsc055::pins(unsigned port) const {
    return static_cast<std::uint8_t>(data_.at(port) | direction_.at(port));
}

bool Vsc055::drivesLow(unsigned port, std::uint8_t mask) const {
    return (pins(port) & mask) == 0;
}

bool Vsc055::drivesHigh(unsigned port, std::uint8_t mask) const {
    return (direction_.at(port) & mask) == 0 && (data_.at(port) & mask) != 0;
}

double Vsc055::duty(unsigned fan) const {
    const std::uint8_t code = pwm_.at(fan);
    return (code & kPwmEnable) != 0 ? ((code & kPwmSteps) + 1) / 32.0 : 0.0;
}

unsigned Vsc055::load(std::uint8_t reg) const {
    const Place at = place(reg);
    switch (at.kind) {
    case Place::Data:
        return (inputs_[at.index] & direction_[at.index]) | (data_[at.index] & ~unsigned{direction_[at.index]});
    case Place::Direction:
        return direction_[at.index];
    case Place::FanConfiguration:
        return fanConfiguration_[at.index];
    case Place::Tachometer:
        return tachometer(at.index);
    case Place::Pwm:
        return pwm_[at.index];
    case Place::None:
        break;
    }
    return 0;
}

bool Vsc055::store(std::uint8_t reg, unsigned value) {
    const Place at = place(reg);
    const auto byte = static_cast<std::uint8_t>(value);
    switch (at.kind) {
    case Place::Data:
        data_[at.index] = byte;
        return true;
    case Place::Direction:
        direction_[at.index] = byte;
        return true;
    case Place::FanConfiguration:
        fanConfiguration_[at.index] = byte;
        return true;
    case Place::Pwm:
        pwm_[at.index] = byte;
        return true;
    case Place::Tachometer: // read only
    case Place::None:
        break;
    }
    return false;
}

std::uint8_t Vsc055::tachometer(unsigned fan) const {
    const std::uint8_t configuration = fanConfiguration_[fan];
    if ((configuration & kTachometerEnable) == 0 || rpm_[fan] < 1.0) {
        return kNoPulses;
    }
    const double count = kTachometerClock / (rpm_[fan] * (1 << (configuration & kDivisor)));
    // A count that does not fit looks like no pulses at all.
    return static_cast<std::uint8_t>(std::clamp(std::round(count), 1.0, double{kNoPulses}));
}

} // namespace encsim
