#include "policy/fans.h"

#include <algorithm>

#include "core/operation.h"
#include "policy/chassis.h"
#include "policy/composite_fault.h"
#include "policy/events.h"
#include "policy/temperatures.h"

namespace {

constexpr LoadStep_t FOUR_STEPS[] = {
    {25, 36, 50, ESA_K_NEVER_DOWN, 25},
    {50, 39, 75, 31, 25},
    {75, 41, 100, 33, 50},
    {100, ESA_K_NEVER_UP, 100, 34, 75},
};

void recordSwitch(int fan, bool on, U8_t percent) {
    esaControl.fanPwmLoad[fan] = percent;
    esaControl.coolingElementOnOff[fan] = on ? ESA_E_FAN_ON : ESA_E_FAN_OFF;
}

U8_t fanCount() {
    return std::min(esaControl.coolingMaxNumber, ESA_K_MAX_FANS);
}

/** Marks one fan; returns whether the mark changed. */
bool markFan(U8_t fan, bool healthy) {
    const U32_t bit = 1U << fan;
    const bool changed = ((esaControl.fanFaultStatus & bit) == 0) != healthy;
    ESA_TRACE("%s %s on Fan [%d].", changed ? "Now marking" : "Already marked", healthy ? "OK" : "Fault", fan);
    esaControl.fanFaultStatus ^= changed ? bit : 0;
    return changed;
}

void load(U8_t fan, U8_t percent) {
    esaChassis().policyLoadPwm(fan, percent);
    esaControl.fanPwmLoad[fan] = percent;
}

void stepFan(U8_t fan, std::span<const LoadStep_t> steps) {
    const U8_t current = esaControl.fanPwmLoad[fan];
    const S16_t average = esaControl.temperatureSensorAverage;
    const auto step = std::ranges::find(steps, current, &LoadStep_t::percent);
    if (step == steps.end()) {
        ESA_TRACE("ESA never set this PWM Load [%d] on Fan [%d]?", current, fan);
        return;
    }
    U8_t next = current;
    if (average >= step->upAtDegC) {
        next = step->upPercent;
    } else if (average <= step->downAtDegC) {
        next = step->downPercent;
    }
    if (next != current) {
        load(fan, next);
        ESA_TRACE("Temperature = [%d], Fan [%d] set to %d percent PWM", average, fan, next);
    }
}

void forceFullLoad(U8_t fan) {
    if (esaControl.fanPwmLoad[fan] != ESA_K_FULL_LOAD_PERCENT) {
        ESA_TRACE("At least 1 Fan Fault, FanFaultStatus = [0x%x]", esaControl.fanFaultStatus);
        ESA_TRACE("Fan [%d] sets to 100 percent PWM Load", fan);
        load(fan, ESA_K_FULL_LOAD_PERCENT);
    }
}

} // namespace

constexpr FanPolicy_t esaFourStepPolicy = {"esaTemperatureFanPolicy", FOUR_STEPS, true, true};

void esaRunFanPolicy(const FanPolicy_t& policy) {
    ESA_OPERATION_NAMED(policy.operation);
    const Chassis_t& chassis = esaChassis();
    const U8_t fans = policy.heedsFanGroups && chassis.policyFanCount != 0 ? chassis.policyFanCount : fanCount();
    const bool forced = policy.faultForcesFullLoad && esaControl.fanFaultStatus != 0;
    if (!chassis.isManaged || (!forced && !esaAverageTemperature())) {
        return;
    }
    for (U8_t fan = 0; fan < fans; ++fan) {
        forced ? forceFullLoad(fan) : stepFan(fan, policy.steps);
    }
}

void esaTemperatureFanPolicy() {
    esaRunFanPolicy(esaFourStepPolicy);
}

S32_t esaReadFanFailStatus() {
    ESA_OPERATION();
    const Chassis_t& chassis = esaChassis();
    if (!chassis.isManaged && fanCount() != 0) {
        return ESA_E_GENERR;
    }
    S32_t result = ESA_E_OK;
    bool changed = false;
    for (U8_t fan = 0; fan < fanCount(); ++fan) {
        U16_t reading = 0;
        const U32_t rpm = chassis.fanReadSpeed(fan, &reading) == ESA_E_OK ? reading : 0;
        ESA_TRACE("Fan [%d] has speed [%d] RPM.", fan, rpm);
        const bool healthy = rpm >= esaControl.fanFaultRpmLimit;
        if (!healthy) {
            ESA_TRACE("Return Fans Status [ERROR].");
            result = ESA_E_GENERR;
        }
        changed |= markFan(fan, healthy);
    }
    if (changed) {
        esaSendFanFaultEvent(EMP_E_TYPE_WARNING);
    }
    return result;
}

void esaPollFans() {
    const bool healthy = esaReadFanFailStatus() == ESA_E_OK;
    esaManageCompositeFault(ESA_K_FAULT_FAN, healthy ? ESA_E_OK : ESA_E_GENERR);
    esaChassis().showFans(healthy);
}

bool esaMarkCoolingFault(CoolingElementStat_t& status, U8_t fan, U16_t rpm) {
    if (!esaChassis().pageMarksFans) {
        return false;
    }
    const bool healthy = rpm > SES_K_FAN_FAULT_RPM_LIMIT;
    status.fail = !healthy;
    const bool changed = markFan(fan, healthy);
    esaChassis().showFans(esaControl.fanFaultStatus == 0);
    return changed;
}

void esaControlFan(U8_t fan, bool on) {
    const Chassis_t& chassis = esaChassis();
    if (!chassis.isManaged) {
        return;
    }
    const auto output = static_cast<U8_t>(fan / chassis.fansPerOutput);
    const U8_t percent = on ? ESA_K_FULL_LOAD_PERCENT : 0;
    chassis.controlLoadPwm(output, percent);
    const int first = output * chassis.fansPerOutput;
    for (int i = first; i < std::min<int>(first + chassis.fansPerOutput, ESA_K_MAX_FANS); ++i) {
        recordSwitch(i, on, percent);
    }
}

void esaStartFans(void (*loadPwm)(U8_t fan, U8_t percent), U8_t percent) {
    for (U8_t fan = 0; fan < fanCount(); ++fan) {
        loadPwm(fan, percent);
        recordSwitch(fan, true, percent);
    }
}
