#pragma once
// What there is to see and touch in an enclosure, in physical units.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace encsim {

enum class FanState { Ok, Stalled, Worn, Removed };

struct Fan {
    double maxRpm = 0; // healthy, at full duty
    double duty = 1.0; // 0.0 to 1.0, from the PWM output that drives it
    double rpm = 0;    // now
    FanState state = FanState::Ok;
    double wornTo = 1.0; // share of the healthy speed a worn fan still reaches
};

enum class SupplyState { Ok, Failed, Pulled };

struct Supply {
    SupplyState state = SupplyState::Ok;
    bool alarm = false; // its own beeper, until the supply is well again or the enclosure clears it
};

struct Drive {
    bool present = true;
    std::optional<bool> led; // fault LED; empty where the chassis wires none
};

struct Sensor {
    double offset = 0;         // from the air temperature, where it sits
    double celsius = 0;        // now
    std::optional<double> set; // held at this value whatever the air does
    std::uint8_t address = 0;  // of the chip that measures it
    bool ownChip = true;       // false for a sensor inside a hardware monitor, which cannot go alone
};

constexpr std::array<const char*, 7> kRailNames = {"vcore", "vinr0", "3.3", "5", "12", "-12", "-5"};
constexpr std::array<double, 7> kRailVolts = {1.5, 1.5, 3.3, 5.0, 12.0, -12.0, -5.0};

/// The voltages one hardware monitor measures, in the order of `kRailNames`; empty entries follow the supplies.
struct Board {
    std::uint8_t address = 0;
    std::array<double, 7> volts = kRailVolts;
    std::array<std::optional<double>, 7> set;
};

struct Alarm {
    unsigned state = 0; // 0 idle, 1 fault, 2 remind, 3 mute, 4 critical
    bool sounding = false;
    bool settable = false;      // a controller of its own holds the state (Xyratex)
    bool automatic = false;     // that controller reacts to the supplies and to time
    double remindAfter = 120.0; // seconds from fault or mute to remind
    double elapsed = 0;         // seconds in this state
};

struct World {
    std::vector<Fan> fans;
    std::vector<Supply> supplies;
    std::vector<Drive> drives;
    std::vector<Sensor> sensors;
    std::vector<Board> boards;
    std::vector<std::pair<std::string, bool>> leds; // the chassis' own
    Alarm alarm;

    double heatWatts = 190.0;
    double ambient = 22.0; // degrees Celsius
    double air = 30.0;     // inside, degrees Celsius
    double seconds = 0;    // simulated, since power-on

    bool anySupply(SupplyState state) const {
        for (const Supply& supply : supplies) {
            if (supply.state == state) {
                return true;
            }
        }
        return false;
    }
    bool redundant() const { return !anySupply(SupplyState::Failed) && !anySupply(SupplyState::Pulled); }
};

} // namespace encsim
