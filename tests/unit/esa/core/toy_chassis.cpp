#include "toy_chassis.h"

#include "core/i2c.h"
#include "platform.h"
#include "policy/composite_fault.h"
#include "policy/poll.h"

namespace {

constexpr U8_t CHIP = 0x55;
constexpr U8_t IDENTITY_REG = 0x00;
constexpr U8_t FAN_RPM_REG = 0x10;  // + 2 x fan, high byte first
constexpr U8_t FAN_LOAD_REG = 0x20; // + fan, percent
constexpr U8_t TEMPERATURE_REG = 0x30;
constexpr U8_t LED_REG = 0x40; // + drive, 1 lights it
constexpr U8_t ALARM_REG = 0x50;
constexpr U8_t SUPPLY_REG = 0x60; // 1 when the supply is good
constexpr U8_t SUPPLY_LED_REG = 0x61;

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
    esaControl.fanFaultRpmLimit = SES_K_FAN_FAULT_RPM_LIMIT;
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

void setAlarm(EsaAlarmState_e state) {
    writeRegister(ALARM_REG, static_cast<U8_t>(state));
}

bool isAlarmMuted(bool) {
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

S16_t readTemperature(U8_t) {
    return static_cast<S8_t>(readRegister(TEMPERATURE_REG));
}

ESA_CODE_e readSupply() {
    return readRegister(SUPPLY_REG) == 1 ? ESA_E_OK : ESA_E_GENERR;
}

void showSupply(bool good) {
    writeRegister(SUPPLY_LED_REG, good ? 1 : 0);
}

constexpr SupplyCheck_t SUPPLY_CHECKS[] = {{
    .statusBit = ESA_K_POWER_VOLTAGE_OK,
    .cause = ESA_K_FAULT_POWER_SUPPLY_VOLTAGE_TOLERANCE,
    .read = readSupply,
    .unusableBusIsBad = true,
    .isInstallation = true,
    .isInput = false,
    .show = showSupply,
}};

} // namespace

constexpr Chassis_t toyChassis = {
    .type = static_cast<VORAN_E_CHASSIS_e>(100),
    .typeName = "TOY",
    .initDoneText = "The toy is ready.",
    .initFailedText = "The toy is broken.",
    .dimensions = {5, 4, 1, 2, 1, 1},
    .init = init,
    .processPollTimeout = [] { esaPollEnclosure(); },
    .supplyChecks = SUPPLY_CHECKS,
    .isManaged = true,
    .fanReadSpeed = fanReadSpeed,
    .policyLoadPwm = loadPwm,
    .controlLoadPwm = loadPwm,
    .readTemperature = readTemperature,
    .faultMovesAlarm = true,
    .setAlarm = setAlarm,
    .criticalAlarmState = ESA_E_ALARM_STATE_CRITICAL_S4,
    .isAlarmMuted = isAlarmMuted,
    .setDriveFaultLed = setDriveFaultLed,
    .clearDriveFaultLed = clearDriveFaultLed,
};
