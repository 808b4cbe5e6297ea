/** LM75 temperature sensor. */
#pragma once

#include "device.h"

class Lm75_t : public Device_t {
public:
    std::string name() const override { return "LM75"; }
    unsigned width(std::uint8_t reg) const override;
    void otherTraffic() override { mostSignificantNext_ = false; }

    /* The physical face. */

    /** Temperature at the sensor in degrees Celsius; the chip measures -55 to +125 in half degrees. */
    void setCelsius(double celsius) { celsius_ = celsius; }

protected:
    unsigned load(std::uint8_t reg) const override;
    bool store(std::uint8_t reg, unsigned value) override;
    /**
     * A two-byte read gives the most significant byte first, as printed in the data sheet. The bridge splits it into
     * one-byte reads in the other order: of one-byte reads that follow each other with nothing else on the bus, the
     * first gives the half-degree byte, the second the whole degrees, and so on by turns.
     */
    bool deliver(std::uint8_t reg, unsigned value, std::span<std::uint8_t> out) override;

private:
    double celsius_ = 25.0;
    std::uint8_t configuration_ = 0x00;
    unsigned hysteresis_ = 0x4B00; /**< +75.0 degrees */
    unsigned limit_ = 0x5000;      /**< +80.0 degrees */
    bool mostSignificantNext_ = false;
};
