/** VSC055 enclosure management controller: eight general-purpose ports, eight tachometers, eight PWM outputs. */
#pragma once

#include <array>

#include "device.h"

class Vsc055_t : public Device_t {
public:
    static constexpr unsigned PORTS = 8;
    static constexpr unsigned FANS = 8;

    std::string name() const override { return "VSC055"; }
    unsigned width(std::uint8_t reg) const override;

    /* The physical face. */

    /**
     * Level of all pins of port `port` as the board sees them: a pin that is an output shows its data bit, a pin
     * that is an input is pulled up by the board.
     */
    std::uint8_t pins(unsigned port) const;
    /** True when the chip itself drives pin `mask` of `port` to level 0: an LED to the supply lights. */
    bool drivesLow(unsigned port, std::uint8_t mask) const;
    /** True when the chip itself drives pin `mask` of `port` to level 1. */
    bool drivesHigh(unsigned port, std::uint8_t mask) const;
    /** Levels the board puts on the pins of `port`; only pins that are inputs take notice. */
    void setInputs(unsigned port, std::uint8_t levels) { inputs_.at(port) = levels; }
    /** Speed of the fan on tachometer `fan` in RPM; 0 for no pulses. */
    void setRpm(unsigned fan, double rpm) { rpm_.at(fan) = rpm; }
    /** Duty cycle of PWM output `fan`, 0.0 to 1.0. */
    double duty(unsigned fan) const;

protected:
    unsigned load(std::uint8_t reg) const override;
    bool store(std::uint8_t reg, unsigned value) override;

private:
    std::uint8_t tachometer(unsigned fan) const;

    static constexpr std::array<std::uint8_t, 8> filled(std::uint8_t value) {
        return {value, value, value, value, value, value, value, value};
    }

    /*
     * Power-on: every pin an input, every data bit 1 (nothing lights when a port is turned to outputs before it is
     * written), tachometers off, fans at full speed until software takes over.
     */
    std::array<std::uint8_t, PORTS> data_ = filled(0xFF);
    std::array<std::uint8_t, PORTS> direction_ = filled(0xFF);
    std::array<std::uint8_t, FANS> fanConfiguration_ = filled(0x00);
    std::array<std::uint8_t, FANS> pwm_ = filled(0x3F);

    std::array<std::uint8_t, PORTS> inputs_ = filled(0xFF);
    std::array<double, FANS> rpm_{};
};
