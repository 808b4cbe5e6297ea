/** W83782D hardware monitor: seven voltages, its own temperature, three tachometers, four PWM outputs, a beeper. */
#pragma once

#include <array>

#include "device.h"

class W83782d_t : public Device_t {
public:
    static constexpr unsigned TACHOMETERS = 3;

    /** A chip whose address pins are strapped to `address`. */
    explicit W83782d_t(std::uint8_t address);

    std::string name() const override { return "W83782D"; }
    unsigned width(std::uint8_t reg) const override;

    /* The physical face. */

    /** The rails in volts: Vcore A, Vin R0, +3.3, +5, +12, -12, -5. */
    void setVolts(const std::array<double, 7>& volts) { volts_ = volts; }
    /** The chip's own temperature in degrees Celsius; it measures -128 to +127 in whole degrees. */
    void setCelsius(double celsius) { celsius_ = celsius; }
    /** Speed of the fan on tachometer `fan` in RPM. */
    void setRpm(unsigned fan, double rpm) { rpm_.at(fan) = rpm; }
    /** Duty cycle, 0.0 to 1.0, of the output that PWM register `reg` (0x5A, 0x5B, 0x5E, 0x5F) controls. */
    double duty(std::uint8_t reg) const;
    /** The beeper sounds. */
    bool beeping() const;

protected:
    unsigned load(std::uint8_t reg) const override;
    bool store(std::uint8_t reg, unsigned value) override;

private:
    std::uint8_t measured(std::uint8_t reg) const;

    std::array<std::uint8_t, 256> registers_{};
    std::array<double, 7> volts_{};
    double celsius_ = 25.0;
    std::array<double, TACHOMETERS> rpm_{};
};
