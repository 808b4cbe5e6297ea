// The chassis with W83782D monitors: the single backplane, and the 3U enclosure of four backplanes.

#include "sim/chips/w83782d.h"
#include "sim/enclosures/chassis.h"

#include <map>
#include <span>

namespace encsim {
namespace {

struct FanWiring {
    std::uint8_t chip;
    unsigned tachometer;
    std::uint8_t pwmRegister;
};

struct Wiring {
    const char* name;
    unsigned drives;
    unsigned supplies;
    std::span<const std::uint8_t> backplanes; // chips that measure voltages and temperature, and sound the alarm
    std::span<const FanWiring> fans;
};

// A supply out of order pulls these rails down on every backplane: +5 to 4.2 V, +12 to 10.2 V.
constexpr std::size_t kRail5 = 3;
constexpr std::size_t kRail12 = 4;
constexpr double kSagged5 = 4.2;
constexpr double kSagged12 = 10.2;

constexpr double kMaxRpm = 9000;
constexpr double kSensorOffsets[] = {0.0, 1.0, -1.0, 0.5};

constexpr std::uint8_t kSingleBackplane[] = {0x28};
constexpr FanWiring kSingleFans[] = {{0x28, 0, 0x5B}, {0x28, 1, 0x5E}, {0x28, 2, 0x5F}};

// The fans are wired to monitors by a scheme of their own: fans 2, 4 and 5 to the two further monitors at 0x29 and
// 0x2B, fan 3 to the one at 0x2A that also measures backplane 1.
constexpr std::uint8_t kChenbroBackplanes[] = {0x28, 0x2A, 0x2C, 0x30};
constexpr FanWiring kChenbroFans[] = {{0x28, 0, 0x5B}, {0x28, 1, 0x5A}, {0x29, 0, 0x5B},
                                      {0x2A, 0, 0x5B}, {0x2B, 0, 0x5B}, {0x2B, 1, 0x5A}};

class W83782dEnclosure : public Enclosure {
public:
    explicit W83782dEnclosure(const Wiring& wiring) : Enclosure(wiring.name), fans_(wiring.fans) {
        world().drives.resize(wiring.drives);
        world().supplies.resize(wiring.supplies);
        world().fans.resize(wiring.fans.size(), Fan{.maxRpm = kMaxRpm});
        for (const std::uint8_t address : wiring.backplanes) {
            addBackplane(address);
        }
        for (const FanWiring& fan : wiring.fans) {
            chip(fan.chip);
        }
        powerOn();
    }

protected:
    void wire() override {
        world().alarm.sounding = false;
        for (std::size_t i = 0; i < world().boards.size(); ++i) {
            wireBackplane(i);
        }
        world().alarm.state = world().alarm.sounding ? 1 : 3;
        for (std::size_t i = 0; i < fans_.size(); ++i) {
            const FanWiring& fan = fans_[i];
            world().fans[i].duty = chip(fan.chip).duty(fan.pwmRegister);
            chip(fan.chip).setRpm(fan.tachometer, world().fans[i].rpm);
        }
    }

private:
    /// The monitor at `address`, put there first if need be.
    W83782d& chip(std::uint8_t address) {
        std::shared_ptr<W83782d>& one = chips_[address];
        if (one == nullptr) {
            one = std::make_shared<W83782d>(address);
            one->setVolts(kRailVolts);
            bus().attach(address, one);
        }
        return *one;
    }

    void addBackplane(std::uint8_t address) {
        Sensor sensor;
        sensor.offset = kSensorOffsets[world().sensors.size()];
        sensor.address = address;
        sensor.ownChip = false;
        world().sensors.push_back(sensor);
        Board board;
        board.address = address;
        world().boards.push_back(board);
        chip(address);
    }

    void wireBackplane(std::size_t index) {
        Board& board = world().boards[index];
        const bool sagged = world().anySupply(SupplyState::Failed);
        board.volts[kRail5] = sagged ? kSagged5 : kRailVolts[kRail5];
        board.volts[kRail12] = sagged ? kSagged12 : kRailVolts[kRail12];
        std::array<double, 7> rails = board.volts;
        for (std::size_t rail = 0; rail < rails.size(); ++rail) {
            rails[rail] = board.set[rail].value_or(rails[rail]);
        }
        W83782d& monitor = chip(board.address);
        monitor.setVolts(rails);
        monitor.setCelsius(world().sensors[index].celsius);
        world().alarm.sounding |= monitor.beeping();
    }

    std::span<const FanWiring> fans_;
    std::map<std::uint8_t, std::shared_ptr<W83782d>> chips_;
};

} // namespace

std::unique_ptr<Enclosure> makeW83782dBackplane() {
    return std::make_unique<W83782dEnclosure>(
        Wiring{.name = "w83782d", .drives = 16, .supplies = 2, .backplanes = kSingleBackplane, .fans = kSingleFans});
}

std::unique_ptr<Enclosure> makeChenbro() {
    return std::make_unique<W83782dEnclosure>(
        Wiring{.name = "chenbro", .drives = 16, .supplies = 3, .backplanes = kChenbroBackplanes, .fans = kChenbroFans});
}

} // namespace encsim
