/**
 * The registers on the bus of a healthy enclosure: what was written, what the enclosure puts there (fans that turn,
 * 26 degrees, good supplies), and what a life sets instead.
 */
#pragma once

#include <cstdint>
#include <map>
#include <utility>

#include "world.h"

namespace model {

class Registers_t {
public:
    /** What is in the buffer after a read of `length` bytes, one that failed on its way (not `delivered`) included. */
    Bytes_t read(std::uint8_t address, unsigned reg, int length, bool delivered);
    void write(std::uint8_t address, unsigned reg, std::span<const std::uint8_t> data);
    /** What the enclosure, not the adapter, does to a register: pins, counters, measured values. */
    void set(std::uint8_t address, unsigned reg, std::uint8_t value) { given_[{address, reg}] = value; }

private:
    using Place_t = std::pair<std::uint8_t, unsigned>;

    std::uint8_t value(std::uint8_t address, unsigned reg);
    std::uint8_t port(std::uint8_t address, unsigned reg);
    std::uint8_t sensorByte(std::uint8_t address, bool delivered);
    std::uint8_t pinsOf(std::uint8_t address, unsigned reg) const;
    void strobeAlarm(std::uint8_t before, std::uint8_t after);

    std::map<Place_t, std::uint8_t> written_;
    std::map<Place_t, std::uint8_t> given_;
    std::map<std::uint8_t, bool> wholeDegreesNext_; /**< of a sensor: it hands out one byte a read */
};

/** Pseudo-register of the controller at 0x63: the state of the enclosure's own alarm controller. */
inline constexpr unsigned ALARM_CONTROLLER = 0x100;
inline constexpr std::uint8_t ALARM_CONTROLLER_CHIP = 0x63;

enum class Chip_e { NONE, CONTROLLER, SENSOR, MONITOR };
Chip_e chipAt(std::uint8_t address);

} // namespace model
