#include "policy/fans.h"

#include <algorithm>
#include <span>

#include "policy/chassis.h"
#include "policy/composite_fault.h"
#include "policy/events.h"
#include "trace.h"

namespace {

constexpr S16_t OVERHEAT_DEG_C = 60;
constexpr U8_t FULL_LOAD_PERCENT = 100;

/** No temperature is above or below these: the load at the end of a table has no further step. */
constexpr S32_t NEVER_UP = INT32_MAX;
constexpr S32_t NEVER_DOWN = INT32_MIN;

/** What becomes of a fan at `percent`: one step up or down, or none. The gap between the limits is hysteresis. */
struct LoadStep_t {
    U8_t percent;
    S32_t upAtDegC;
    U8_t upPercent;
    S32_t downAtDegC;
    U8_t downPercent;
};

constexpr LoadStep_t FOUR_STEPS[] = {
    {25, 36, 50, NEVER_DOWN, 25},
    {50, 39, 75, 31, 25},
    {75, 41, 100, 33, 50},
    {100, NEVER_UP, 100, 34, 75},
};

constexpr LoadStep_t VSC055_STEPS[] = {
    {50, 45, 75, NEVER_DOWN, 50},
    {75, 55, 100, 44, 50},
    {100, NEVER_UP, 100, 54, 75},
};

using LoadPwm_t = void (*)(U8_t fan, U8_t percent);

U8_t fanCount() {
    return std::min(esaControl.coolingMaxNumber, ESA_K_MAX_FANS);
}

/** Marks one fan by its speed; returns whether the mark changed. */
bool markFan(U8_t fan, bool healthy) {
    const U32_t bit = 1U << fan;
    const bool marked = (esaControl.fanFaultStatus & bit) != 0;
    if (healthy) {
        TRACE_INFO(marked ? "Now marking OK on Fan [%d]." : "Already marked OK on Fan [%d].", fan);
        esaControl.fanFaultStatus &= ~bit;
        return marked;
    }
    TRACE_INFO("Return Fans Status [ERROR].");
    TRACE_INFO(marked ? "Already marked Fault on Fan [%d]." : "Now marking Fault on Fan [%d].", fan);
    esaControl.fanFaultStatus |= bit;
    return !marked;
}

/**
 * Averages the sensors that gave a reading; false, with nothing changed, when none did. The sum is kept in 16 bits
 * like the average: at most four sane readings fit.
 */
bool averageTemperature() {
    S16_t sum = 0;
    S16_t count = 0;
    for (U8_t i = 0; i < std::min(esaControl.temperatureSensorMaxNumber, ESA_K_MAX_TEMPERATURE_SENSORS); ++i) {
        if (esaControl.temperatureSensor[i] != ESA_K_TEMPERATURE_NO_READING) {
            sum = static_cast<S16_t>(sum + esaControl.temperatureSensor[i]);
            ++count;
        }
    }
    if (count == 0) {
        TRACE_INFO("No temperature sensor gave a reading, fan loads and average stay as they are.");
        return false;
    }
    esaControl.temperatureSensorAverage = static_cast<S16_t>(sum / count);
    TRACE_INFO("temperatureSensorAverage = [%d] degrees Celsius.", esaControl.temperatureSensorAverage);
    return true;
}

void load(U8_t fan, U8_t percent, LoadPwm_t loadPwm) {
    loadPwm(fan, percent);
    esaControl.fanPwmLoad[fan] = percent;
}

void stepFan(U8_t fan, std::span<const LoadStep_t> steps, LoadPwm_t loadPwm) {
    const U8_t current = esaControl.fanPwmLoad[fan];
    const S16_t average = esaControl.temperatureSensorAverage;
    const auto step = std::find_if(steps.begin(), steps.end(), [&](const auto& s) { return s.percent == current; });
    if (step == steps.end()) {
        TRACE_INFO("ESA never set this PWM Load [%d] on Fan [%d]?", current, fan);
        return;
    }
    U8_t next = current;
    if (average >= step->upAtDegC) {
        next = step->upPercent;
    } else if (average <= step->downAtDegC) {
        next = step->downPercent;
    }
    if (next != current) {
        load(fan, next, loadPwm);
        TRACE_INFO("Temperature = [%d], Fan [%d] set to %d percent PWM", average, fan, next);
    }
}

void stepFans(U8_t fans, std::span<const LoadStep_t> steps, LoadPwm_t loadPwm) {
    if (!averageTemperature()) {
        return;
    }
    for (U8_t fan = 0; fan < fans; ++fan) {
        stepFan(fan, steps, loadPwm);
    }
}

void drivePastFault(U8_t fans, LoadPwm_t loadPwm) {
    for (U8_t fan = 0; fan < fans; ++fan) {
        if (esaControl.fanPwmLoad[fan] != FULL_LOAD_PERCENT) {
            TRACE_INFO("At least 1 Fan Fault, FanFaultStatus = [0x%x]", esaControl.fanFaultStatus);
            TRACE_INFO("Fan [%d] sets to 100 percent PWM Load", fan);
            load(fan, FULL_LOAD_PERCENT, loadPwm);
        }
    }
}

} // namespace

S32_t esaReadFanFailStatus() {
    S32_t result = ESA_E_OK;
    bool changed = false;
    for (U8_t fan = 0; fan < fanCount(); ++fan) {
        const Chassis_t* chassis = esaChassis();
        if (chassis == nullptr) {
            return ESA_E_GENERR;
        }
        U16_t reading = 0;
        const bool readable = chassis->fanReadSpeed(fan, &reading) == ESA_E_OK;
        const U32_t rpm = readable ? reading : 0;
        TRACE_INFO("Fan [%d] has speed [%d] RPM.", fan, rpm);
        const bool healthy = rpm >= esaControl.fanFaultRpmLimit;
        if (!healthy) {
            result = ESA_E_GENERR;
        }
        changed |= markFan(fan, healthy);
    }
    if (changed) {
        (void)esaSendFanFaultEvent(EMP_E_TYPE_WARNING);
    }
    return result;
}

void esaTemperatureFanPolicy() {
    const Chassis_t* chassis = esaChassis();
    if (chassis == nullptr) {
        return;
    }
    const U8_t fans = chassis->policyFanCount != 0 ? chassis->policyFanCount : fanCount();
    if (esaControl.fanFaultStatus != 0) {
        drivePastFault(fans, chassis->policyLoadPwm);
        return;
    }
    stepFans(fans, FOUR_STEPS, chassis->policyLoadPwm);
}

void esaVsc055TemperatureFanPolicy() {
    if (const Chassis_t* chassis = esaChassis(); chassis != nullptr) {
        stepFans(fanCount(), VSC055_STEPS, chassis->policyLoadPwm);
    }
}

S32_t esaTemperatureOverheatCheck() {
    if (esaControl.temperatureSensorAverage <= OVERHEAT_DEG_C) {
        return esaManageCompositeFault(ESA_K_FAULT_TEMPERATURE_OVERHEAT, ESA_E_OK);
    }
    TRACE_INFO("Temperature average over 60 degrees!");
    (void)esaManageCompositeFault(ESA_K_FAULT_TEMPERATURE_OVERHEAT, ESA_E_GENERR);
    (void)esaSendInformationEvent(EMP_E_TYPE_ERROR, ESA_E_EVENT_INFO_REQUEST_ORDERLY_SHUTDOWN);
    return esaSendOrderlyShutdownMmsgToStartup();
}
