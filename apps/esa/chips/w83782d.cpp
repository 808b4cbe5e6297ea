/**
 * W83782D: hardware monitor with seven voltage inputs, three fan counters, four PWM outputs and a temperature
 * sensor. One sits on the backplane of chassis type 6, four in the Chenbro enclosure.
 */
#include "enclosures/w83782d.h"
#include "core/i2c.h"
#include "platform.h"
#include "policy/composite_fault.h"
#include "trace.h"

namespace {

constexpr U8_t ALARM_OFF_BIT = 0x40; // of the configuration register
constexpr U8_t FAN_IN_OUT_BEEP_GPO_REG = 0x4D;
constexpr U8_t BEEP_BIT = 0x80;

constexpr U8_t VOLTAGE_LIMIT_HIGH = 255;
constexpr U8_t VOLTAGE_LIMIT_LOW = 1;
constexpr U8_t TEMPERATURE_LIMIT_DEG_C = 60;
constexpr U8_t TEMPERATURE_HYSTERESIS_DEG_C = 127;

constexpr U8_t COUNTER_OVERFLOW = 0xFF;
constexpr U32_t FAN_CLOCK = 1350000;
constexpr U32_t FAN_DIVISOR = 2;
constexpr U8_t FAN_COUNT_REGS[] = {ESA_K_W83782D_FAN1_READING_REG, ESA_K_W83782D_FAN2_READING_REG,
                                   ESA_K_W83782D_FAN3_READING_REG};

/** A count of 0 has no speed; 0 RPM makes a fan whose counter does not count a faulty one. */
constexpr U16_t toRpm(U8_t count) {
    return count == 0 ? U16_t{0} : static_cast<U16_t>(FAN_CLOCK / (count * FAN_DIVISOR));
}
static_assert(toRpm(0) == 0);
static_assert(toRpm(1) == 19640); // 675000 in 16 bits
static_assert(toRpm(100) == 6750);
static_assert(toRpm(254) == 2657);

/* Voltages. The constants are these very doubles, multiplied left to right, on every processor. */

constexpr double VOLTS_PER_COUNT = 0.016;

constexpr double direct(double reading) {
    return reading * VOLTS_PER_COUNT;
}
constexpr double positive5(double reading) {
    return reading * VOLTS_PER_COUNT * 1.68;
}
constexpr double positive12(double reading) {
    return reading * VOLTS_PER_COUNT * 3.8;
}
constexpr double negative12(double reading) {
    return (reading * VOLTS_PER_COUNT - 2.9000000000000004) / 0.19444444444444442;
}
constexpr double negative5(double reading) {
    return (reading * VOLTS_PER_COUNT - 2.4545454545454546) / 0.31818181818181823;
}

/** Tolerance of a rail that is judged. */
struct Tolerance_t {
    double low;
    double high;
    const CHAR_t* limitsText;
    const CHAR_t* errorText;
};

constexpr Tolerance_t TOLERANCE_5V = {4.5, 5.5, "+5Vin low limit = [%f]V. +5Vin high limit = [%f].",
                                      "Return Power Voltage Tolerance Status [ERROR] because of +5Vin measurement."};
constexpr Tolerance_t TOLERANCE_12V = {10.8, 13.2, "+12Vin low limit = [%f]V. +12Vin high limit = [%f].",
                                       "Return Power Voltage Tolerance Status [ERROR] because of +12Vin measurement."};

struct Rail_t {
    U8_t reg;
    const CHAR_t* rawText;
    double (*toVolts)(double reading);
    const CHAR_t* voltsText;
    const Tolerance_t* tolerance; /**< nullptr: never judged */
};

constexpr Rail_t RAILS[] = {
    {ESA_K_W83782D_VCOREA_READING_REG, "Vcorea = [%d].", direct, "Converted Vcorea = [%f]V.", nullptr},
    {ESA_K_W83782D_VINR0_READING_REG, "Vinr0 = [%d]", direct, "Converted Vinr0 = [%f]V.", nullptr},
    {ESA_K_W83782D_POSITIVE_3_3VIN_READING_REG, "+3.3Vin = [%d]", direct, "Converted +3.3Vin = [%f]V.", nullptr},
    {ESA_K_W83782D_POSITIVE_5VIN_READING_REG, "+5Vin = [%d]", positive5, "Converted +5Vin = [%f]V.", &TOLERANCE_5V},
    {ESA_K_W83782D_POSITIVE_12VIN_READING_REG, "+12Vin = [%d]", positive12, "Converted +12Vin = [%f]V.",
     &TOLERANCE_12V},
    {ESA_K_W83782D_NEGATIVE_12VIN_READING_REG, "-12Vin = [%d]", negative12, "Converted -12Vin = [%f]V.", nullptr},
    {ESA_K_W83782D_NEGATIVE_5VIN_READING_REG, "-5Vin = [%d]", negative5, "Converted -5Vin = [%f]V.", nullptr},
};

bool isWithin(double volts, const Tolerance_t& tolerance) {
    if (volts >= tolerance.low && volts <= tolerance.high) {
        return true;
    }
    TRACE_INFO(tolerance.limitsText, tolerance.low, tolerance.high);
    TRACE_INFO("%s", tolerance.errorText);
    return false;
}

ESA_CODE_e checkRail(U8_t i2cAddr, const Rail_t& rail) {
    U8_t reading = 0;
    if (const ESA_CODE_e result = esaReadI2CData(i2cAddr, rail.reg, &reading, 1); result != ESA_E_OK) {
        return result;
    }
    const double volts = rail.toVolts(reading);
    TRACE_INFO(rail.rawText, reading);
    TRACE_INFO(rail.voltsText, volts);
    return rail.tolerance == nullptr || isWithin(volts, *rail.tolerance) ? ESA_E_OK : ESA_E_GENERR;
}

/* PWM outputs. */

struct PwmOutput_t {
    U8_t WinbondControl_t::*stored; /**< shadow that takes the new duty */
    U8_t WinbondControl_t::*sent;   /**< shadow that goes to the register */
    U8_t reg;
};

/** The fourth output keeps its old duty: the new one lands in the first output's shadow and is not sent. */
constexpr PwmOutput_t PWM_OUTPUTS[] = {
    {&WinbondControl_t::pwmOut1ControlRegister, &WinbondControl_t::pwmOut1ControlRegister, 0x5B},
    {&WinbondControl_t::pwmOut2ControlRegister, &WinbondControl_t::pwmOut2ControlRegister, 0x5A},
    {&WinbondControl_t::pwmOut3ControlRegister, &WinbondControl_t::pwmOut3ControlRegister, 0x5E},
    {&WinbondControl_t::pwmOut1ControlRegister, &WinbondControl_t::pwmOut4ControlRegister, 0x5F},
};

/* Limits. */

struct VoltageLimit_t {
    U8_t WinbondControl_t::*field;
    U8_t reg;
    U8_t value;
    const CHAR_t* text;
};

constexpr VoltageLimit_t VOLTAGE_LIMITS[] = {
    {&WinbondControl_t::vcoreaHighLimitRegister, ESA_K_W83782D_VCOREA_HIGH_LIMIT_REG, VOLTAGE_LIMIT_HIGH,
     "Set Vcorea High Limit = [%d]"},
    {&WinbondControl_t::vcoreaLowLimitRegister, ESA_K_W83782D_VCOREA_LOW_LIMIT_REG, VOLTAGE_LIMIT_LOW,
     "Set Vcorea Low Limit = [%d]"},
    {&WinbondControl_t::vinr0HighLimitRegister, ESA_K_W83782D_VINR0_HIGH_LIMIT_REG, VOLTAGE_LIMIT_HIGH,
     "Set Vinr0 High Limit = [%d]"},
    {&WinbondControl_t::vinr0LowLimitRegister, ESA_K_W83782D_VINR0_LOW_LIMIT_REG, VOLTAGE_LIMIT_LOW,
     "Set Vinr0 Low Limit = [%d]"},
    {&WinbondControl_t::positive3_3VinHighLimitRegister, ESA_K_W83782D_POSITIVE_3_3VIN_HIGH_LIMIT_REG,
     VOLTAGE_LIMIT_HIGH, "Set +3.3Vin High Limit = [%d]"},
    {&WinbondControl_t::positive3_3VinLowLimitRegister, ESA_K_W83782D_POSITIVE_3_3VIN_LOW_LIMIT_REG, VOLTAGE_LIMIT_LOW,
     "Set +3.3Vin Low Limit = [%d]"},
    {&WinbondControl_t::positive5VinHighLimitRegister, ESA_K_W83782D_POSITIVE_5VIN_HIGH_LIMIT_REG, VOLTAGE_LIMIT_HIGH,
     "+5Vin High Limit = [%d]"},
    {&WinbondControl_t::positive5VinLowLimitRegister, ESA_K_W83782D_POSITIVE_5VIN_LOW_LIMIT_REG, VOLTAGE_LIMIT_LOW,
     "Set +5Vin Low Limit = [%d]"},
    {&WinbondControl_t::positive12VinHighLimitRegister, ESA_K_W83782D_POSITIVE_12VIN_HIGH_LIMIT_REG, VOLTAGE_LIMIT_HIGH,
     "Set +12Vin High Limit = [%d]"},
    {&WinbondControl_t::positive12VinLowLimitRegister, ESA_K_W83782D_POSITIVE_12VIN_LOW_LIMIT_REG, VOLTAGE_LIMIT_LOW,
     "Set +12Vin Low Limit = [%d]"},
    {&WinbondControl_t::negative12VinHighLimitRegister, ESA_K_W83782D_NEGATIVE_12VIN_HIGH_LIMIT_REG, VOLTAGE_LIMIT_HIGH,
     "Set -12Vin High Limit = [%d]"},
    {&WinbondControl_t::negative12VinLowLimitRegister, ESA_K_W83782D_NEGATIVE_12VIN_LOW_LIMIT_REG, VOLTAGE_LIMIT_LOW,
     "Set -12Vin Low Limit = [%d]"},
    {&WinbondControl_t::negative5VinHighLimitRegister, ESA_K_W83782D_NEGATIVE_5VIN_HIGH_LIMIT_REG, VOLTAGE_LIMIT_HIGH,
     "Set -5Vin High Limit = [%d]"},
    {&WinbondControl_t::negative5VinLowLimitRegister, ESA_K_W83782D_NEGATIVE_5VIN_LOW_LIMIT_REG, VOLTAGE_LIMIT_LOW,
     "Set -5Vin Low Limit = [%d]"},
};

constexpr const CHAR_t* SET_ALARM_TEXTS[] = {
    "No action on setting Backplane Alarm State to [IDEL_S0].",
    "Set Backplane Alarm State to [FAULT_S1].",
    "No action on setting Backplane Alarm State to [REMIND_S2].",
    "Set Backplane Alarm State to [MUTE_S3].",
    "No action on setting Backplane Alarm State to [CRITICAL_S4].",
    "No action on setting Backplane Alarm State to [STATE_S5].",
    "No action on setting Backplane Alarm State to [STATE_S6].",
    "No action on setting Backplane Alarm State to [STATE_S7].",
};

/** Stores a value in its shadow field and writes it. */
ESA_CODE_e writeShadow(U8_t i2cAddr, U8_t reg, U8_t& field, U8_t value) {
    field = value;
    return esaWriteI2CData(i2cAddr, reg, &field, 1);
}

} // namespace

ESA_CODE_e esaW83782dReadPowerVoltageToleranceStatus(U8_t i2cAddr) {
    TRACE_INFO("Read Voltage Tolerance, I2C address = [0x%x].", i2cAddr);
    for (const Rail_t& rail : RAILS) {
        if (const ESA_CODE_e result = checkRail(i2cAddr, rail); result != ESA_E_OK) {
            return result;
        }
    }
    return ESA_E_OK;
}

ESA_CODE_e esaW83782dFanReadSpeed(U8_t i2cAddr, U8_t w83782dReadFanInx, U16_t* fanRpmSpeedPtr) {
    TRACE_INFO("Read speed with Fan, I2C address = [0x%x], w83782dFanInx = [%d].", i2cAddr, w83782dReadFanInx);
    if (w83782dReadFanInx >= std::size(FAN_COUNT_REGS)) {
        TRACE_INFO("Unsupported Winbond Fan Index = [%d].", w83782dReadFanInx);
        return ESA_E_GENERR;
    }
    const U8_t reg = FAN_COUNT_REGS[w83782dReadFanInx];
    U8_t count = 0;
    if (const ESA_CODE_e result = esaReadI2CData(i2cAddr, reg, &count, 1); result != ESA_E_OK) {
        return result;
    }
    TRACE_INFO("Fan with I2C address [0x%x], fanSpeedReading Reg [0x%x], read speed value = [%d].", i2cAddr, reg,
               count);
    if (count == COUNTER_OVERFLOW) {
        *fanRpmSpeedPtr = 0;
        TRACE_INFO("Fan with I2C address [0x%x], fanSpeedReading Reg [0x%x] has Speed value = [0].", i2cAddr, reg);
        return ESA_E_OK;
    }
    *fanRpmSpeedPtr = toRpm(count);
    TRACE_INFO("Fan with I2C address [0x%x], fanSpeedReading Reg [0x%x] has RPM [%d].", i2cAddr, reg, *fanRpmSpeedPtr);
    return ESA_E_OK;
}

void winbondFanLoadPwm(U8_t i2cAddr, U8_t backplaneInx, U8_t winbondPwmFanInx, U8_t winbondPwmPercentage) {
    TRACE_INFO("Load PWM Winbond[%d] Percent to Fan [%d]", winbondPwmPercentage, winbondPwmFanInx);
    if (winbondPwmFanInx >= std::size(PWM_OUTPUTS) || backplaneInx >= ESA_K_MAX_BACKPLANES) {
        TRACE_INFO("Unsupported Winbond Fan Index = [%d].", winbondPwmFanInx);
        return;
    }
    const PwmOutput_t& output = PWM_OUTPUTS[winbondPwmFanInx];
    WinbondControl_t& chip = esaControl.winbond[backplaneInx];
    chip.*output.stored = winbondPwmPercentage;
    (void)esaWriteI2CData(i2cAddr, output.reg, &(chip.*output.sent), 1);
}

S16_t esaW83782dReadTemperature(U8_t i2cAddr, U8_t temperatureSensorInx) {
    S16_t degC = ESA_K_TEMPERATURE_NO_READING;
    if (temperatureSensorInx == ESA_E_WINBOND_TEMPERATURE_SENSOR_LHS) {
        U8_t reading = 0;
        if (esaReadI2CData(i2cAddr, ESA_K_W83782D_TEMPERATURE_READING_REG, &reading, 1) != ESA_E_OK) {
            return ESA_K_TEMPERATURE_NO_READING;
        }
        degC = static_cast<S8_t>(reading);
    }
    // Log readers know the line with the backplane's own address, whichever chip was read.
    TRACE_INFO("Temperature Sensor [%d] for I2C address [0x%x] = [%d] degrees Celsius.", temperatureSensorInx,
               esaControl.i2cAddressW83782d, degC);
    return degC;
}

void esaW83782dSetAlarmState(U8_t i2cAddr, U8_t backplaneInx, EsaAlarmState_e alarmState) {
    if (alarmState >= std::size(SET_ALARM_TEXTS) || backplaneInx >= ESA_K_MAX_BACKPLANES) {
        TRACE_INFO("Set Backplane Alarm State to un-supported value [%d].", alarmState);
        return;
    }
    U8_t& configuration = esaControl.winbond[backplaneInx].configurationRegister;
    if (alarmState == ESA_E_ALARM_STATE_FAULT_S1) {
        (void)writeShadow(i2cAddr, W83782D_K_CONFIGURATION_REG, configuration,
                          static_cast<U8_t>(configuration & ~ALARM_OFF_BIT));
    } else if (alarmState == ESA_E_ALARM_STATE_MUTE_S3) {
        (void)writeShadow(i2cAddr, W83782D_K_CONFIGURATION_REG, configuration, configuration | ALARM_OFF_BIT);
    }
    TRACE_INFO("%s", SET_ALARM_TEXTS[alarmState]);
}

bool winbondProbe(U8_t i2cAddr, U8_t backplaneInx) {
    U8_t& serialBusAddress = esaControl.winbond[backplaneInx].serialBusAddressRegister;
    if (read_i2c_data(esaControl.i2cFileFd, i2cAddr, W83782D_K_SERIAL_BUS_ADDRESS_REG, &serialBusAddress, 1) == -1) {
        TRACE_INFO(
            "Read I2C address [0x%x] fails. I2C cable is not connected or wrong enclosure type on Backplane[%d].",
            i2cAddr, backplaneInx);
        esaReportI2cBusFault();
        return false;
    }
    TRACE_INFO("Read I2C succeeds. I2C cable is connected");
    esaControl.i2cConnected = 1;
    return true;
}

ESA_CODE_e winbondInitVoltageLimits(U8_t i2cAddr, U8_t backplaneInx) {
    for (const VoltageLimit_t& limit : VOLTAGE_LIMITS) {
        U8_t& field = esaControl.winbond[backplaneInx].*limit.field;
        if (writeShadow(i2cAddr, limit.reg, field, limit.value) != ESA_E_OK) {
            return ESA_E_GENERR;
        }
        TRACE_INFO(limit.text, field);
    }
    return ESA_E_OK;
}

ESA_CODE_e winbondInitTemperatureAndBeep(U8_t i2cAddr, U8_t backplaneInx, const CHAR_t* beepReadFailedText) {
    WinbondControl_t& chip = esaControl.winbond[backplaneInx];
    if (writeShadow(i2cAddr, ESA_K_W83782D_TEMPERATURE_SENSOR1_HIGH_LIMIT_REG, chip.temperatureSensor1HighLimitRegister,
                    TEMPERATURE_LIMIT_DEG_C) != ESA_E_OK) {
        TRACE_INFO("Setting temperatureSensor1HighLimitRegister on Backplane [%d] failed", backplaneInx);
        return ESA_E_GENERR;
    }
    if (writeShadow(i2cAddr, ESA_K_W83782D_TEMPERATURE_SENSOR1_HYSTERESIS_REG,
                    chip.temperatureSensor1HysteresisRegister, TEMPERATURE_HYSTERESIS_DEG_C) != ESA_E_OK) {
        TRACE_INFO("Setting temperatureSensor1HysteresisRegister on Backplane [%d] failed", backplaneInx);
        return ESA_E_GENERR;
    }
    U8_t& beep = chip.fanInOutBeepGpoRegister;
    if (esaReadI2CData(i2cAddr, FAN_IN_OUT_BEEP_GPO_REG, &beep, 1) != ESA_E_OK) {
        TRACE_INFO(beepReadFailedText, backplaneInx);
        return ESA_E_GENERR;
    }
    if (writeShadow(i2cAddr, FAN_IN_OUT_BEEP_GPO_REG, beep, beep | BEEP_BIT) != ESA_E_OK) {
        TRACE_INFO("Setting fanInOutBeepGpoRegister on Backplane [%d] failed", backplaneInx);
        return ESA_E_GENERR;
    }
    return ESA_E_OK;
}
