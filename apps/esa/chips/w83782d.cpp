/** W83782D: hardware monitor with seven voltage inputs, three fan counters, four PWM outputs, a temperature sensor. */
#include "chips/w83782d.h"

#include <iterator>

#include "core/alarm_names.h"
#include "core/i2c.h"
#include "core/operation.h"

namespace {

constexpr U8_t ALARM_OFF_BIT = 0x40; // of the configuration register
constexpr U8_t BEEP_BIT = 0x80;

constexpr U8_t VOLTAGE_LIMIT_HIGH = 255;
constexpr U8_t VOLTAGE_LIMIT_LOW = 1;
constexpr U8_t TEMPERATURE_LIMIT_DEG_C = 60;
constexpr U8_t TEMPERATURE_HYSTERESIS_DEG_C = 127;

constexpr U8_t COUNTER_OVERFLOW = 0xFF;
constexpr U32_t FAN_CLOCK = 1350000;
constexpr U32_t FAN_DIVISOR = 2;
constexpr U8_t FANS = 3;

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

/** Tolerance of a rail that is judged, in volts. */
struct Tolerance_t {
    double low;
    double high;
};
constexpr Tolerance_t TOLERANCE_5V = {4.5, 5.5};
constexpr Tolerance_t TOLERANCE_12V = {10.8, 13.2};

/** One voltage input: its reading, and its limits with the fields that mirror them. */
struct Rail_t {
    const CHAR_t* name;
    const CHAR_t* rawText; /**< takes the name and the raw reading */
    U8_t readingReg;
    double (*toVolts)(double reading);
    const Tolerance_t* tolerance; /**< nullptr: never judged */
    U8_t highLimitReg;
    U8_t WinbondControl_t::*highLimit;
    const CHAR_t* highLimitText; /**< takes the name and the limit */
    U8_t lowLimitReg;
    U8_t WinbondControl_t::*lowLimit;
};

#define RAIL(name, rawText, reg, toVolts, tolerance, field, highText)                                                  \
    {                                                                                                                  \
        name, rawText, ESA_K_W83782D_##reg##_READING_REG, toVolts, tolerance, ESA_K_W83782D_##reg##_HIGH_LIMIT_REG,    \
            &WinbondControl_t::field##HighLimitRegister, highText, ESA_K_W83782D_##reg##_LOW_LIMIT_REG,                \
            &WinbondControl_t::field##LowLimitRegister                                                                 \
    }
constexpr const CHAR_t* RAW = "%s = [%d]";
constexpr const CHAR_t* HIGH = "Set %s High Limit = [%d]";
constexpr Rail_t RAILS[] = {
    RAIL("Vcorea", "%s = [%d].", VCOREA, direct, nullptr, vcorea, HIGH),
    RAIL("Vinr0", RAW, VINR0, direct, nullptr, vinr0, HIGH),
    RAIL("+3.3Vin", RAW, POSITIVE_3_3VIN, direct, nullptr, positive3_3Vin, HIGH),
    RAIL("+5Vin", RAW, POSITIVE_5VIN, positive5, &TOLERANCE_5V, positive5Vin, "%s High Limit = [%d]"),
    RAIL("+12Vin", RAW, POSITIVE_12VIN, positive12, &TOLERANCE_12V, positive12Vin, HIGH),
    RAIL("-12Vin", RAW, NEGATIVE_12VIN, negative12, nullptr, negative12Vin, HIGH),
    RAIL("-5Vin", RAW, NEGATIVE_5VIN, negative5, nullptr, negative5Vin, HIGH),
};
#undef RAIL

bool isWithin(double volts, const Rail_t& rail) {
    const auto& [low, high] = *rail.tolerance;
    if (volts >= low && volts <= high) {
        return true;
    }
    ESA_TRACE("%s low limit = [%f]V. %s high limit = [%f].", rail.name, low, rail.name, high);
    ESA_TRACE("Return Power Voltage Tolerance Status [ERROR] because of %s measurement.", rail.name);
    return false;
}

ESA_CODE_e checkRail(U8_t i2cAddr, const Rail_t& rail) {
    U8_t reading = 0;
    if (const ESA_CODE_e result = esaReadI2CData(i2cAddr, rail.readingReg, &reading, 1); result != ESA_E_OK) {
        return result;
    }
    const double volts = rail.toVolts(reading);
    ESA_TRACE(rail.rawText, rail.name, reading);
    ESA_TRACE("Converted %s = [%f]V.", rail.name, volts);
    return rail.tolerance == nullptr || isWithin(volts, rail) ? ESA_E_OK : ESA_E_GENERR;
}

/* PWM outputs. */

struct Duty_t {
    U8_t percent;
    U8_t duty;
};
constexpr Duty_t DUTIES[] = {{0, 0}, {25, 64}, {50, 128}, {75, 192}, {100, 255}};

struct PwmOutput_t {
    U8_t WinbondControl_t::*stored; /**< shadow that takes the new duty */
    U8_t WinbondControl_t::*sent;   /**< shadow that goes to the register */
    U8_t reg;
};

/** The fourth output keeps its old duty: the new one lands in the first output's shadow and is not sent. */
constexpr PwmOutput_t PWM_OUTPUTS[] = {
    {&WinbondControl_t::pwmOut1ControlRegister, &WinbondControl_t::pwmOut1ControlRegister,
     ESA_K_W83782D_PWM_OUT1_CONTROL_REG},
    {&WinbondControl_t::pwmOut2ControlRegister, &WinbondControl_t::pwmOut2ControlRegister,
     ESA_K_W83782D_PWM_OUT2_CONTROL_REG},
    {&WinbondControl_t::pwmOut3ControlRegister, &WinbondControl_t::pwmOut3ControlRegister,
     ESA_K_W83782D_PWM_OUT3_CONTROL_REG},
    {&WinbondControl_t::pwmOut1ControlRegister, &WinbondControl_t::pwmOut4ControlRegister,
     ESA_K_W83782D_PWM_OUT4_CONTROL_REG},
};

/* Registers of the dump, by the names that its readers know. */

struct NamedRegister_t {
    U8_t reg;
    const CHAR_t* name;
};

#define NAMED(reg)                                                                                                     \
    { ESA_K_W83782D_##reg##_REG, "ESA_K_W83782D_" #reg "_REG" }
// clang-format off
constexpr NamedRegister_t DUMPED_REGISTERS[] = {
    NAMED(VCOREA_READING), NAMED(VINR0_READING), NAMED(POSITIVE_3_3VIN_READING), NAMED(POSITIVE_5VIN_READING),
    NAMED(POSITIVE_12VIN_READING), NAMED(NEGATIVE_12VIN_READING), NAMED(NEGATIVE_5VIN_READING),
    NAMED(TEMPERATURE_READING), NAMED(FAN1_READING), NAMED(FAN2_READING), NAMED(FAN3_READING),
    NAMED(VCOREA_HIGH_LIMIT), NAMED(VCOREA_LOW_LIMIT), NAMED(VINR0_HIGH_LIMIT), NAMED(VINR0_LOW_LIMIT),
    NAMED(POSITIVE_3_3VIN_HIGH_LIMIT), NAMED(POSITIVE_3_3VIN_LOW_LIMIT), NAMED(POSITIVE_5VIN_HIGH_LIMIT),
    NAMED(POSITIVE_5VIN_LOW_LIMIT), NAMED(POSITIVE_12VIN_HIGH_LIMIT), NAMED(POSITIVE_12VIN_LOW_LIMIT),
    NAMED(NEGATIVE_12VIN_HIGH_LIMIT), NAMED(NEGATIVE_12VIN_LOW_LIMIT), NAMED(NEGATIVE_5VIN_HIGH_LIMIT),
    NAMED(NEGATIVE_5VIN_LOW_LIMIT), NAMED(TEMPERATURE_SENSOR1_HIGH_LIMIT), NAMED(TEMPERATURE_SENSOR1_HYSTERESIS),
    NAMED(FAN1_FAN_COUNT_LIMIT), NAMED(FAN2_FAN_COUNT_LIMIT), NAMED(FAN3_FAN_COUNT_LIMIT),
};
// clang-format on
#undef NAMED

/** Stores a value in its shadow field and writes it. */
ESA_CODE_e writeShadow(U8_t i2cAddr, U8_t reg, U8_t& field, U8_t value) {
    field = value;
    return esaWriteI2CData(i2cAddr, reg, &field, 1);
}

} // namespace

bool winbondProbe(U8_t i2cAddr, U8_t backplaneInx) {
    U8_t& serialBusAddress = esaControl.winbond[backplaneInx].serialBusAddressRegister;
    const bool answers = esaProbeI2C(i2cAddr, ESA_K_W83782D_SERIAL_BUS_ADDRESS_REG, &serialBusAddress);
    if (!answers) {
        ESA_TRACE("Read I2C address [0x%x] fails. I2C cable is not connected or wrong enclosure type on Backplane[%d].",
                  i2cAddr, backplaneInx);
    }
    return answers;
}

ESA_CODE_e winbondInitVoltageLimits(U8_t i2cAddr, U8_t backplaneInx) {
    WinbondControl_t& chip = esaControl.winbond[backplaneInx];
    for (const Rail_t& rail : RAILS) {
        if (writeShadow(i2cAddr, rail.highLimitReg, chip.*rail.highLimit, VOLTAGE_LIMIT_HIGH) != ESA_E_OK) {
            return ESA_E_GENERR;
        }
        ESA_TRACE(rail.highLimitText, rail.name, VOLTAGE_LIMIT_HIGH);
        if (writeShadow(i2cAddr, rail.lowLimitReg, chip.*rail.lowLimit, VOLTAGE_LIMIT_LOW) != ESA_E_OK) {
            return ESA_E_GENERR;
        }
        ESA_TRACE("Set %s Low Limit = [%d]", rail.name, VOLTAGE_LIMIT_LOW);
    }
    return ESA_E_OK;
}

ESA_CODE_e winbondInitTemperatureAndBeep(U8_t i2cAddr, U8_t backplaneInx, const CHAR_t* beepReadFailedText) {
    WinbondControl_t& chip = esaControl.winbond[backplaneInx];
    if (writeShadow(i2cAddr, ESA_K_W83782D_TEMPERATURE_SENSOR1_HIGH_LIMIT_REG, chip.temperatureSensor1HighLimitRegister,
                    TEMPERATURE_LIMIT_DEG_C) != ESA_E_OK) {
        ESA_TRACE("Setting temperatureSensor1HighLimitRegister on Backplane [%d] failed", backplaneInx);
        return ESA_E_GENERR;
    }
    if (writeShadow(i2cAddr, ESA_K_W83782D_TEMPERATURE_SENSOR1_HYSTERESIS_REG,
                    chip.temperatureSensor1HysteresisRegister, TEMPERATURE_HYSTERESIS_DEG_C) != ESA_E_OK) {
        ESA_TRACE("Setting temperatureSensor1HysteresisRegister on Backplane [%d] failed", backplaneInx);
        return ESA_E_GENERR;
    }
    U8_t& beep = chip.fanInOutBeepGpoRegister;
    if (esaReadI2CData(i2cAddr, ESA_K_W83782D_FAN_IN_OUT_BEEP_GPO_REG, &beep, 1) != ESA_E_OK) {
        ESA_TRACE(beepReadFailedText, backplaneInx);
        return ESA_E_GENERR;
    }
    if (writeShadow(i2cAddr, ESA_K_W83782D_FAN_IN_OUT_BEEP_GPO_REG, beep, beep | BEEP_BIT) != ESA_E_OK) {
        ESA_TRACE("Setting fanInOutBeepGpoRegister on Backplane [%d] failed", backplaneInx);
        return ESA_E_GENERR;
    }
    return ESA_E_OK;
}

bool winbondDumpRegisters(U8_t i2cAddr, U8_t backplaneInx, const CHAR_t* chassisName) {
    for (const NamedRegister_t& dumped : DUMPED_REGISTERS) {
        U8_t value = 0;
        if (esaReadI2CData(i2cAddr, dumped.reg, &value, 1) != ESA_E_OK) {
            return false;
        }
        ESA_TRACE("%s Backplane [%d], %s = [%d]", chassisName, backplaneInx, dumped.name, value);
    }
    U8_t& configuration = esaControl.winbond[backplaneInx].configurationRegister;
    if (esaReadI2CData(i2cAddr, ESA_K_W83782D_CONFIGURATION_REG, &configuration, 1) != ESA_E_OK) {
        return false;
    }
    ESA_TRACE("%s Backplane [%d], configurationRegister = [%d]", chassisName, backplaneInx, configuration);
    return true;
}

ESA_CODE_e esaW83782dReadPowerVoltageToleranceStatus(U8_t i2cAddr) {
    ESA_OPERATION();
    ESA_TRACE("Read Voltage Tolerance, I2C address = [0x%x].", i2cAddr);
    for (const Rail_t& rail : RAILS) {
        if (const ESA_CODE_e result = checkRail(i2cAddr, rail); result != ESA_E_OK) {
            return result;
        }
    }
    return ESA_E_OK;
}

ESA_CODE_e esaW83782dFanReadSpeed(U8_t i2cAddr, U8_t w83782dReadFanInx, U16_t* fanRpmSpeedPtr) {
    ESA_OPERATION();
    ESA_TRACE("Read speed with Fan, I2C address = [0x%x], w83782dFanInx = [%d].", i2cAddr, w83782dReadFanInx);
    if (w83782dReadFanInx >= FANS) {
        ESA_TRACE("Unsupported Winbond Fan Index = [%d].", w83782dReadFanInx);
        return ESA_E_GENERR;
    }
    const auto reg = static_cast<U8_t>(ESA_K_W83782D_FAN1_READING_REG + w83782dReadFanInx);
    U8_t count = 0;
    if (const ESA_CODE_e result = esaReadI2CData(i2cAddr, reg, &count, 1); result != ESA_E_OK) {
        return result;
    }
    ESA_TRACE("Fan with I2C address [0x%x], fanSpeedReading Reg [0x%x], read speed value = [%d].", i2cAddr, reg, count);
    if (count == COUNTER_OVERFLOW) {
        *fanRpmSpeedPtr = 0;
        ESA_TRACE("Fan with I2C address [0x%x], fanSpeedReading Reg [0x%x] has Speed value = [0].", i2cAddr, reg);
        return ESA_E_OK;
    }
    *fanRpmSpeedPtr = toRpm(count);
    ESA_TRACE("Fan with I2C address [0x%x], fanSpeedReading Reg [0x%x] has RPM [%d].", i2cAddr, reg, *fanRpmSpeedPtr);
    return ESA_E_OK;
}

S16_t esaW83782dReadTemperature(U8_t i2cAddr, U8_t temperatureSensorInx) {
    ESA_OPERATION();
    S16_t degC = ESA_K_TEMPERATURE_NO_READING;
    if (temperatureSensorInx == ESA_E_WINBOND_TEMPERATURE_SENSOR_LHS) {
        U8_t reading = 0;
        if (esaReadI2CData(i2cAddr, ESA_K_W83782D_TEMPERATURE_READING_REG, &reading, 1) != ESA_E_OK) {
            return ESA_K_TEMPERATURE_NO_READING;
        }
        degC = static_cast<S8_t>(reading);
    }
    // Log readers know the line with the backplane's own address, whichever chip was read.
    ESA_TRACE("Temperature Sensor [%d] for I2C address [0x%x] = [%d] degrees Celsius.", temperatureSensorInx,
              esaControl.i2cAddressW83782d, degC);
    return degC;
}

void esaW83782dSetAlarmState(U8_t i2cAddr, U8_t backplaneInx, EsaAlarmState_e alarmState) {
    ESA_OPERATION();
    if (alarmState > ESA_E_ALARM_STATE_S7 || backplaneInx >= ESA_K_MAX_BACKPLANES) {
        ESA_TRACE("Set Backplane Alarm State to un-supported value [%d].", alarmState);
        return;
    }
    const bool sound = alarmState == ESA_E_ALARM_STATE_FAULT_S1;
    if (!sound && alarmState != ESA_E_ALARM_STATE_MUTE_S3) {
        esaTraceAlarmState("No action on setting Backplane Alarm State to", alarmState, ESA_E_ALARM_NAMES_STATE);
        return;
    }
    U8_t& configuration = esaControl.winbond[backplaneInx].configurationRegister;
    writeShadow(i2cAddr, ESA_K_W83782D_CONFIGURATION_REG, configuration,
                static_cast<U8_t>(sound ? configuration & ~ALARM_OFF_BIT : configuration | ALARM_OFF_BIT));
    esaTraceAlarmState("Set Backplane Alarm State to", alarmState, ESA_E_ALARM_NAMES_STATE);
}

const U8_t* winbondDuty(U8_t percent) {
    for (const Duty_t& entry : DUTIES) {
        if (entry.percent == percent) {
            return &entry.duty;
        }
    }
    return nullptr;
}

void winbondFanLoadPwm(U8_t i2cAddr, U8_t backplaneInx, U8_t winbondPwmFanInx, U8_t winbondPwmPercentage) {
    ESA_OPERATION();
    ESA_TRACE("Load PWM Winbond[%d] Percent to Fan [%d]", winbondPwmPercentage, winbondPwmFanInx);
    if (winbondPwmFanInx >= std::size(PWM_OUTPUTS) || backplaneInx >= ESA_K_MAX_BACKPLANES) {
        ESA_TRACE("Unsupported Winbond Fan Index = [%d].", winbondPwmFanInx);
        return;
    }
    const PwmOutput_t& output = PWM_OUTPUTS[winbondPwmFanInx];
    WinbondControl_t& chip = esaControl.winbond[backplaneInx];
    chip.*output.stored = winbondPwmPercentage;
    esaWriteI2CData(i2cAddr, output.reg, &(chip.*output.sent), 1);
}
