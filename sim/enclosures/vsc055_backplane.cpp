// The two backplanes with a VSC055 and three LM75: sixteen drive slots, three fans, two or three supplies.

#include "sim/chips/lm75.h"
#include "sim/chips/vsc055.h"
#include "sim/enclosures/chassis.h"

namespace encsim {
namespace {

constexpr std::uint8_t kController = 0x41;
constexpr std::uint8_t kSensors[] = {0x4C, 0x4B, 0x4A};
constexpr double kSensorOffsets[] = {0.0, 0.5, -0.5};
constexpr unsigned kDrives = 16;
constexpr unsigned kFans = 3;

// Port 4.
constexpr unsigned kPowerPort = 4;
constexpr std::uint8_t kRedundancyGood = 0x80; // input
constexpr std::uint8_t kClearSupplyAlarm = 0x40;
constexpr std::uint8_t kBeeper = 0x08;
// Ports 6 and 7: one LED cathode a drive.
constexpr unsigned kLedPort = 6;

struct Variant {
    const char* name;
    unsigned supplies;
    double maxRpm;
};

class Vsc055Backplane : public Enclosure {
public:
    explicit Vsc055Backplane(const Variant& variant) : Enclosure(variant.name) {
        bus().attach(kController, controller_);
        world().supplies.resize(variant.supplies);
        world().fans.resize(kFans, Fan{.maxRpm = variant.maxRpm});
        world().drives.resize(kDrives);
        for (std::size_t i = 0; i < std::size(kSensors); ++i) {
            lm75_.push_back(std::make_shared<Lm75>());
            bus().attach(kSensors[i], lm75_[i]);
            Sensor sensor;
            sensor.offset = kSensorOffsets[i];
            sensor.address = kSensors[i];
            world().sensors.push_back(sensor);
        }
        powerOn();
    }

protected:
    void wire() override {
        for (unsigned drive = 0; drive < kDrives; ++drive) {
            const auto pin = static_cast<std::uint8_t>(1u << drive % 8);
            world().drives[drive].led = controller_->drivesLow(kLedPort + drive / 8, pin);
        }
        world().alarm.sounding = controller_->drivesHigh(kPowerPort, kBeeper);
        world().alarm.state = world().alarm.sounding ? 1 : 3;
        if (controller_->drivesLow(kPowerPort, kClearSupplyAlarm)) {
            for (Supply& supply : world().supplies) {
                supply.alarm = false;
            }
        }
        for (unsigned fan = 0; fan < kFans; ++fan) {
            world().fans[fan].duty = controller_->duty(fan);
            controller_->setRpm(fan, world().fans[fan].rpm);
        }
        for (std::size_t i = 0; i < lm75_.size(); ++i) {
            lm75_[i]->setCelsius(world().sensors[i].celsius);
        }
        controller_->setInputs(kPowerPort,
                               static_cast<std::uint8_t>(world().redundant() ? 0xFF : 0xFF & ~kRedundancyGood));
    }

private:
    std::shared_ptr<Vsc055> controller_ = std::make_shared<Vsc055>();
    std::vector<std::shared_ptr<Lm75>> lm75_;
};

} // namespace

// The slower fans of the larger chassis are what its coarser tachometer setting is made for.
std::unique_ptr<Enclosure> makeVsc055Backplane() {
    return std::make_unique<Vsc055Backplane>(Variant{.name = "vsc055", .supplies = 2, .maxRpm = 9000});
}

std::unique_ptr<Enclosure> makeQuadra() {
    return std::make_unique<Vsc055Backplane>(Variant{.name = "quadra", .supplies = 3, .maxRpm = 6000});
}

} // namespace encsim
