/** Chenbro 3U16 enclosure: four backplanes with a W83782D each, six fans. Chassis type 4. */
#include "enclosures/chenbro.h"

#include <iterator>

#include "chips/w83782d.h"
#include "core/operation.h"
#include "policy/composite_fault.h"
#include "policy/poll.h"

namespace {

constexpr U8_t BACKPLANES = 4;
constexpr U8_t START_LOAD_PERCENT = 50;

/** Where the backplanes' chips are measured and configured. */
constexpr U8_t BACKPLANE_ADDRESSES[BACKPLANES] = {0x28, 0x2A, 0x2C, 0x30};

/** Fans are reached at addresses of their own, which are not those of the backplanes beyond the first. */
struct Fan_t {
    U8_t address;
    U8_t readIndex;
    U8_t backplane;
    U8_t pwmIndex;
};
constexpr Fan_t FANS[] = {
    {0x28, 0, 0, 0}, {0x28, 1, 0, 1}, {0x29, 0, 1, 0}, {0x2A, 0, 2, 0}, {0x2B, 0, 3, 0}, {0x2B, 1, 3, 1},
};

const Fan_t* findFan(S32_t fan) {
    if (fan < 0 || fan >= static_cast<S32_t>(std::size(FANS))) {
        ESA_TRACE("Unsupported Fan Index = [%d].", fan);
        return nullptr;
    }
    return &FANS[fan];
}

S16_t readTemperature(U8_t backplane) {
    return esaW83782dReadTemperature(BACKPLANE_ADDRESSES[backplane], ESA_E_WINBOND_TEMPERATURE_SENSOR_LHS);
}

/** Every backplane in turn; the first that does not succeed ends it. */
template <typename Operation>
ESA_CODE_e onAllBackplanes(Operation operation) {
    for (U8_t backplane = 0; backplane < BACKPLANES; ++backplane) {
        if (const ESA_CODE_e result = operation(BACKPLANE_ADDRESSES[backplane], backplane); result != ESA_E_OK) {
            return result;
        }
    }
    return ESA_E_OK;
}

ESA_CODE_e probe(U8_t address, U8_t backplane) {
    return winbondProbe(address, backplane) ? ESA_E_OK : ESA_E_GENERR;
}

ESA_CODE_e initTemperatureAndBeep(U8_t address, U8_t backplane) {
    return winbondInitTemperatureAndBeep(address, backplane,
                                         "Reading fanInOutBeepGpoRegister on Backplane [%d] failed");
}

constexpr SupplyCheck_t SUPPLY_CHECKS[] = {esaVoltageCheck(chenbroReadPowerVoltageToleranceStatus)};

} // namespace

ESA_CODE_e chenbroReadPowerVoltageToleranceStatus() {
    const ESA_CODE_e result =
        onAllBackplanes([](U8_t address, U8_t) { return esaW83782dReadPowerVoltageToleranceStatus(address); });
    return result == ESA_E_OK ? ESA_E_OK : ESA_E_GENERR;
}

ESA_CODE_e chenbroW83782dFanReadSpeed(S32_t chenbroFanInx, U16_t* fanRpmSpeedPtr) {
    ESA_OPERATION();
    ESA_TRACE("Read speed with Fan, chenbroFanInx = [%d].", chenbroFanInx);
    const Fan_t* fan = findFan(chenbroFanInx);
    if (fan == nullptr || esaW83782dFanReadSpeed(fan->address, fan->readIndex, fanRpmSpeedPtr) != ESA_E_OK) {
        return ESA_E_GENERR;
    }
    return ESA_E_OK;
}

void chenbroW83782dFanLoadPwm(U8_t chenbroFanInx, U8_t esaPwmPercentage) {
    ESA_OPERATION();
    ESA_TRACE("Load PWM Esa[%d] Percent to Fan [%d]", esaPwmPercentage, chenbroFanInx);
    const U8_t* duty = winbondDuty(esaPwmPercentage);
    if (duty == nullptr) {
        ESA_TRACE("Unsupported ESA PWM Percentage = [%d].", esaPwmPercentage);
        return;
    }
    if (const Fan_t* fan = findFan(chenbroFanInx); fan != nullptr) {
        winbondFanLoadPwm(fan->address, fan->backplane, fan->pwmIndex, *duty);
    }
}

void chenbroSetAlarmState(EsaAlarmState_e alarmState) {
    for (U8_t backplane = 0; backplane < BACKPLANES; ++backplane) {
        esaW83782dSetAlarmState(BACKPLANE_ADDRESSES[backplane], backplane, alarmState);
    }
}

void chenbroReadWinbondRegisters() {
    ESA_OPERATION();
    onAllBackplanes([](U8_t address, U8_t backplane) {
        return winbondDumpRegisters(address, backplane, "Chenbro") ? ESA_E_OK : ESA_E_GENERR;
    });
}

ESA_CODE_e chenbroInit() {
    ESA_OPERATION();
    if (onAllBackplanes(probe) != ESA_E_OK) {
        return esaReportI2cBusFault();
    }
    esaSetDimensions(chenbroChassis.dimensions);
    esaControl.fanFaultRpmLimit = SES_K_FAN_FAULT_RPM_LIMIT;
    chenbroReadWinbondRegisters();
    if (onAllBackplanes(winbondInitVoltageLimits) != ESA_E_OK) {
        return ESA_E_GENERR;
    }
    esaStartFans(chenbroW83782dFanLoadPwm, START_LOAD_PERCENT);
    esaControl.powerSupplyStatus |= ESA_K_POWER_VOLTAGE_OK;
    if (onAllBackplanes(initTemperatureAndBeep) != ESA_E_OK) {
        return ESA_E_GENERR;
    }
    chenbroSetAlarmState(ESA_E_ALARM_STATE_MUTE_S3);
    esaControl.alarmState = ESA_E_ALARM_STATE_MUTE_S3;
    ESA_TRACE("Finish the Chenbro initialization.");
    return ESA_E_OK;
}

void chenbroEsaProcessPollTimeout() {
    ESA_OPERATION();
    esaPollEnclosure();
}

constexpr Chassis_t chenbroChassis = {
    .type = VORAN_E_CHASSIS_CHENBRO_3U16ATX,
    .typeName = "VORAN_E_CHASSIS_CHENBRO_3U16ATX",
    .initDoneText = "Finish initializing for the Chenbro Enclosure.",
    .initFailedText = "Initializing for the Chenbro Enclosure fails.",
    .dimensions = esaDimensionsOf(VORAN_E_CHASSIS_CHENBRO_3U16ATX),
    .init = chenbroInit,
    .processPollTimeout = chenbroEsaProcessPollTimeout,
    .supplyChecks = SUPPLY_CHECKS,
    .isManaged = true,
    .mayMissBackplanes = true,
    .fanReadSpeed = [](U8_t fan, U16_t* rpm) { return chenbroW83782dFanReadSpeed(fan, rpm); },
    .policyLoadPwm = chenbroW83782dFanLoadPwm,
    .controlLoadPwm = chenbroW83782dFanLoadPwm,
    .sensorCount = BACKPLANES,
    .readTemperature = readTemperature,
    .faultMovesAlarm = true,
    .setAlarm = chenbroSetAlarmState,
};
