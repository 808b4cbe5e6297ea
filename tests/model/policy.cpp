/** Health policy: composite fault and its requests to Startup, fan check, fan loads by temperature, overheat. */
#include "adapter.h"

#include <algorithm>

#include "outgoing.h"

namespace model {

namespace {

struct Cause_t {
    std::uint32_t bit;
    const char* name;
};

constexpr Cause_t CAUSES[] = {
    {0x01, "POWER_SUPPLY_VOLTAGE_TOLERANCE"}, {0x02, "POWER_SUPPLY_REDUNDANCY"}, {0x04, "FAN"},
    {0x08, "TEMPERATURE_OVERHEAT"},           {0x10, "I2C_BUS_FAULT"},
};

constexpr std::uint32_t ALL_CAUSES = 0x1F;
constexpr std::uint32_t LED_ON = 0x80000000;

/** Chassis without an alarm that this program owns keep their remembered state too. */
void moveAlarm(Adapter_t& adapter, std::uint32_t alarm) {
    switch (adapter.state.enclosureType) {
    case 3:
    case 5:
        adapter.esaVsc055SetAlarmStateBackplane(alarm);
        break;
    case 4:
        adapter.chenbroSetAlarmState(alarm);
        break;
    case 6:
        adapter.esaW83782dSetAlarmState(adapter.state.i2cAddressW83782d, 0, alarm);
        break;
    default:
        return;
    }
    adapter.state.alarmState = alarm;
}

int clearCause(Adapter_t& adapter, std::uint32_t cause) {
    State_t& state = adapter.state;
    adapter.trace("esaManageCompositeFault", "Clear the current Fault bit [0x%x].", cause);
    state.compositeFaultStatus &= ~cause;
    if ((state.compositeFaultStatus & LED_ON) == 0 || (state.compositeFaultStatus & ALL_CAUSES) != 0) {
        return OK;
    }
    state.compositeFaultStatus &= ~LED_ON;
    const int result = adapter.esaSendCompositeFaultMmsgToStartup(OK);
    if (state.alarmState != 3) {
        moveAlarm(adapter, 3);
    }
    return result;
}

int setCause(Adapter_t& adapter, std::uint32_t cause) {
    const char* const function = "esaManageCompositeFault";
    State_t& state = adapter.state;
    adapter.trace(function, "Set the new Fault bit [0x%x].", cause);
    state.compositeFaultStatus |= cause;
    if ((state.compositeFaultStatus & LED_ON) == 0) {
        adapter.trace(function, "Turn on the Composite Fault LED.");
        state.compositeFaultStatus |= LED_ON;
        adapter.esaSendCompositeFaultMmsgToStartup(FAILED);
        if (state.alarmState == 3) {
            moveAlarm(adapter, 1);
        }
    } else {
        adapter.trace(function, "The Composite Fault LED is currently ON for other Faults.");
    }
    return adapter.esaSendEmailNotificationMmsgToStartup();
}

} // namespace

int Adapter_t::esaManageCompositeFault(std::uint32_t cause, int status) {
    const char* const function = "esaManageCompositeFault";
    for (const Cause_t& each : CAUSES) {
        if ((cause & each.bit) != 0) {
            trace(function, "This Fault bit is [%s]", each.name);
            break;
        }
    }
    const int outcome = status & 0xFF;
    if ((state.compositeFaultStatus & cause) != 0) {
        trace(function, "This Fault bit [0x%x] exists currently.", cause);
        if (outcome == 0) {
            return clearCause(*this, cause);
        }
        trace(function, "The Fault bit [0x%x] is already set.", cause);
    } else {
        trace(function, "This Fault bit [0x%x] does NOT exist currently.", cause);
        if (outcome == 0xFF) {
            return setCause(*this, cause);
        }
        trace(function, "The Fault bit [0x%x] is already clear.", cause);
    }
    return OK;
}

int Adapter_t::esaSendCompositeFaultMmsgToStartup(int status) {
    const bool on = (status & 0xFF) != 0;
    putRequestHeader(state.esaWorkSpace, 64, 0x0C00000E, 0x00040000);
    putWord(state.esaWorkSpace, 44, 2);
    putWord(state.esaWorkSpace, 48, on ? 2 : 1);
    trace("esaSendCompositeFaultMmsgToStartup", "[%s] Composite Fault LED in Startup.", on ? "Set" : "Clear");
    return static_cast<int>(sendWorkSpace(64, "esaSendCompositeFaultMmsgToStartup()"));
}

int Adapter_t::esaSendEmailNotificationMmsgToStartup() {
    putRequestHeader(state.esaWorkSpace, 64, 0x0C000010, 0x00040000);
    trace("esaSendEmailNotificationMmsgToStartup", "Send Email Notification MMSG To Startup.");
    return static_cast<int>(sendWorkSpace(64, "esaSendEmailNotificationMmsgToStartup()"));
}

int Adapter_t::esaSendOrderlyShutdownMmsgToStartup() {
    putRequestHeader(state.esaWorkSpace, 64, 0x0D000001, 0x00040000);
    putWord(state.esaWorkSpace, 48, 1);
    trace("esaSendOrderlyShutdownMmsgToStartup", "Send request of Orderly Shutdown to Startup");
    return static_cast<int>(sendWorkSpace(64, "esaSendEventMmsgToEmp()"));
}

namespace {

/** RPM; a fan that cannot be read counts as stopped. */
std::uint32_t speedOf(Adapter_t& adapter, std::uint8_t fan) {
    std::uint16_t rpm = 0;
    int result = OK;
    switch (adapter.state.enclosureType) {
    case 4:
        result = adapter.chenbroW83782dFanReadSpeed(fan, rpm);
        break;
    case 6:
        result = adapter.esaW83782dFanReadSpeed(adapter.state.i2cAddressW83782d, fan, rpm);
        break;
    default:
        result = adapter.esaVsc055FanReadSpeed(fan, rpm);
        break;
    }
    return result == OK ? rpm : 0;
}

} // namespace

int Adapter_t::esaReadFanFailStatus() {
    const char* const function = "esaReadFanFailStatus";
    int result = OK;
    bool changed = false;
    for (std::uint8_t fan = 0; fan < state.coolingMaxNumber; fan++) {
        if (state.enclosureType < 2 || state.enclosureType > 6) {
            return FAILED;
        }
        const std::uint32_t speed = speedOf(*this, fan);
        const std::uint32_t bit = 1U << fan;
        const bool marked = (state.fanFaultStatus & bit) != 0;
        trace(function, "Fan [%d] has speed [%d] RPM.", fan, static_cast<int>(speed));
        const bool slow = speed < state.fanFaultRpmLimit;
        if (slow) {
            trace(function, "Return Fans Status [ERROR].");
            result = FAILED;
        }
        if (slow == marked) {
            trace(function, "Already marked %s on Fan [%d].", slow ? "Fault" : "OK", fan);
            continue;
        }
        trace(function, "Now marking %s on Fan [%d].", slow ? "Fault" : "OK", fan);
        state.fanFaultStatus ^= bit;
        changed = true;
    }
    if (changed) {
        Bytes_t data = eventData();
        setWord(data, 12, state.coolingMaxNumber);
        setWord(data, 36, state.fanFaultStatus);
        esaSendEventMmsgToEmp(7, 2, data);
    }
    return result;
}

namespace {

constexpr int NEVER_ABOVE = 100000;
constexpr int NEVER_BELOW = -100000;

/** What a fan at `load` percent does: up at `upAt` degrees and above, down at `downAt` degrees and below. */
struct Step_t {
    std::uint8_t load;
    int upAt;
    std::uint8_t up;
    int downAt;
    std::uint8_t down;
};

constexpr Step_t FOUR_STEPS[] = {
    {25, 36, 50, NEVER_BELOW, 25},
    {50, 39, 75, 31, 25},
    {75, 41, 100, 33, 50},
    {100, NEVER_ABOVE, 100, 34, 75},
};

constexpr Step_t VSC055_STEPS[] = {
    {50, 45, 75, NEVER_BELOW, 50},
    {75, 55, 100, 44, 50},
    {100, NEVER_ABOVE, 100, 54, 75},
};

/** Through the load operation of the chassis. The single W83782D takes a duty value of 0 to 255. */
void loadPercent(Adapter_t& adapter, std::uint8_t fan, std::uint8_t percent) {
    static const std::map<std::uint8_t, std::uint8_t> duties{{25, 64}, {50, 128}, {75, 192}, {100, 255}};
    switch (adapter.state.enclosureType) {
    case 4:
        adapter.chenbroW83782dFanLoadPwm(fan, percent);
        break;
    case 6:
        adapter.esaW83782dFanLoadPwm(adapter.state.i2cAddressW83782d, fan, duties.at(percent));
        break;
    default:
        adapter.esaVsc055FanLoadPwm(fan, percent);
        break;
    }
}

/** The adapter's own wording for a poll without any reading. */
constexpr const char* NO_READING_TEXT = "No temperature sensor gave a reading, fan loads and average stay as they are.";

/** False, with the old average kept, when no sensor has a reading: nobody knows then what the fans should do. */
bool takeAverage(Adapter_t& adapter, const char* function) {
    State_t& state = adapter.state;
    std::int16_t sum = 0;
    int count = 0;
    for (std::size_t i = 0; i < state.temperatureSensorMaxNumber; i++) {
        if (state.temperatureSensor[i] == 32767) {
            continue;
        }
        sum = static_cast<std::int16_t>(sum + state.temperatureSensor[i]);
        count++;
    }
    if (count == 0) {
        adapter.trace(function, "%s", NO_READING_TEXT);
        return false;
    }
    state.temperatureSensorAverage = static_cast<std::int16_t>(sum / count);
    adapter.trace(function, "temperatureSensorAverage = [%d] degrees Celsius.", state.temperatureSensorAverage);
    return true;
}

void loadVsc055(Adapter_t& adapter, std::uint8_t fan, std::uint8_t percent) {
    adapter.esaVsc055FanLoadPwm(fan, percent);
}

using Load_t = void(Adapter_t&, std::uint8_t, std::uint8_t);

void stepFan(Adapter_t& adapter, const char* function, std::span<const Step_t> steps, Load_t* load, std::uint8_t fan) {
    State_t& state = adapter.state;
    std::uint8_t& percent = state.fanPwmLoad[fan];
    const int average = state.temperatureSensorAverage;
    const auto step = std::ranges::find(steps, percent, &Step_t::load);
    if (step == steps.end()) {
        adapter.trace(function, "ESA never set this PWM Load [%d] on Fan [%d]?", percent, fan);
        return;
    }
    const std::uint8_t wanted = average >= step->upAt ? step->up : average <= step->downAt ? step->down : percent;
    if (wanted == percent) {
        return;
    }
    load(adapter, fan, wanted);
    percent = wanted;
    adapter.trace(function, "Temperature = [%d], Fan [%d] set to %d percent PWM", average, fan, wanted);
}

} // namespace

void Adapter_t::esaTemperatureFanPolicy() {
    const char* const function = "esaTemperatureFanPolicy";
    if (state.enclosureType < 2 || state.enclosureType > 6) {
        return;
    }
    const std::uint8_t fans = state.enclosureType == 2 ? std::uint8_t{2} : state.coolingMaxNumber;
    if (state.fanFaultStatus != 0) {
        for (std::uint8_t fan = 0; fan < fans; fan++) {
            if (state.fanPwmLoad[fan] == 100) {
                continue;
            }
            trace(function, "At least 1 Fan Fault, FanFaultStatus = [0x%x]", state.fanFaultStatus);
            trace(function, "Fan [%d] sets to 100 percent PWM Load", fan);
            loadPercent(*this, fan, 100);
            state.fanPwmLoad[fan] = 100;
        }
        return;
    }
    if (!takeAverage(*this, function)) {
        return;
    }
    for (std::uint8_t fan = 0; fan < fans; fan++) {
        stepFan(*this, function, FOUR_STEPS, loadPercent, fan);
    }
}

void Adapter_t::esaVsc055TemperatureFanPolicy() {
    const char* const function = "esaVsc055TemperatureFanPolicy";
    if (!takeAverage(*this, function)) {
        return;
    }
    for (std::uint8_t fan = 0; fan < state.coolingMaxNumber; fan++) {
        stepFan(*this, function, VSC055_STEPS, loadVsc055, fan);
    }
}

int Adapter_t::esaTemperatureOverheatCheck() {
    if (state.temperatureSensorAverage <= 60) {
        return esaManageCompositeFault(0x8, OK);
    }
    trace("esaTemperatureOverheatCheck", "Temperature average over 60 degrees!");
    esaManageCompositeFault(0x8, FAILED);
    Bytes_t data = eventData();
    setWord(data, 56, 1);
    esaSendEventMmsgToEmp(10, 3, data);
    return esaSendOrderlyShutdownMmsgToStartup();
}

} // namespace model
