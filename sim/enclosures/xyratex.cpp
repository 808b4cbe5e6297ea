/** The 2U enclosure with twelve drives: one VSC055, two LM75, and an alarm controller with a life of its own. */
#include "chips/vsc055.h"
#include "enclosures/chassis.h"
#include "enclosures/thermometers.h"

namespace {

constexpr std::uint8_t CONTROLLER = 0x63;
constexpr Thermometer_t SENSORS[] = {{0x4C, 0.0}, {0x4D, 0.5}}; // left, right
constexpr unsigned DRIVES = 12;
constexpr unsigned SUPPLIES = 2;
constexpr unsigned FANS = 8;
constexpr unsigned FRONT_FANS = 4; // on PWM output 0; the others, at the back, on output 1
constexpr double MAX_RPM = 12000;

/** Presence of drives 0 to 7, 8 to 11: 0 = present. */
constexpr unsigned PRESENCE_PORT[] = {0, 3};
/** Fault LEDs of the same: 0 = on. */
constexpr unsigned LED_PORT[] = {7, 6};
/* Port 4, inputs. */
constexpr unsigned SUPPLY_PORT = 4;
constexpr unsigned VOLTAGES_GOOD = 0x10;
constexpr unsigned REDUNDANCY_GOOD = 0x20;
/* Port 5, the alarm controller. */
constexpr unsigned ALARM_PORT = 5;
constexpr std::uint8_t ALARM_FIELD = 0x07; // a new state, or which bit of the state to show
constexpr std::uint8_t ALARM_STROBE = 0x08;
constexpr unsigned ALARM_BIT = 0x10; // input
/* Port 6, chassis LEDs: 1 = on. */
constexpr unsigned CHASSIS_LED_PORT = 6;
struct ChassisLed_t {
    const char* name;
    std::uint8_t mask;
};
constexpr ChassisLed_t CHASSIS_LEDS[] = {{"psuOk", 0x20}, {"redundancyFail", 0x40}, {"fanFail", 0x80}};

enum AlarmState_e : unsigned { ALARM_E_FAULT = 1, ALARM_E_REMIND = 2, ALARM_E_MUTE = 3, ALARM_E_CRITICAL = 4 };

std::uint8_t bit(unsigned number) {
    return static_cast<std::uint8_t>(1u << number);
}

class Xyratex_t : public Enclosure_t {
public:
    Xyratex_t() : Enclosure_t("xyratex") {
        bus().attach(CONTROLLER, controller_);
        world().supplies.resize(SUPPLIES);
        world().fans.resize(FANS, Fan_t{.maxRpm = MAX_RPM});
        world().drives.resize(DRIVES);
        thermometers_.attach(bus(), world(), SENSORS);
        for (const ChassisLed_t& led : CHASSIS_LEDS) {
            world().leds.emplace_back(led.name, false);
        }
        world().alarm.settable = true;
        world().alarm.automatic = true;
        powerOn();
    }

    void setAlarm(unsigned state) override {
        Alarm_t& alarm = world().alarm;
        alarm.state = state;
        alarm.elapsed = 0;
        alarm.sounding = state == ALARM_E_FAULT || state == ALARM_E_REMIND || state == ALARM_E_CRITICAL;
    }

    /**
     * A supply lost sounds the fault alarm. After a while fault and mute turn into the reminder, which stays until
     * software sets another state.
     */
    void live(double seconds) override {
        Alarm_t& alarm = world().alarm;
        const bool lost = wasRedundant_ && !world().redundant();
        wasRedundant_ = world().redundant();
        alarm.elapsed += seconds;
        if (!alarm.automatic) {
            return;
        }
        if (lost && alarm.state != ALARM_E_CRITICAL) {
            setAlarm(ALARM_E_FAULT);
        } else if ((alarm.state == ALARM_E_FAULT || alarm.state == ALARM_E_MUTE) &&
                   alarm.elapsed >= alarm.remindAfter) {
            setAlarm(ALARM_E_REMIND);
        }
    }

protected:
    void wire() override {
        wireDrives();
        wireAlarm();
        for (std::size_t i = 0; i < std::size(CHASSIS_LEDS); ++i) {
            world().leds[i].second = controller_->drivesHigh(CHASSIS_LED_PORT, CHASSIS_LEDS[i].mask);
        }
        for (unsigned fan = 0; fan < FANS; ++fan) {
            world().fans[fan].duty = controller_->duty(fan < FRONT_FANS ? 0 : 1);
            controller_->setRpm(fan, world().fans[fan].rpm);
        }
        thermometers_.measure(world());
        unsigned inputs = 0xFF;
        inputs &= world().anySupply(SupplyState_e::FAILED) ? ~VOLTAGES_GOOD : ~0u;
        inputs &= world().redundant() ? ~0u : ~REDUNDANCY_GOOD;
        controller_->setInputs(SUPPLY_PORT, static_cast<std::uint8_t>(inputs));
    }

private:
    void wireDrives() {
        std::uint8_t absent[] = {0x00, 0xF0}; // slots 12 to 15 do not exist: their pins float high
        for (unsigned drive = 0; drive < DRIVES; ++drive) {
            const unsigned half = drive / 8;
            const std::uint8_t pin = bit(drive % 8);
            Drive_t& slot = world().drives[drive];
            slot.led = controller_->drivesLow(LED_PORT[half], pin);
            absent[half] = static_cast<std::uint8_t>(absent[half] | (slot.present ? 0 : pin));
        }
        controller_->setInputs(PRESENCE_PORT[0], absent[0]);
        controller_->setInputs(PRESENCE_PORT[1], absent[1]);
    }

    /** The falling strobe takes the field as the new state; at all other times the field selects the bit shown. */
    void wireAlarm() {
        const std::uint8_t pins = controller_->pins(ALARM_PORT);
        const unsigned field = pins & ALARM_FIELD;
        const bool strobe = (pins & ALARM_STROBE) != 0;
        if (strobe_ && !strobe) {
            setAlarm(field);
        }
        strobe_ = strobe;
        const bool shown = field < 3 && (world().alarm.state >> field & 1u) != 0;
        controller_->setInputs(ALARM_PORT, static_cast<std::uint8_t>(shown ? 0xFF : 0xFF & ~ALARM_BIT));
    }

    std::shared_ptr<Vsc055_t> controller_ = std::make_shared<Vsc055_t>();
    Thermometers_t thermometers_;
    bool strobe_ = true; // pulled up until software drives it
    bool wasRedundant_ = true;
};

} // namespace

std::unique_ptr<Enclosure_t> makeXyratex() {
    return std::make_unique<Xyratex_t>();
}
