#include "registers.h"

#include <array>

namespace model {
namespace {

constexpr unsigned PORTS = 8;
constexpr unsigned DIRECTIONS = 0x10;
constexpr unsigned SUPPLY_PORT = 4;
constexpr unsigned ALARM_PORT = 5;
constexpr unsigned FIRST_TACHOMETER = 0x32;
constexpr unsigned LAST_TACHOMETER = 0x4E;
constexpr std::uint8_t HEALTHY_COUNT = 100; /**< 3000 RPM and more on every chassis */
constexpr std::uint8_t ROOM_TEMPERATURE = 26;

constexpr std::uint8_t ALARM_FIELD = 0x07;
constexpr std::uint8_t ALARM_STROBE = 0x08;
constexpr std::uint8_t ALARM_SHOWN = 0x10;

constexpr unsigned MEASURED = 0x20;
/** Core voltages, 3.3, 5, 12, -12, -5 V, degrees, three fans. */
constexpr std::array<std::uint8_t, 11> HEALTHY_MEASUREMENTS = {94, 94, 206, 186, 197, 35, 54, 26, 100, 100, 100};

std::uint8_t healthyController(std::uint8_t address, unsigned reg) {
    if (reg == SUPPLY_PORT) {
        return 0xFF;
    }
    if (reg == 3 && address == ALARM_CONTROLLER_CHIP) {
        return 0xF0; // slots 12 to 15 do not exist
    }
    if (reg >= DIRECTIONS && reg < DIRECTIONS + PORTS) {
        return 0xFF;
    }
    const bool isTachometer = reg >= FIRST_TACHOMETER && reg <= LAST_TACHOMETER && reg % 4 == 2;
    return isTachometer ? HEALTHY_COUNT : 0;
}

std::uint8_t healthyMonitor(std::uint8_t address, unsigned reg) {
    if (reg >= MEASURED && reg < MEASURED + HEALTHY_MEASUREMENTS.size()) {
        return HEALTHY_MEASUREMENTS.at(reg - MEASURED);
    }
    switch (reg) {
    case 0x40:
        return 0x01;
    case 0x48:
        return address;
    case 0x4D:
        return 0x15;
    default:
        return 0;
    }
}

bool isMeasured(std::uint8_t address, unsigned reg) {
    switch (chipAt(address)) {
    case Chip_e::CONTROLLER:
        return reg >= FIRST_TACHOMETER && reg <= LAST_TACHOMETER && reg % 4 == 2;
    case Chip_e::MONITOR:
        return reg >= MEASURED && reg < MEASURED + HEALTHY_MEASUREMENTS.size();
    default:
        return true;
    }
}

} // namespace

Chip_e chipAt(std::uint8_t address) {
    if (address == 0x41 || address == ALARM_CONTROLLER_CHIP) {
        return Chip_e::CONTROLLER;
    }
    if (address >= 0x48 && address <= 0x4F) {
        return Chip_e::SENSOR;
    }
    return address >= 0x28 && address <= 0x30 ? Chip_e::MONITOR : Chip_e::NONE;
}

Bytes_t Registers_t::read(std::uint8_t address, unsigned reg, int length, bool delivered) {
    const bool isTemperature = chipAt(address) == Chip_e::SENSOR && reg == 0;
    Bytes_t data;
    for (int i = 0; i < length; ++i) {
        data.push_back(isTemperature ? sensorByte(address, delivered) : value(address, reg + static_cast<unsigned>(i)));
    }
    return data;
}

std::uint8_t Registers_t::sensorByte(std::uint8_t address, bool delivered) {
    bool& whole = wholeDegreesNext_[address];
    const auto found = given_.find({address, whole ? 0U : 1U});
    const std::uint8_t byte = found != given_.end() ? found->second : whole ? ROOM_TEMPERATURE : std::uint8_t{0};
    whole = whole != delivered;
    return byte;
}

std::uint8_t Registers_t::pinsOf(std::uint8_t address, unsigned reg) const {
    const auto found = given_.find({address, reg});
    return found != given_.end() ? found->second : healthyController(address, reg);
}

/** A port's outputs show what was written, its inputs what the enclosure holds them at. */
std::uint8_t Registers_t::port(std::uint8_t address, unsigned reg) {
    const auto direction = written_.find({address, DIRECTIONS + reg});
    const unsigned inputs = direction == written_.end() ? 0xFFU : direction->second;
    unsigned pins = pinsOf(address, reg);
    const std::uint8_t output = written_[{address, reg}];
    if (reg == ALARM_PORT && address == ALARM_CONTROLLER_CHIP) {
        const unsigned state = given_[{address, ALARM_CONTROLLER}];
        const bool shown = (state >> (output & ALARM_FIELD) & 1U) != 0;
        pins = (pins & ~unsigned{ALARM_SHOWN}) | (shown ? unsigned{ALARM_SHOWN} : 0U);
    }
    return static_cast<std::uint8_t>((pins & inputs) | (output & ~inputs));
}

std::uint8_t Registers_t::value(std::uint8_t address, unsigned reg) {
    const Chip_e chip = chipAt(address);
    if (chip == Chip_e::CONTROLLER && reg < PORTS) {
        return port(address, reg);
    }
    if (const auto found = given_.find({address, reg}); found != given_.end()) {
        return found->second;
    }
    if (const auto found = written_.find({address, reg}); found != written_.end() && !isMeasured(address, reg)) {
        return found->second;
    }
    return chip == Chip_e::CONTROLLER ? healthyController(address, reg)
           : chip == Chip_e::MONITOR  ? healthyMonitor(address, reg)
                                      : std::uint8_t{0};
}

/** The falling strobe hands the field over as the new state. */
void Registers_t::strobeAlarm(std::uint8_t before, std::uint8_t after) {
    if ((before & ALARM_STROBE) != 0 && (after & ALARM_STROBE) == 0) {
        given_[{ALARM_CONTROLLER_CHIP, ALARM_CONTROLLER}] = after & ALARM_FIELD;
    }
}

void Registers_t::write(std::uint8_t address, unsigned reg, std::span<const std::uint8_t> data) {
    for (std::size_t i = 0; i < data.size(); ++i) {
        std::uint8_t& place = written_[{address, reg + static_cast<unsigned>(i)}];
        if (address == ALARM_CONTROLLER_CHIP && reg + i == ALARM_PORT) {
            strobeAlarm(place, data[i]);
        }
        place = data[i];
    }
}

} // namespace model
