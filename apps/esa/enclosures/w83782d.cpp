/** Backplane built on one W83782D hardware monitor, chassis type 6, and what it shares with the Chenbro enclosure. */
#include "enclosures/w83782d.h"

#include <algorithm>

#include "core/i2c.h"
#include "policy/composite_fault.h"
#include "policy/events.h"
#include "policy/fans.h"
#include "trace.h"

namespace {

constexpr U8_t BACKPLANE = 0;
constexpr U8_t FULL_DUTY = 255;

/** The outputs are wired across: the second goes to the third's register, the third to the fourth's. */
struct PwmOutput_t {
    U8_t WinbondControl_t::*field;
    U8_t reg;
};
constexpr PwmOutput_t PWM_OUTPUTS[] = {
    {&WinbondControl_t::pwmOut1ControlRegister, 0x5B},
    {&WinbondControl_t::pwmOut2ControlRegister, 0x5E},
    {&WinbondControl_t::pwmOut3ControlRegister, 0x5F},
};

/** Duty of each percentage that the temperature policy knows. */
struct Duty_t {
    U8_t percent;
    U8_t duty;
};
constexpr Duty_t DUTIES[] = {{25, 64}, {50, 128}, {75, 192}, {100, 255}};

void policyLoadPwm(U8_t fan, U8_t percent) {
    for (const Duty_t& entry : DUTIES) {
        if (entry.percent == percent) {
            esaW83782dFanLoadPwm(fan, entry.duty);
        }
    }
}

/** A control page's 100 goes to the chip as it stands: on this chassis that is less than half the full duty. */
void controlFan(U8_t fan, bool on) {
    esaW83782dFanLoadPwm(fan, on ? 100 : 0);
    esaRecordFanOnOff(fan, on);
}

ESA_CODE_e fanReadSpeed(U8_t fan, U16_t* rpm) {
    return esaW83782dFanReadSpeed(esaControl.i2cAddressW83782d, fan, rpm);
}

void setAlarm(EsaAlarmState_e state) {
    esaW83782dSetAlarmState(esaControl.i2cAddressW83782d, BACKPLANE, state);
}

void readTemperature(U8_t sensor) {
    esaControl.temperatureSensor[sensor] = esaW83782dReadTemperature(esaControl.i2cAddressW83782d, sensor);
}

void refreshTemperatures() {
    for (U8_t sensor = 0; sensor < esaControl.temperatureSensorMaxNumber; ++sensor) {
        readTemperature(sensor);
    }
}

bool fillPowerSupply(PowerSupplyElementStat_t& status, const PowerSupplyElementCont_t& control) {
    return winbondFillPowerSupply(status, control,
                                  esaW83782dReadPowerVoltageToleranceStatus(esaControl.i2cAddressW83782d));
}

void initFans() {
    for (U8_t fan = 0; fan < std::min(esaControl.coolingMaxNumber, ESA_K_MAX_FANS); ++fan) {
        esaW83782dFanLoadPwm(fan, FULL_DUTY);
        esaControl.fanPwmLoad[fan] = 100;
        esaControl.coolingElementOnOff[fan] = ESA_E_FAN_ON;
    }
}

} // namespace

void winbondPollVoltages(ESA_CODE_e status) {
    const bool good = status == ESA_E_OK;
    const bool wasGood = (esaControl.powerSupplyStatus & ESA_K_POWER_VOLTAGE_OK) != 0;
    (void)esaManageCompositeFault(ESA_K_FAULT_POWER_SUPPLY_VOLTAGE_TOLERANCE, good ? ESA_E_OK : ESA_E_GENERR);
    if (good == wasGood) {
        TRACE_INFO(good ? "Power Voltage Tolerance Status already [OK]."
                        : "Power Voltage Tolerance Status already [NOT OK].");
        return;
    }
    TRACE_INFO(good ? "Power Voltage Tolerance Status changed from [NOT OK] to [OK]."
                    : "Power Voltage Tolerance Status changed from [OK] to [NOT OK].");
    esaControl.powerSupplyStatus ^= ESA_K_POWER_VOLTAGE_OK;
    (void)esaSendPowerSupplyEvent(good ? EMP_E_TYPE_INFORMATION : EMP_E_TYPE_WARNING);
}

bool winbondFillPowerSupply(PowerSupplyElementStat_t& status, const PowerSupplyElementCont_t& control,
                            ESA_CODE_e voltages) {
    const bool good = voltages == ESA_E_OK;
    const bool wasGood = (esaControl.powerSupplyStatus & ESA_K_POWER_VOLTAGE_OK) != 0;
    status.commonStatus = good ? SES_E_ELEMENT_STATUS_CODE_OK : SES_E_ELEMENT_STATUS_CODE_NOT_INSTALLED;
    status.acFail = !good;
    (void)esaManageCompositeFault(ESA_K_FAULT_POWER_SUPPLY_VOLTAGE_TOLERANCE, good ? ESA_E_OK : ESA_E_GENERR);
    if (good != wasGood) {
        esaControl.powerSupplyStatus ^= ESA_K_POWER_VOLTAGE_OK;
    } else {
        // Log readers know the bad state under the redundancy wording.
        TRACE_INFO(good ? "Power Voltage Tolerance Status already [OK]." : "Power Redundancy Status already [NOT OK].");
    }
    status.fail =
        control.rqstFail || (esaControl.compositeFaultStatus & ESA_K_FAULT_POWER_SUPPLY_VOLTAGE_TOLERANCE) != 0;
    return good != wasGood;
}

void winbondControlPowerSupply(bool fail) {
    (void)esaManageCompositeFault(ESA_K_FAULT_POWER_SUPPLY_VOLTAGE_TOLERANCE, fail ? ESA_E_GENERR : ESA_E_OK);
}

bool winbondIsAlarmMuted() {
    return esaControl.alarmState == ESA_E_ALARM_STATE_IDLE_S0;
}

void winbondPollFans() {
    const bool healthy = esaReadFanFailStatus() == ESA_E_OK;
    (void)esaManageCompositeFault(ESA_K_FAULT_FAN, healthy ? ESA_E_OK : ESA_E_GENERR);
}

void winbondPollPolicy() {
    esaTemperatureFanPolicy();
    esaTemperatureEventLog();
    (void)esaTemperatureOverheatCheck();
}

void esaW83782dFanLoadPwm(U8_t w83782dPwmFanInx, U8_t winbondPwmPercentage) {
    TRACE_INFO("Load PWM Winbond[%d] Percent to Fan [%d]", winbondPwmPercentage, w83782dPwmFanInx);
    if (w83782dPwmFanInx >= std::size(PWM_OUTPUTS)) {
        TRACE_INFO("Unsupported Winbond Fan Index = [%d].", w83782dPwmFanInx);
        return;
    }
    const PwmOutput_t& output = PWM_OUTPUTS[w83782dPwmFanInx];
    U8_t& field = esaControl.winbond[BACKPLANE].*output.field;
    field = winbondPwmPercentage;
    (void)esaWriteI2CData(esaControl.i2cAddressW83782d, output.reg, &field, 1);
}

ESA_CODE_e esaW83782dInit() {
    const U8_t address = esaControl.i2cAddressW83782d;
    if (!winbondProbe(address, BACKPLANE)) {
        return ESA_E_GENERR_I2C_UNAVAILABLE;
    }
    if (esaChassis() == &w83782dChassis) {
        esaSetDimensions(w83782dChassis.dimensions);
    }
    esaControl.fanFaultRpmLimit = ESA_K_FAN_FAULT_RPM_LIMIT;
    if (winbondInitVoltageLimits(address, BACKPLANE) != ESA_E_OK) {
        return ESA_E_GENERR;
    }
    initFans();
    esaControl.powerSupplyStatus |= ESA_K_POWER_VOLTAGE_OK;
    if (winbondInitTemperatureAndBeep(address, BACKPLANE, "Setting fanInOutBeepGpoRegister on Backplane [%d] failed") !=
        ESA_E_OK) {
        return ESA_E_GENERR;
    }
    setAlarm(ESA_E_ALARM_STATE_MUTE_S3);
    esaControl.alarmState = ESA_E_ALARM_STATE_MUTE_S3;
    TRACE_INFO("Finish the initialization for the W83782D guideline based enclosure.");
    return ESA_E_OK;
}

void esaW83782dProcessPollTimeout() {
    winbondPollVoltages(esaW83782dReadPowerVoltageToleranceStatus(esaControl.i2cAddressW83782d));
    winbondPollFans();
    for (U8_t sensor = 0; sensor < esaControl.temperatureSensorMaxNumber; ++sensor) {
        readTemperature(sensor);
        TRACE_INFO("temperatureSensor[%d] = [%d] degrees Celsius.", sensor, esaControl.temperatureSensor[sensor]);
    }
    winbondPollPolicy();
}

constexpr Chassis_t w83782dChassis = {
    .type = VORAN_E_CHASSIS_VORAN_W83782D,
    .typeName = "VORAN_E_CHASSIS_VORAN_W83782D",
    .initDoneText = "Finish initializing for the W83782d based Enclosure.",
    .initFailedText = "Initializing for the W83782d based Enclosure fails.",
    .vsc055Address = 0,
    .lm75Address = {},
    .w83782dAddress = 0x28,
    .dimensions = {5, 16, 2, 3, 3, 1},
    .tachometerDivisor = 0,
    .fanSpeedConfiguration = 0,
    .init = esaW83782dInit,
    .processPollTimeout = esaW83782dProcessPollTimeout,
    .fanReadSpeed = fanReadSpeed,
    .policyFanCount = 0,
    .policyLoadPwm = policyLoadPwm,
    .controlFan = controlFan,
    .setFaultAlarm = setAlarm,
    .setAlarm = setAlarm,
    .criticalAlarmState = ESA_E_ALARM_STATE_FAULT_S1,
    .silencePowerSupplyAlarm = nullptr,
    .isAlarmMuted = winbondIsAlarmMuted,
    .setDriveFaultLed = nullptr,
    .clearDriveFaultLed = nullptr,
    .isDrivePresent = nullptr,
    .refreshTemperatures = refreshTemperatures,
    .fillPowerSupply = fillPowerSupply,
    .markCoolingFault = nullptr,
    .controlPowerSupply = winbondControlPowerSupply,
};
