/** What there is to see and touch in an enclosure, in physical units. */
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

enum class FanState_e { OK, STALLED, WORN, REMOVED };

struct Fan_t {
    double maxRpm = 0; /**< healthy, at full duty */
    double duty = 1.0; /**< 0.0 to 1.0, from the PWM output that drives it */
    double rpm = 0;    /**< now */
    FanState_e state = FanState_e::OK;
    double wornTo = 1.0; /**< share of the healthy speed a worn fan still reaches */
};

enum class SupplyState_e { OK, FAILED, PULLED };

struct Supply_t {
    SupplyState_e state = SupplyState_e::OK;
    bool alarm = false; /**< its own beeper, until the supply is well again or the enclosure clears it */
};

struct Drive_t {
    bool present = true;
    std::optional<bool> led; /**< fault LED; empty where the chassis wires none */
};

struct Sensor_t {
    double offset = 0;         /**< from the air temperature, where it sits */
    double celsius = 0;        /**< now */
    std::optional<double> set; /**< held at this value whatever the air does */
    std::uint8_t address = 0;  /**< of the chip that measures it */
    bool ownChip = true;       /**< false for a sensor inside a hardware monitor, which cannot go alone */
};

constexpr std::array<const char*, 7> RAIL_NAMES = {"vcore", "vinr0", "3.3", "5", "12", "-12", "-5"};
constexpr std::array<double, 7> RAIL_VOLTS = {1.5, 1.5, 3.3, 5.0, 12.0, -12.0, -5.0};

/** The voltages one hardware monitor measures, in the order of `RAIL_NAMES`; empty entries follow the supplies. */
struct Board_t {
    std::uint8_t address = 0;
    std::array<double, 7> volts = RAIL_VOLTS;
    std::array<std::optional<double>, 7> set;
};

struct Alarm_t {
    unsigned state = 0; /**< 0 idle, 1 fault, 2 remind, 3 mute, 4 critical */
    bool sounding = false;
    bool settable = false;      /**< a controller of its own holds the state (Xyratex) */
    bool automatic = false;     /**< that controller reacts to the supplies and to time */
    double remindAfter = 120.0; /**< seconds from fault or mute to remind */
    double elapsed = 0;         /**< seconds in this state */
};

struct World_t {
    std::vector<Fan_t> fans;
    std::vector<Supply_t> supplies;
    std::vector<Drive_t> drives;
    std::vector<Sensor_t> sensors;
    std::vector<Board_t> boards;
    std::vector<std::pair<std::string, bool>> leds; /**< the chassis' own */
    Alarm_t alarm;

    double heatWatts = 190.0;
    double ambient = 22.0; /**< degrees Celsius */
    double air = 30.0;     /**< inside, degrees Celsius */
    double seconds = 0;    /**< simulated, since power-on */

    bool anySupply(SupplyState_e state) const {
        for (const Supply_t& supply : supplies) {
            if (supply.state == state) {
                return true;
            }
        }
        return false;
    }
    bool redundant() const { return !anySupply(SupplyState_e::FAILED) && !anySupply(SupplyState_e::PULLED); }
};
