/** The two backplanes with a VSC055 and three LM75: sixteen drive slots, three fans, two or three supplies. */
#include "chips/vsc055.h"
#include "enclosures/chassis.h"
#include "enclosures/thermometers.h"

namespace {

constexpr std::uint8_t CONTROLLER = 0x41;
constexpr Thermometer_t SENSORS[] = {{0x4C, 0.0}, {0x4B, 0.5}, {0x4A, -0.5}};
constexpr unsigned DRIVES = 16;
constexpr unsigned FANS = 3;

/* Port 4. */
constexpr unsigned POWER_PORT = 4;
constexpr std::uint8_t REDUNDANCY_GOOD = 0x80; // input
constexpr std::uint8_t CLEAR_SUPPLY_ALARM = 0x40;
constexpr std::uint8_t BEEPER = 0x08;
/** Ports 6 and 7: one LED cathode a drive. */
constexpr unsigned LED_PORT = 6;

struct Variant_t {
    const char* name;
    unsigned supplies;
    double maxRpm;
};

class Vsc055Backplane_t : public Enclosure_t {
public:
    explicit Vsc055Backplane_t(const Variant_t& variant) : Enclosure_t(variant.name) {
        bus().attach(CONTROLLER, controller_);
        world().supplies.resize(variant.supplies);
        world().fans.resize(FANS, Fan_t{.maxRpm = variant.maxRpm});
        world().drives.resize(DRIVES);
        thermometers_.attach(bus(), world(), SENSORS);
        powerOn();
    }

protected:
    void wire() override {
        for (unsigned drive = 0; drive < DRIVES; ++drive) {
            const auto pin = static_cast<std::uint8_t>(1u << drive % 8);
            world().drives[drive].led = controller_->drivesLow(LED_PORT + drive / 8, pin);
        }
        world().alarm.sounding = controller_->drivesHigh(POWER_PORT, BEEPER);
        world().alarm.state = world().alarm.sounding ? 1 : 3;
        if (controller_->drivesLow(POWER_PORT, CLEAR_SUPPLY_ALARM)) {
            for (Supply_t& supply : world().supplies) {
                supply.alarm = false;
            }
        }
        for (unsigned fan = 0; fan < FANS; ++fan) {
            world().fans[fan].duty = controller_->duty(fan);
            controller_->setRpm(fan, world().fans[fan].rpm);
        }
        thermometers_.measure(world());
        controller_->setInputs(POWER_PORT,
                               static_cast<std::uint8_t>(world().redundant() ? 0xFF : 0xFF & ~REDUNDANCY_GOOD));
    }

private:
    std::shared_ptr<Vsc055_t> controller_ = std::make_shared<Vsc055_t>();
    Thermometers_t thermometers_;
};

} // namespace

/** The slower fans of the larger chassis are what its coarser tachometer setting is made for. */
std::unique_ptr<Enclosure_t> makeVsc055Backplane() {
    return std::make_unique<Vsc055Backplane_t>(Variant_t{.name = "vsc055", .supplies = 2, .maxRpm = 9000});
}

std::unique_ptr<Enclosure_t> makeQuadra() {
    return std::make_unique<Vsc055Backplane_t>(Variant_t{.name = "quadra", .supplies = 3, .maxRpm = 6000});
}
