#include "toy_chassis.h"

#include "core/i2c.h"
#include "platform.h"
#include "policy/composite_fault.h"
#include "policy/events.h"
#include "policy/fans.h"

namespace {

constexpr U8_t CHIP = 0x55;
constexpr U8_t IDENTITY_REG = 0x00;
constexpr U8_t FAN_RPM_REG = 0x10;  // + 2 x fan, high byte first
constexpr U8_t FAN_LOAD_REG = 0x20; // + fan, percent
constexpr U8_t TEMPERATURE_REG = 0x30;
constexpr U8_t LED_REG = 0x40; // + drive, 1 lights it
constexpr U8_t ALARM_REG = 0x50;
constexpr U8_t SUPPLY_REG = 0x60; // 1 when the supply is good

U8_t readRegister(U8_t reg) {
    U8_t value = 0;
    return esaReadI2CData(CHIP, reg, &value, 1) == ESA_E_OK ? value : U8_t{0};
}

void writeRegister(int reg, U8_t value) {
    (void)esaWriteI2CData(CHIP, static_cast<U8_t>(reg), &value, 1);
}

ESA_CODE_e init() {
    U8_t identity = 0;
    if (read_i2c_data(esaControl.i2cFileFd, CHIP, IDENTITY_REG, &identity, 1) == -1) {
        esaReportI2cBusFault();
        return ESA_E_GENERR_I2C_UNAVAILABLE;
    }
    esaControl.i2cConnected = 1;
    esaSetDimensions(toyChassis.dimensions);
    esaControl.fanFaultRpmLimit = ESA_K_FAN_FAULT_RPM_LIMIT;
    esaControl.powerSupplyStatus = ESA_K_POWER_VOLTAGE_OK;
    esaControl.alarmState = ESA_E_ALARM_STATE_MUTE_S3;
    for (U8_t fan = 0; fan < esaControl.coolingMaxNumber; ++fan) {
        writeRegister(FAN_LOAD_REG + fan, 25);
        esaControl.fanPwmLoad[fan] = 25;
        esaControl.coolingElementOnOff[fan] = ESA_E_FAN_ON;
    }
    return ESA_E_OK;
}

ESA_CODE_e fanReadSpeed(U8_t fan, U16_t* rpm) {
    U8_t bytes[2] = {};
    const ESA_CODE_e result = esaReadI2CData(CHIP, static_cast<U8_t>(FAN_RPM_REG + 2 * fan), bytes, sizeof(bytes));
    if (result == ESA_E_OK) {
        *rpm = static_cast<U16_t>(bytes[0] << 8 | bytes[1]);
    }
    return result;
}

void loadPwm(U8_t fan, U8_t percent) {
    writeRegister(FAN_LOAD_REG + fan, percent);
}

void controlFan(U8_t fan, bool on) {
    loadPwm(fan, on ? 100 : 0);
    esaRecordFanOnOff(fan, on);
}

void setAlarm(EsaAlarmState_e state) {
    writeRegister(ALARM_REG, static_cast<U8_t>(state));
}

bool isAlarmMuted() {
    return esaControl.alarmState == ESA_E_ALARM_STATE_MUTE_S3;
}

S32_t setDriveFaultLed(S32_t drive) {
    writeRegister(LED_REG + drive, 1);
    return ESA_E_OK;
}

S32_t clearDriveFaultLed(S32_t drive) {
    writeRegister(LED_REG + drive, 0);
    return ESA_E_OK;
}

void refreshTemperatures() {
    esaControl.temperatureSensor[0] = static_cast<S8_t>(readRegister(TEMPERATURE_REG));
}

bool fillPowerSupply(PowerSupplyElementStat_t& status, const PowerSupplyElementCont_t&) {
    const bool good = readRegister(SUPPLY_REG) == 1;
    status.commonStatus = good ? SES_E_ELEMENT_STATUS_CODE_OK : SES_E_ELEMENT_STATUS_CODE_CRITICAL;
    return false;
}

void controlPowerSupply(bool fail) {
    writeRegister(SUPPLY_REG, fail ? 0 : 1);
}

void processPollTimeout() {
    const bool healthy = esaReadFanFailStatus() == ESA_E_OK;
    (void)esaManageCompositeFault(ESA_K_FAULT_FAN, healthy ? ESA_E_OK : ESA_E_GENERR);
    refreshTemperatures();
    esaTemperatureFanPolicy();
    esaTemperatureEventLog();
    (void)esaTemperatureOverheatCheck();
}

} // namespace

constexpr Chassis_t toyChassis = {
    .type = static_cast<VORAN_E_CHASSIS_e>(7),
    .typeName = "TOY",
    .initDoneText = "The toy is ready.",
    .initFailedText = "The toy is broken.",
    .vsc055Address = 0,
    .lm75Address = {},
    .w83782dAddress = 0,
    .dimensions = {5, 4, 1, 2, 1, 1},
    .tachometerDivisor = 0,
    .fanSpeedConfiguration = 0,
    .init = init,
    .processPollTimeout = processPollTimeout,
    .fanReadSpeed = fanReadSpeed,
    .policyFanCount = 0,
    .policyLoadPwm = loadPwm,
    .controlFan = controlFan,
    .setFaultAlarm = setAlarm,
    .setAlarm = setAlarm,
    .criticalAlarmState = ESA_E_ALARM_STATE_CRITICAL_S4,
    .silencePowerSupplyAlarm = nullptr,
    .isAlarmMuted = isAlarmMuted,
    .setDriveFaultLed = setDriveFaultLed,
    .clearDriveFaultLed = clearDriveFaultLed,
    .isDrivePresent = nullptr,
    .refreshTemperatures = refreshTemperatures,
    .fillPowerSupply = fillPowerSupply,
    .markCoolingFault = nullptr,
    .controlPowerSupply = controlPowerSupply,
};
