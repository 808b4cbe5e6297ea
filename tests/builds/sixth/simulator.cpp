/** Invented enclosure: six drives, a fan and a supply at a VSC055, and a temperature sensor. */
#include "chips/lm75.h"
#include "chips/vsc055.h"
#include "enclosures/chassis.h"

namespace {

constexpr std::uint8_t CONTROLLER = 0x42;
constexpr std::uint8_t SENSOR = 0x4F;
constexpr unsigned DRIVES = 6;
constexpr double MAX_RPM = 8000;

constexpr unsigned SUPPLY_PORT = 2;
constexpr std::uint8_t SUPPLY_GOOD = 0x01; // input
constexpr unsigned LED_PORT = 3;           // 0 lights an LED
constexpr unsigned ALARM_PORT = 4;
constexpr std::uint8_t ALARM_SOUNDING = 0x01;

class Lantern_t : public Enclosure_t {
public:
    Lantern_t() : Enclosure_t("lantern") {
        bus().attach(CONTROLLER, controller_);
        bus().attach(SENSOR, sensor_);
        world().drives.resize(DRIVES);
        world().supplies.resize(1);
        world().fans.resize(1, Fan_t{.maxRpm = MAX_RPM});
        world().sensors.resize(1);
        world().sensors[0].address = SENSOR;
        powerOn();
    }

protected:
    void wire() override {
        for (unsigned drive = 0; drive < DRIVES; ++drive) {
            world().drives[drive].led = controller_->drivesLow(LED_PORT, static_cast<std::uint8_t>(1U << drive));
        }
        world().alarm.sounding = controller_->drivesHigh(ALARM_PORT, ALARM_SOUNDING);
        world().alarm.state = world().alarm.sounding ? 1 : 3;
        world().fans[0].duty = controller_->duty(0);
        controller_->setRpm(0, world().fans[0].rpm);
        controller_->setInputs(SUPPLY_PORT, world().redundant() ? 0xFF : 0xFF & ~SUPPLY_GOOD);
        sensor_->setCelsius(world().sensors[0].celsius);
    }

private:
    std::shared_ptr<Vsc055_t> controller_ = std::make_shared<Vsc055_t>();
    std::shared_ptr<Lm75_t> sensor_ = std::make_shared<Lm75_t>();
};

} // namespace

std::unique_ptr<Enclosure_t> makeLantern() {
    return std::make_unique<Lantern_t>();
}
