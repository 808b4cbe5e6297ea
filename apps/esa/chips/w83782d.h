/**
 * W83782D: hardware monitor with seven voltage inputs, three fan counters, four PWM outputs and a temperature sensor.
 * `i2cAddr` is its 7-bit address, `backplaneInx` (0 to 3) names its shadow record.
 */
#pragma once

#include "core/control_block.h"

/* Registers of bank 0, one byte each. */
inline constexpr U8_t ESA_K_W83782D_VCOREA_READING_REG = 0x20;
inline constexpr U8_t ESA_K_W83782D_VINR0_READING_REG = 0x21;
inline constexpr U8_t ESA_K_W83782D_POSITIVE_3_3VIN_READING_REG = 0x22;
inline constexpr U8_t ESA_K_W83782D_POSITIVE_5VIN_READING_REG = 0x23;
inline constexpr U8_t ESA_K_W83782D_POSITIVE_12VIN_READING_REG = 0x24;
inline constexpr U8_t ESA_K_W83782D_NEGATIVE_12VIN_READING_REG = 0x25;
inline constexpr U8_t ESA_K_W83782D_NEGATIVE_5VIN_READING_REG = 0x26;
inline constexpr U8_t ESA_K_W83782D_TEMPERATURE_READING_REG = 0x27;
inline constexpr U8_t ESA_K_W83782D_FAN1_READING_REG = 0x28;
inline constexpr U8_t ESA_K_W83782D_FAN2_READING_REG = 0x29;
inline constexpr U8_t ESA_K_W83782D_FAN3_READING_REG = 0x2A;
inline constexpr U8_t ESA_K_W83782D_VCOREA_HIGH_LIMIT_REG = 0x2B;
inline constexpr U8_t ESA_K_W83782D_VCOREA_LOW_LIMIT_REG = 0x2C;
inline constexpr U8_t ESA_K_W83782D_VINR0_HIGH_LIMIT_REG = 0x2D;
inline constexpr U8_t ESA_K_W83782D_VINR0_LOW_LIMIT_REG = 0x2E;
inline constexpr U8_t ESA_K_W83782D_POSITIVE_3_3VIN_HIGH_LIMIT_REG = 0x2F;
inline constexpr U8_t ESA_K_W83782D_POSITIVE_3_3VIN_LOW_LIMIT_REG = 0x30;
inline constexpr U8_t ESA_K_W83782D_POSITIVE_5VIN_HIGH_LIMIT_REG = 0x31;
inline constexpr U8_t ESA_K_W83782D_POSITIVE_5VIN_LOW_LIMIT_REG = 0x32;
inline constexpr U8_t ESA_K_W83782D_POSITIVE_12VIN_HIGH_LIMIT_REG = 0x33;
inline constexpr U8_t ESA_K_W83782D_POSITIVE_12VIN_LOW_LIMIT_REG = 0x34;
inline constexpr U8_t ESA_K_W83782D_NEGATIVE_12VIN_HIGH_LIMIT_REG = 0x35;
inline constexpr U8_t ESA_K_W83782D_NEGATIVE_12VIN_LOW_LIMIT_REG = 0x36;
inline constexpr U8_t ESA_K_W83782D_NEGATIVE_5VIN_HIGH_LIMIT_REG = 0x37;
inline constexpr U8_t ESA_K_W83782D_NEGATIVE_5VIN_LOW_LIMIT_REG = 0x38;
inline constexpr U8_t ESA_K_W83782D_TEMPERATURE_SENSOR1_HIGH_LIMIT_REG = 0x39;
inline constexpr U8_t ESA_K_W83782D_TEMPERATURE_SENSOR1_HYSTERESIS_REG = 0x3A;
inline constexpr U8_t ESA_K_W83782D_FAN1_FAN_COUNT_LIMIT_REG = 0x3B;
inline constexpr U8_t ESA_K_W83782D_FAN2_FAN_COUNT_LIMIT_REG = 0x3C;
inline constexpr U8_t ESA_K_W83782D_FAN3_FAN_COUNT_LIMIT_REG = 0x3D;
inline constexpr U8_t ESA_K_W83782D_CONFIGURATION_REG = 0x40;
inline constexpr U8_t ESA_K_W83782D_SERIAL_BUS_ADDRESS_REG = 0x48;
inline constexpr U8_t ESA_K_W83782D_FAN_IN_OUT_BEEP_GPO_REG = 0x4D;
inline constexpr U8_t ESA_K_W83782D_PWM_OUT2_CONTROL_REG = 0x5A;
inline constexpr U8_t ESA_K_W83782D_PWM_OUT1_CONTROL_REG = 0x5B;
inline constexpr U8_t ESA_K_W83782D_PWM_OUT3_CONTROL_REG = 0x5E;
inline constexpr U8_t ESA_K_W83782D_PWM_OUT4_CONTROL_REG = 0x5F;

/** Sensors by their place: all that is read is the first. */
enum EsaWinbondTemperatureSensorIndex_e : U8_t {
    ESA_E_WINBOND_TEMPERATURE_SENSOR_LHS = 0,
    ESA_E_WINBOND_TEMPERATURE_SENSOR_RHS = 1,
    ESA_E_WINBOND_TEMPERATURE_SENSOR_MIDDLE = 2,
};

enum EsaWinbondPwmFanIndex_e : U8_t {
    ESA_E_WINBOND_PWM_FAN_INDEX_0 = 0,
    ESA_E_WINBOND_PWM_FAN_INDEX_1 = 1,
    ESA_E_WINBOND_PWM_FAN_INDEX_2 = 2,
    ESA_E_WINBOND_PWM_FAN_INDEX_3 = 3,
};

/** Whether the chip answers; marks the bus usable when it does. */
bool winbondProbe(U8_t i2cAddr, U8_t backplaneInx);
/** Opens all voltage limits, so that the chip itself never flags a voltage. ESA_E_GENERR at the first failed write. */
ESA_CODE_e winbondInitVoltageLimits(U8_t i2cAddr, U8_t backplaneInx);
/**
 * Sets the temperature limits and the beep control; `beepReadFailedText` is traced with the backplane when the beep
 * register cannot be read. ESA_E_GENERR at the first failed transfer.
 */
ESA_CODE_e winbondInitTemperatureAndBeep(U8_t i2cAddr, U8_t backplaneInx, const CHAR_t* beepReadFailedText);
/** Traces the registers and takes the configuration over; false at the first that cannot be read. */
bool winbondDumpRegisters(U8_t i2cAddr, U8_t backplaneInx, const CHAR_t* chassisName);

/**
 * ESA_E_OK when +5 V and +12 V are within tolerance, ESA_E_GENERR at the first that is not (the inputs after it are
 * not read), or the failed read's code. The other rails are measured and traced but never judged.
 */
ESA_CODE_e esaW83782dReadPowerVoltageToleranceStatus(U8_t i2cAddr);
/**
 * RPM of fan 0 to 2, truncated to 16 bits; 0 for a counter that has overflowed. ESA_E_GENERR for another fan, or
 * the failed read's code; `*fanRpmSpeedPtr` is then not written.
 */
ESA_CODE_e esaW83782dFanReadSpeed(U8_t i2cAddr, U8_t w83782dReadFanInx, U16_t* fanRpmSpeedPtr);
/** Degrees Celsius of sensor 0; ESA_K_TEMPERATURE_NO_READING for a failed read and for any other sensor. */
S16_t esaW83782dReadTemperature(U8_t i2cAddr, U8_t temperatureSensorInx);
/** Sounds the alarm for FAULT_S1, silences it for MUTE_S3; other states change nothing. */
void esaW83782dSetAlarmState(U8_t i2cAddr, U8_t backplaneInx, EsaAlarmState_e alarmState);

/** Duty of 0, 25, 50, 75 or 100 percent; nullptr for any other percentage. */
const U8_t* winbondDuty(U8_t percent);
/** Duty (0 to 255, despite the name) of PWM output 0 to 3. */
void winbondFanLoadPwm(U8_t i2cAddr, U8_t backplaneInx, U8_t winbondPwmFanInx, U8_t winbondPwmPercentage);
