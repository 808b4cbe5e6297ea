// The 2U enclosure with twelve drives: one VSC055, two LM75, and an alarm controller with a life of its own.

#include "sim/chips/lm75.h"
#include "sim/chips/vsc055.h"
#include "sim/enclosures/chassis.h"

namespace encsim {
namespace {

constexpr std::uint8_t kController = 0x63;
constexpr std::uint8_t kSensors[] = {0x4C, 0x4D}; // left, right
constexpr double kSensorOffsets[] = {0.0, 0.5};
constexpr unsigned kDrives = 12;
constexpr unsigned kSupplies = 2;
constexpr unsigned kFans = 8;
constexpr unsigned kFrontFans = 4; // on PWM output 0; the others, at the back, on output 1
constexpr double kMaxRpm = 12000;

// Presence of drives 0 to 7, 8 to 11: 0 = present.
constexpr unsigned kPresencePort[] = {0, 3};
// Fault LEDs of the same: 0 = on.
constexpr unsigned kLedPort[] = {7, 6};
// Port 4, inputs.
constexpr unsigned kSupplyPort = 4;
constexpr unsigned kVoltagesGood = 0x10;
constexpr unsigned kRedundancyGood = 0x20;
// Port 5, the alarm controller.
constexpr unsigned kAlarmPort = 5;
constexpr std::uint8_t kAlarmField = 0x07; // a new state, or which bit of the state to show
constexpr std::uint8_t kAlarmStrobe = 0x08;
constexpr unsigned kAlarmBit = 0x10; // input
// Port 6, chassis LEDs: 1 = on.
constexpr unsigned kChassisLedPort = 6;
struct ChassisLed {
    const char* name;
    std::uint8_t mask;
};
constexpr ChassisLed kChassisLeds[] = {{"psuOk", 0x20}, {"redundancyFail", 0x40}, {"fanFail", 0x80}};

enum AlarmState : unsigned { Idle = 0, Fault = 1, Remind = 2, Mute = 3, Critical = 4 };

std::uint8_t bit(unsigned number) {
    return static_cast<std::uint8_t>(1u << number);
}

class Xyratex : public Enclosure {
public:
    Xyratex() : Enclosure("xyratex") {
        bus().attach(kController, controller_);
        world().supplies.resize(kSupplies);
        world().fans.resize(kFans, Fan{.maxRpm = kMaxRpm});
        world().drives.resize(kDrives);
        for (std::size_t i = 0; i < std::size(kSensors); ++i) {
            lm75_.push_back(std::make_shared<Lm75>());
            bus().attach(kSensors[i], lm75_[i]);
            Sensor sensor;
            sensor.offset = kSensorOffsets[i];
            sensor.address = kSensors[i];
            world().sensors.push_back(sensor);
        }
        for (const ChassisLed& led : kChassisLeds) {
            world().leds.emplace_back(led.name, false);
        }
        world().alarm.settable = true;
        world().alarm.automatic = true;
        powerOn();
    }

    void setAlarm(unsigned state) override {
        Alarm& alarm = world().alarm;
        alarm.state = state;
        alarm.elapsed = 0;
        alarm.sounding = state == Fault || state == Remind || state == Critical;
    }

    /// A supply lost sounds the fault alarm. After a while fault and mute turn into the reminder, which stays until
    /// software sets another state.
    void live(double seconds) override {
        Alarm& alarm = world().alarm;
        const bool lost = wasRedundant_ && !world().redundant();
        wasRedundant_ = world().redundant();
        alarm.elapsed += seconds;
        if (!alarm.automatic) {
            return;
        }
        if (lost && alarm.state != Critical) {
            setAlarm(Fault);
        } else if ((alarm.state == Fault || alarm.state == Mute) && alarm.elapsed >= alarm.remindAfter) {
            setAlarm(Remind);
        }
    }

protected:
    void wire() override {
        wireDrives();
        wireAlarm();
        for (std::size_t i = 0; i < std::size(kChassisLeds); ++i) {
            world().leds[i].second = controller_->drivesHigh(kChassisLedPort, kChassisLeds[i].mask);
        }
        for (unsigned fan = 0; fan < kFans; ++fan) {
            world().fans[fan].duty = controller_->duty(fan < kFrontFans ? 0 : 1);
            controller_->setRpm(fan, world().fans[fan].rpm);
        }
        for (std::size_t i = 0; i < lm75_.size(); ++i) {
            lm75_[i]->setCelsius(world().sensors[i].celsius);
        }
        unsigned inputs = 0xFF;
        inputs &= world().anySupply(SupplyState::Failed) ? ~kVoltagesGood : ~0u;
        inputs &= world().redundant() ? ~0u : ~kRedundancyGood;
        controller_->setInputs(kSupplyPort, static_cast<std::uint8_t>(inputs));
    }

private:
    void wireDrives() {
        std::uint8_t absent[] = {0x00, 0xF0}; // slots 12 to 15 do not exist: their pins float high
        for (unsigned drive = 0; drive < kDrives; ++drive) {
            const unsigned half = drive / 8;
            const std::uint8_t pin = bit(drive % 8);
            Drive& slot = world().drives[drive];
            slot.led = controller_->drivesLow(kLedPort[half], pin);
            absent[half] = static_cast<std::uint8_t>(absent[half] | (slot.present ? 0 : pin));
        }
        controller_->setInputs(kPresencePort[0], absent[0]);
        controller_->setInputs(kPresencePort[1], absent[1]);
    }

    /// The falling strobe takes the field as the new state; at all other times the field selects the bit shown.
    void wireAlarm() {
        const std::uint8_t pins = controller_->pins(kAlarmPort);
        const unsigned field = pins & kAlarmField;
        const bool strobe = (pins & kAlarmStrobe) != 0;
        if (strobe_ && !strobe) {
            setAlarm(field);
        }
        strobe_ = strobe;
        const bool shown = field < 3 && (world().alarm.state >> field & 1u) != 0;
        controller_->setInputs(kAlarmPort, static_cast<std::uint8_t>(shown ? 0xFF : 0xFF & ~kAlarmBit));
    }

    std::shared_ptr<Vsc055> controller_ = std::make_shared<Vsc055>();
    std::vector<std::shared_ptr<Lm75>> lm75_;
    bool strobe_ = true; // pulled up until software drives it
    bool wasRedundant_ = true;
};

} // namespace

std::unique_ptr<Enclosure> makeXyratex() {
    return std::make_unique<Xyratex>();
}

} // namespace encsim
