/** Chenbro 3U16 enclosure: four backplanes with a W83782D each, six fans. Chassis type 4. */
#include "enclosures/chenbro.h"

#include "core/i2c.h"
#include "enclosures/w83782d.h"
#include "trace.h"

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

struct Duty_t {
    U8_t percent;
    U8_t duty;
};
constexpr Duty_t DUTIES[] = {{0, 0}, {25, 64}, {50, 128}, {75, 192}, {100, 255}};

/** Registers of the start-up dump, from ESA_K_W83782D_VCOREA_READING_REG on without a gap. */
constexpr const CHAR_t* DUMP_TEXTS[] = {
    "Chenbro Backplane [%d], ESA_K_W83782D_VCOREA_READING_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_VINR0_READING_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_POSITIVE_3_3VIN_READING_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_POSITIVE_5VIN_READING_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_POSITIVE_12VIN_READING_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_NEGATIVE_12VIN_READING_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_NEGATIVE_5VIN_READING_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_TEMPERATURE_READING_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_FAN1_READING_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_FAN2_READING_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_FAN3_READING_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_VCOREA_HIGH_LIMIT_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_VCOREA_LOW_LIMIT_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_VINR0_HIGH_LIMIT_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_VINR0_LOW_LIMIT_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_POSITIVE_3_3VIN_HIGH_LIMIT_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_POSITIVE_3_3VIN_LOW_LIMIT_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_POSITIVE_5VIN_HIGH_LIMIT_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_POSITIVE_5VIN_LOW_LIMIT_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_POSITIVE_12VIN_HIGH_LIMIT_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_POSITIVE_12VIN_LOW_LIMIT_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_NEGATIVE_12VIN_HIGH_LIMIT_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_NEGATIVE_12VIN_LOW_LIMIT_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_NEGATIVE_5VIN_HIGH_LIMIT_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_NEGATIVE_5VIN_LOW_LIMIT_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_TEMPERATURE_SENSOR1_HIGH_LIMIT_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_TEMPERATURE_SENSOR1_HYSTERESIS_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_FAN1_FAN_COUNT_LIMIT_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_FAN2_FAN_COUNT_LIMIT_REG = [%d]",
    "Chenbro Backplane [%d], ESA_K_W83782D_FAN3_FAN_COUNT_LIMIT_REG = [%d]",
};
static_assert(ESA_K_W83782D_VCOREA_READING_REG + std::size(DUMP_TEXTS) == ESA_K_W83782D_FAN3_FAN_COUNT_LIMIT_REG + 1);

const Fan_t* findFan(S32_t fan) {
    if (fan < 0 || fan >= static_cast<S32_t>(std::size(FANS))) {
        TRACE_INFO("Unsupported Fan Index = [%d].", fan);
        return nullptr;
    }
    return &FANS[fan];
}

const Duty_t* findDuty(U8_t percent) {
    for (const Duty_t& entry : DUTIES) {
        if (entry.percent == percent) {
            return &entry;
        }
    }
    TRACE_INFO("Unsupported ESA PWM Percentage = [%d].", percent);
    return nullptr;
}

/** Dumps one chip; false at the first failed read. */
bool dumpBackplane(U8_t backplane) {
    const U8_t address = BACKPLANE_ADDRESSES[backplane];
    for (std::size_t i = 0; i < std::size(DUMP_TEXTS); ++i) {
        U8_t value = 0;
        const auto reg = static_cast<U8_t>(ESA_K_W83782D_VCOREA_READING_REG + i);
        if (esaReadI2CData(address, reg, &value, 1) != ESA_E_OK) {
            return false;
        }
        TRACE_INFO(DUMP_TEXTS[i], backplane, value);
    }
    U8_t& configuration = esaControl.winbond[backplane].configurationRegister;
    if (esaReadI2CData(address, W83782D_K_CONFIGURATION_REG, &configuration, 1) != ESA_E_OK) {
        return false;
    }
    TRACE_INFO("Chenbro Backplane [%d], configurationRegister = [%d]", backplane, configuration);
    return true;
}

void readTemperature(U8_t backplane) {
    esaControl.temperatureSensor[backplane] =
        esaW83782dReadTemperature(BACKPLANE_ADDRESSES[backplane], ESA_E_WINBOND_TEMPERATURE_SENSOR_LHS);
}

void refreshTemperatures() {
    for (U8_t backplane = 0; backplane < BACKPLANES; ++backplane) {
        readTemperature(backplane);
    }
}

bool fillPowerSupply(PowerSupplyElementStat_t& status, const PowerSupplyElementCont_t& control) {
    return winbondFillPowerSupply(status, control, chenbroReadPowerVoltageToleranceStatus());
}

void controlFan(U8_t fan, bool on) {
    chenbroW83782dFanLoadPwm(fan, on ? 100 : 0);
    esaRecordFanOnOff(fan, on);
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

void initFans() {
    for (U8_t fan = 0; fan < esaControl.coolingMaxNumber; ++fan) {
        chenbroW83782dFanLoadPwm(fan, START_LOAD_PERCENT);
        esaControl.fanPwmLoad[fan] = START_LOAD_PERCENT;
        esaControl.coolingElementOnOff[fan] = ESA_E_FAN_ON;
    }
}

} // namespace

ESA_CODE_e chenbroReadPowerVoltageToleranceStatus() {
    const ESA_CODE_e result =
        onAllBackplanes([](U8_t address, U8_t) { return esaW83782dReadPowerVoltageToleranceStatus(address); });
    return result == ESA_E_OK ? ESA_E_OK : ESA_E_GENERR;
}

ESA_CODE_e chenbroW83782dFanReadSpeed(S32_t chenbroFanInx, U16_t* fanRpmSpeedPtr) {
    TRACE_INFO("Read speed with Fan, chenbroFanInx = [%d].", chenbroFanInx);
    const Fan_t* fan = findFan(chenbroFanInx);
    if (fan == nullptr || esaW83782dFanReadSpeed(fan->address, fan->readIndex, fanRpmSpeedPtr) != ESA_E_OK) {
        return ESA_E_GENERR;
    }
    return ESA_E_OK;
}

void chenbroW83782dFanLoadPwm(U8_t chenbroFanInx, U8_t esaPwmPercentage) {
    TRACE_INFO("Load PWM Esa[%d] Percent to Fan [%d]", esaPwmPercentage, chenbroFanInx);
    const Duty_t* duty = findDuty(esaPwmPercentage);
    if (duty == nullptr) {
        return;
    }
    if (const Fan_t* fan = findFan(chenbroFanInx); fan != nullptr) {
        winbondFanLoadPwm(fan->address, fan->backplane, fan->pwmIndex, duty->duty);
    }
}

void chenbroSetAlarmState(EsaAlarmState_e alarmState) {
    for (U8_t backplane = 0; backplane < BACKPLANES; ++backplane) {
        esaW83782dSetAlarmState(BACKPLANE_ADDRESSES[backplane], backplane, alarmState);
    }
}

void chenbroReadWinbondRegisters() {
    for (U8_t backplane = 0; backplane < BACKPLANES; ++backplane) {
        if (!dumpBackplane(backplane)) {
            return;
        }
    }
}

ESA_CODE_e chenbroInit() {
    for (U8_t backplane = 0; backplane < BACKPLANES; ++backplane) {
        if (!winbondProbe(BACKPLANE_ADDRESSES[backplane], backplane)) {
            return ESA_E_GENERR_I2C_UNAVAILABLE;
        }
    }
    esaSetDimensions(chenbroChassis.dimensions);
    esaControl.fanFaultRpmLimit = ESA_K_FAN_FAULT_RPM_LIMIT;
    chenbroReadWinbondRegisters();
    if (onAllBackplanes(winbondInitVoltageLimits) != ESA_E_OK) {
        return ESA_E_GENERR;
    }
    initFans();
    esaControl.powerSupplyStatus |= ESA_K_POWER_VOLTAGE_OK;
    const ESA_CODE_e limits = onAllBackplanes([](U8_t address, U8_t backplane) {
        return winbondInitTemperatureAndBeep(address, backplane,
                                             "Reading fanInOutBeepGpoRegister on Backplane [%d] failed");
    });
    if (limits != ESA_E_OK) {
        return ESA_E_GENERR;
    }
    chenbroSetAlarmState(ESA_E_ALARM_STATE_MUTE_S3);
    esaControl.alarmState = ESA_E_ALARM_STATE_MUTE_S3;
    TRACE_INFO("Finish the Chenbro initialization.");
    return ESA_E_OK;
}

void chenbroEsaProcessPollTimeout() {
    winbondPollVoltages(chenbroReadPowerVoltageToleranceStatus());
    winbondPollFans();
    for (U8_t backplane = 0; backplane < BACKPLANES; ++backplane) {
        readTemperature(backplane);
        TRACE_INFO("temperatureSensor[%d] = [%d] degrees Celsius.", backplane, esaControl.temperatureSensor[backplane]);
    }
    winbondPollPolicy();
}

constexpr Chassis_t chenbroChassis = {
    .type = VORAN_E_CHASSIS_CHENBRO_3U16ATX,
    .typeName = "VORAN_E_CHASSIS_CHENBRO_3U16ATX",
    .initDoneText = "Finish initializing for the Chenbro Enclosure.",
    .initFailedText = "Initializing for the Chenbro Enclosure fails.",
    .vsc055Address = 0,
    .lm75Address = {},
    .w83782dAddress = 0,
    .dimensions = {5, 16, 3, 6, 4, 1},
    .tachometerDivisor = 0,
    .fanSpeedConfiguration = 0,
    .init = chenbroInit,
    .processPollTimeout = chenbroEsaProcessPollTimeout,
    .fanReadSpeed = [](U8_t fan, U16_t* rpm) { return chenbroW83782dFanReadSpeed(fan, rpm); },
    .policyFanCount = 0,
    .policyLoadPwm = chenbroW83782dFanLoadPwm,
    .controlFan = controlFan,
    .setFaultAlarm = chenbroSetAlarmState,
    .setAlarm = chenbroSetAlarmState,
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
