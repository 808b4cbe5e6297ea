/** The chassis with W83782D monitors: the single backplane, and the 3U enclosure of four backplanes. */
#include <map>
#include <span>

#include "chips/w83782d.h"
#include "enclosures/chassis.h"

namespace {

struct FanWiring_t {
    std::uint8_t chip;
    unsigned tachometer;
    std::uint8_t pwmRegister;
};

struct Wiring_t {
    const char* name;
    unsigned drives;
    unsigned supplies;
    std::span<const std::uint8_t> backplanes; /**< chips that measure voltages and temperature, and sound the alarm */
    std::span<const FanWiring_t> fans;
};

/** A supply out of order pulls these rails down on every backplane: +5 to 4.2 V, +12 to 10.2 V. */
constexpr std::size_t RAIL_5 = 3;
constexpr std::size_t RAIL_12 = 4;
constexpr double SAGGED_5 = 4.2;
constexpr double SAGGED_12 = 10.2;

constexpr double MAX_RPM = 9000;
constexpr double SENSOR_OFFSETS[] = {0.0, 1.0, -1.0, 0.5};

constexpr std::uint8_t SINGLE_BACKPLANE[] = {0x28};
constexpr FanWiring_t SINGLE_FANS[] = {{0x28, 0, 0x5B}, {0x28, 1, 0x5E}, {0x28, 2, 0x5F}};

/**
 * The fans are wired to monitors by a scheme of their own: fans 2, 4 and 5 to the two further monitors at 0x29 and
 * 0x2B, fan 3 to the one at 0x2A that also measures backplane 1.
 */
constexpr std::uint8_t CHENBRO_BACKPLANES[] = {0x28, 0x2A, 0x2C, 0x30};
constexpr FanWiring_t CHENBRO_FANS[] = {{0x28, 0, 0x5B}, {0x28, 1, 0x5A}, {0x29, 0, 0x5B},
                                        {0x2A, 0, 0x5B}, {0x2B, 0, 0x5B}, {0x2B, 1, 0x5A}};

class W83782dEnclosure_t : public Enclosure_t {
public:
    explicit W83782dEnclosure_t(const Wiring_t& wiring) : Enclosure_t(wiring.name), fans_(wiring.fans) {
        world().drives.resize(wiring.drives);
        world().supplies.resize(wiring.supplies);
        world().fans.resize(wiring.fans.size(), Fan_t{.maxRpm = MAX_RPM});
        for (const std::uint8_t address : wiring.backplanes) {
            addBackplane(address);
        }
        for (const FanWiring_t& fan : wiring.fans) {
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
            const FanWiring_t& fan = fans_[i];
            world().fans[i].duty = chip(fan.chip).duty(fan.pwmRegister);
            chip(fan.chip).setRpm(fan.tachometer, world().fans[i].rpm);
        }
    }

private:
    /** The monitor at `address`, put there first if need be. */
    W83782d_t& chip(std::uint8_t address) {
        std::shared_ptr<W83782d_t>& one = chips_[address];
        if (one == nullptr) {
            one = std::make_shared<W83782d_t>(address);
            one->setVolts(RAIL_VOLTS);
            bus().attach(address, one);
        }
        return *one;
    }

    void addBackplane(std::uint8_t address) {
        Sensor_t sensor;
        sensor.offset = SENSOR_OFFSETS[world().sensors.size()];
        sensor.address = address;
        sensor.ownChip = false;
        world().sensors.push_back(sensor);
        Board_t board;
        board.address = address;
        world().boards.push_back(board);
        chip(address);
    }

    void wireBackplane(std::size_t index) {
        Board_t& board = world().boards[index];
        const bool sagged = world().anySupply(SupplyState_e::FAILED);
        board.volts[RAIL_5] = sagged ? SAGGED_5 : RAIL_VOLTS[RAIL_5];
        board.volts[RAIL_12] = sagged ? SAGGED_12 : RAIL_VOLTS[RAIL_12];
        std::array<double, 7> rails = board.volts;
        for (std::size_t rail = 0; rail < rails.size(); ++rail) {
            rails[rail] = board.set[rail].value_or(rails[rail]);
        }
        W83782d_t& monitor = chip(board.address);
        monitor.setVolts(rails);
        monitor.setCelsius(world().sensors[index].celsius);
        world().alarm.sounding |= monitor.beeping();
    }

    std::span<const FanWiring_t> fans_;
    std::map<std::uint8_t, std::shared_ptr<W83782d_t>> chips_;
};

} // namespace

std::unique_ptr<Enclosure_t> makeW83782dBackplane() {
    return std::make_unique<W83782dEnclosure_t>(
        Wiring_t{.name = "w83782d", .drives = 16, .supplies = 2, .backplanes = SINGLE_BACKPLANE, .fans = SINGLE_FANS});
}

std::unique_ptr<Enclosure_t> makeChenbro() {
    return std::make_unique<W83782dEnclosure_t>(Wiring_t{
        .name = "chenbro", .drives = 16, .supplies = 3, .backplanes = CHENBRO_BACKPLANES, .fans = CHENBRO_FANS});
}
