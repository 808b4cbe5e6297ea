/** Health policy: composite fault and its requests to Startup, fan check, fan loads by temperature, overheat. */
#include "adapter.h"

#include <algorithm>

#include "outgoing.h"

namespace model {

namespace {

const std::map<std::uint32_t, const char*> CAUSES = {{0x01, "POWER_SUPPLY_VOLTAGE_TOLERANCE"},
                                                     {0x02, "POWER_SUPPLY_REDUNDANCY"},
                                                     {0x04, "FAN"},
                                                     {0x08, "TEMPERATURE_OVERHEAT"},
                                                     {0x10, "I2C_BUS_FAULT"}};

constexpr std::uint32_t ALL_CAUSES = 0x1F;
constexpr std::uint32_t LED_ON = 0x80000000;

} // namespace

void Adapter_t::clearCause(std::uint32_t cause) {
    trace("esaManageCompositeFault", "Clear the current Fault bit [0x%x].", cause);
    state.compositeFaultStatus &= ~cause;
    if ((state.compositeFaultStatus & ALL_CAUSES) != 0) {
        return;
    }
    state.compositeFaultStatus &= ~LED_ON;
    esaSendCompositeFaultMmsgToStartup(false);
    if (state.alarmState != 3) {
        setAlarm(3);
    }
}

void Adapter_t::setCause(std::uint32_t cause) {
    const char* const function = "esaManageCompositeFault";
    trace(function, "Set the new Fault bit [0x%x].", cause);
    state.compositeFaultStatus |= cause;
    if ((state.compositeFaultStatus & LED_ON) == 0) {
        trace(function, "Turn on the Composite Fault LED.");
        state.compositeFaultStatus |= LED_ON;
        esaSendCompositeFaultMmsgToStartup(true);
        if (state.alarmState == 3) {
            setAlarm(1);
        }
    } else {
        trace(function, "The Composite Fault LED is currently ON for other Faults.");
    }
    trace("esaSendEmailNotificationMmsgToStartup", "Send Email Notification MMSG To Startup.");
    sendToStartup("esaSendEmailNotificationMmsgToStartup()", 0x0C000010);
}

void Adapter_t::esaManageCompositeFault(std::uint32_t cause, bool good) {
    const char* const function = "esaManageCompositeFault";
    const bool exists = (state.compositeFaultStatus & cause) != 0;
    trace(function, "This Fault bit is [%s]", CAUSES.at(cause));
    trace(function, "This Fault bit [0x%x] %s currently.", cause, exists ? "exists" : "does NOT exist");
    if (exists != good) {
        trace(function, "The Fault bit [0x%x] is already %s.", cause, exists ? "set" : "clear");
    } else if (good) {
        clearCause(cause);
    } else {
        setCause(cause);
    }
}

void Adapter_t::esaSendCompositeFaultMmsgToStartup(bool on) {
    trace("esaSendCompositeFaultMmsgToStartup", "[%s] Composite Fault LED in Startup.", on ? "Set" : "Clear");
    sendToStartup("esaSendCompositeFaultMmsgToStartup()", 0x0C00000E, 2, on ? 2 : 1);
}

void Adapter_t::judgeSupply(const char* function, std::uint32_t bit, int result, const char* name, bool tellsChange) {
    const bool good = result == OK;
    esaManageCompositeFault(bit, good);
    if (((state.powerSupplyStatus & bit) != 0) == good) {
        trace(function, "%s already [%s].", name, good ? "OK" : "NOT OK");
        return;
    }
    if (tellsChange) {
        trace(function, "%s changed from [%s] to [%s].", name, good ? "NOT OK" : "OK", good ? "OK" : "NOT OK");
    }
    state.powerSupplyStatus ^= bit;
    sendPowerSupplyEvent(good ? 1 : 2);
}

void Adapter_t::judgeFans() {
    esaManageCompositeFault(0x4, esaReadFanFailStatus() == OK);
}

int Adapter_t::esaReadFanFailStatus() {
    const char* const function = "esaReadFanFailStatus";
    int result = OK;
    bool changed = false;
    for (std::uint8_t fan = 0; fan < state.coolingMaxNumber; fan++) {
        std::uint16_t rpm = 0;
        const unsigned speed = readFan(fan, rpm) == OK ? rpm : 0U; // one that cannot be read counts as stopped
        const std::uint32_t bit = 1U << fan;
        trace(function, "Fan [%d] has speed [%d] RPM.", fan, static_cast<int>(speed));
        const bool slow = speed < state.fanFaultRpmLimit;
        if (slow) {
            trace(function, "Return Fans Status [ERROR].");
            result = FAILED;
        }
        const bool isNew = slow != ((state.fanFaultStatus & bit) != 0);
        trace(function, "%s %s on Fan [%d].", isNew ? "Now marking" : "Already marked", slow ? "Fault" : "OK", fan);
        state.fanFaultStatus ^= isNew ? bit : 0;
        changed |= isNew;
    }
    if (changed) {
        sendFanEvent();
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

/** What the single W83782D gets for a percentage. */
const std::map<std::uint8_t, std::uint8_t> DUTIES = {{25, 64}, {50, 128}, {75, 192}, {100, 255}};

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
        adapter.trace(function, "No temperature sensor gave a reading, fan loads and average stay as they are.");
        return false;
    }
    state.temperatureSensorAverage = static_cast<std::int16_t>(sum / count);
    adapter.trace(function, "temperatureSensorAverage = [%d] degrees Celsius.", state.temperatureSensorAverage);
    return true;
}

void stepFan(Adapter_t& adapter, const char* function, std::span<const Step_t> steps, std::uint8_t fan) {
    std::uint8_t& percent = adapter.state.fanPwmLoad[fan];
    const int average = adapter.state.temperatureSensorAverage;
    const auto step = std::ranges::find(steps, percent, &Step_t::load);
    if (step == steps.end()) {
        adapter.trace(function, "ESA never set this PWM Load [%d] on Fan [%d]?", percent, fan);
        return;
    }
    const std::uint8_t wanted = average >= step->upAt ? step->up : average <= step->downAt ? step->down : percent;
    if (wanted == percent) {
        return;
    }
    adapter.loadFan(fan, wanted, DUTIES.at(wanted));
    percent = wanted;
    adapter.trace(function, "Temperature = [%d], Fan [%d] set to %d percent PWM", average, fan, wanted);
}

} // namespace

void Adapter_t::esaTemperatureFanPolicy() {
    const char* const function = "esaTemperatureFanPolicy";
    const std::uint8_t fans = state.enclosureType == 2 ? std::uint8_t{2} : state.coolingMaxNumber;
    if (state.fanFaultStatus != 0) {
        for (std::uint8_t fan = 0; fan < fans; fan++) {
            if (state.fanPwmLoad[fan] == 100) {
                continue;
            }
            trace(function, "At least 1 Fan Fault, FanFaultStatus = [0x%x]", state.fanFaultStatus);
            trace(function, "Fan [%d] sets to 100 percent PWM Load", fan);
            loadFan(fan, 100, 255);
            state.fanPwmLoad[fan] = 100;
        }
    } else if (takeAverage(*this, function)) {
        for (std::uint8_t fan = 0; fan < fans; fan++) {
            stepFan(*this, function, FOUR_STEPS, fan);
        }
    }
}

void Adapter_t::esaVsc055TemperatureFanPolicy() {
    const char* const function = "esaVsc055TemperatureFanPolicy";
    if (takeAverage(*this, function)) {
        for (std::uint8_t fan = 0; fan < state.coolingMaxNumber; fan++) {
            stepFan(*this, function, VSC055_STEPS, fan);
        }
    }
}

void Adapter_t::esaTemperatureOverheatCheck() {
    if (state.temperatureSensorAverage <= 60) {
        esaManageCompositeFault(0x8, true);
        return;
    }
    trace("esaTemperatureOverheatCheck", "Temperature average over 60 degrees!");
    esaManageCompositeFault(0x8, false);
    sendEvent(10, 3, {{56, 1}});
    trace("esaSendOrderlyShutdownMmsgToStartup", "Send request of Orderly Shutdown to Startup");
    sendToStartup("esaSendEventMmsgToEmp()", 0x0D000001, 0, 1);
}

} // namespace model
