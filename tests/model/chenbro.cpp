/**
 * The Chenbro 3U16 (chassis 4): four backplanes with a W83782D each.
 */
#include <iterator>

#include "winbond.h"

namespace model {
namespace {

/** Chips by backplane; the fans' own addresses are others. */
constexpr std::array<std::uint8_t, 4> CHIPS = {0x28, 0x2A, 0x2C, 0x30};

/** Where a fan is: its chip, the shadow of that chip, and the chip's fan and PWM index. */
struct Fan_t {
    std::uint8_t address;
    std::uint8_t backplane;
    std::uint8_t index;
};

constexpr std::array<Fan_t, 6> FANS = {
    {{0x28, 0, 0}, {0x28, 0, 1}, {0x29, 1, 0}, {0x2A, 2, 0}, {0x2B, 3, 0}, {0x2B, 3, 1}}};

/** Registers 0x20 to 0x3D. */
const char* const REGISTERS[] = {
    "ESA_K_W83782D_VCOREA_READING_REG",
    "ESA_K_W83782D_VINR0_READING_REG",
    "ESA_K_W83782D_POSITIVE_3_3VIN_READING_REG",
    "ESA_K_W83782D_POSITIVE_5VIN_READING_REG",
    "ESA_K_W83782D_POSITIVE_12VIN_READING_REG",
    "ESA_K_W83782D_NEGATIVE_12VIN_READING_REG",
    "ESA_K_W83782D_NEGATIVE_5VIN_READING_REG",
    "ESA_K_W83782D_TEMPERATURE_READING_REG",
    "ESA_K_W83782D_FAN1_READING_REG",
    "ESA_K_W83782D_FAN2_READING_REG",
    "ESA_K_W83782D_FAN3_READING_REG",
    "ESA_K_W83782D_VCOREA_HIGH_LIMIT_REG",
    "ESA_K_W83782D_VCOREA_LOW_LIMIT_REG",
    "ESA_K_W83782D_VINR0_HIGH_LIMIT_REG",
    "ESA_K_W83782D_VINR0_LOW_LIMIT_REG",
    "ESA_K_W83782D_POSITIVE_3_3VIN_HIGH_LIMIT_REG",
    "ESA_K_W83782D_POSITIVE_3_3VIN_LOW_LIMIT_REG",
    "ESA_K_W83782D_POSITIVE_5VIN_HIGH_LIMIT_REG",
    "ESA_K_W83782D_POSITIVE_5VIN_LOW_LIMIT_REG",
    "ESA_K_W83782D_POSITIVE_12VIN_HIGH_LIMIT_REG",
    "ESA_K_W83782D_POSITIVE_12VIN_LOW_LIMIT_REG",
    "ESA_K_W83782D_NEGATIVE_12VIN_HIGH_LIMIT_REG",
    "ESA_K_W83782D_NEGATIVE_12VIN_LOW_LIMIT_REG",
    "ESA_K_W83782D_NEGATIVE_5VIN_HIGH_LIMIT_REG",
    "ESA_K_W83782D_NEGATIVE_5VIN_LOW_LIMIT_REG",
    "ESA_K_W83782D_TEMPERATURE_SENSOR1_HIGH_LIMIT_REG",
    "ESA_K_W83782D_TEMPERATURE_SENSOR1_HYSTERESIS_REG",
    "ESA_K_W83782D_FAN1_FAN_COUNT_LIMIT_REG",
    "ESA_K_W83782D_FAN2_FAN_COUNT_LIMIT_REG",
    "ESA_K_W83782D_FAN3_FAN_COUNT_LIMIT_REG",
};
static_assert(std::size(REGISTERS) == 0x3D - 0x20 + 1);

} // namespace

int Adapter_t::chenbroReadPowerVoltageToleranceStatus() {
    for (const std::uint8_t chip : CHIPS) {
        if (esaW83782dReadPowerVoltageToleranceStatus(chip) != OK) {
            return FAILED;
        }
    }
    return OK;
}

int Adapter_t::chenbroW83782dFanReadSpeed(std::uint8_t fan, std::uint16_t& rpm) {
    trace("chenbroW83782dFanReadSpeed", "Read speed with Fan, chenbroFanInx = [%d].", fan);
    if (fan >= FANS.size()) {
        trace("chenbroW83782dFanReadSpeed", "Unsupported Fan Index = [%d].", fan);
        return FAILED;
    }
    return esaW83782dFanReadSpeed(FANS[fan].address, FANS[fan].index, rpm) == OK ? OK : FAILED;
}

void Adapter_t::chenbroW83782dFanLoadPwm(std::uint8_t fan, std::uint8_t percent) {
    static const std::map<int, std::uint8_t> DUTIES = {{0, 0}, {25, 64}, {50, 128}, {75, 192}, {100, 255}};

    trace("chenbroW83782dFanLoadPwm", "Load PWM Esa[%d] Percent to Fan [%d]", percent, fan);
    const auto duty = DUTIES.find(percent);
    if (duty == DUTIES.end()) {
        trace("chenbroW83782dFanLoadPwm", "Unsupported ESA PWM Percentage = [%d].", percent);
        return;
    }
    if (fan >= FANS.size()) {
        trace("chenbroW83782dFanLoadPwm", "Unsupported Fan Index = [%d].", fan);
        return;
    }
    winbondFanLoadPwm(FANS[fan].address, FANS[fan].backplane, FANS[fan].index, duty->second);
}

void Adapter_t::chenbroSetAlarmState(std::uint32_t alarm) {
    for (std::uint8_t backplane = 0; backplane < 4; ++backplane) {
        esaW83782dSetAlarmState(CHIPS[backplane], backplane, alarm);
    }
}

void Adapter_t::chenbroEsaProcessPollTimeout() {
    const char* const function = "chenbroEsaProcessPollTimeout";

    judgeWinbondVoltages(function, chenbroReadPowerVoltageToleranceStatus());
    esaManageCompositeFault(0x04, esaReadFanFailStatus() != 0 ? FAILED : OK);
    for (std::size_t backplane = 0; backplane < 4; ++backplane) {
        state.temperatureSensor[backplane] = esaW83782dReadTemperature(CHIPS[backplane], 0);
        trace(function, "temperatureSensor[%d] = [%d] degrees Celsius.", static_cast<int>(backplane),
              state.temperatureSensor[backplane]);
    }
    esaTemperatureFanPolicy();
    esaTemperatureEventLog();
    esaTemperatureOverheatCheck();
}

void Adapter_t::chenbroReadWinbondRegisters() {
    const char* const function = "chenbroReadWinbondRegisters";

    for (std::size_t backplane = 0; backplane < 4; ++backplane) {
        const int number = static_cast<int>(backplane);
        std::uint8_t reg = 0x20;
        for (const char* const name : REGISTERS) {
            std::uint8_t value = 0;
            if (esaReadI2CData(CHIPS[backplane], reg, {&value, 1}) != OK) {
                return;
            }
            trace(function, "Chenbro Backplane [%d], %s = [%d]", number, name, value);
            ++reg;
        }
        std::uint8_t& configuration = state.winbond[backplane][CONFIGURATION];
        if (esaReadI2CData(CHIPS[backplane], 0x40, {&configuration, 1}) != OK) {
            return;
        }
        trace(function, "Chenbro Backplane [%d], configurationRegister = [%d]", number, configuration);
    }
}

int Adapter_t::chenbroInit() {
    const char* const function = "chenbroInit";

    for (std::uint8_t backplane = 0; backplane < 4; ++backplane) {
        const I2cResult_t probe = world.readI2c(state.i2cFileFd, CHIPS[backplane], 0x48, 1);
        if (!probe.data.empty()) {
            state.winbond[backplane][SERIAL_BUS_ADDRESS] = probe.data[0];
        }
        if (probe.result == -1) {
            trace(function,
                  "Read I2C address [0x%x] fails. I2C cable is not connected or wrong enclosure type on Backplane[%d].",
                  CHIPS[backplane], backplane);
            return reportBusFault();
        }
        trace(function, "Read I2C succeeds. I2C cable is connected");
        state.i2cConnected = 1;
    }

    state.elementTypeMaxNumber = 5;
    state.deviceMaxNumber = 16;
    state.powerSupplyMaxNumber = 3;
    state.coolingMaxNumber = 6;
    state.temperatureSensorMaxNumber = 4;
    state.audibleAlarmMaxNumber = 1;
    state.fanFaultRpmLimit = 2000;

    chenbroReadWinbondRegisters();

    for (std::uint8_t backplane = 0; backplane < 4; ++backplane) {
        if (setWinbondVoltageLimits(function, CHIPS[backplane], backplane) != OK) {
            return FAILED;
        }
    }
    for (std::uint8_t fan = 0; fan < state.coolingMaxNumber; ++fan) {
        chenbroW83782dFanLoadPwm(fan, 50);
        state.fanPwmLoad[fan] = 50;
        state.coolingElementOnOff[fan] = 2;
    }
    state.powerSupplyStatus |= 0x1U;

    for (std::uint8_t backplane = 0; backplane < 4; ++backplane) {
        const std::uint8_t address = CHIPS[backplane];
        std::array<std::uint8_t, 23>& shadow = state.winbond[backplane];
        if (store(*this, address, shadow[TEMPERATURE_HIGH], 60, 0x39) != OK) {
            trace(function, "Setting temperatureSensor1HighLimitRegister on Backplane [%d] failed", backplane);
            return FAILED;
        }
        if (store(*this, address, shadow[TEMPERATURE_HYSTERESIS], 127, 0x3A) != OK) {
            trace(function, "Setting temperatureSensor1HysteresisRegister on Backplane [%d] failed", backplane);
            return FAILED;
        }
        std::uint8_t& beep = shadow[BEEP_GPO];
        if (esaReadI2CData(address, 0x4D, {&beep, 1}) != OK) {
            trace(function, "Reading fanInOutBeepGpoRegister on Backplane [%d] failed", backplane);
            return FAILED;
        }
        if (store(*this, address, beep, static_cast<std::uint8_t>(beep | 0x80), 0x4D) != OK) {
            trace(function, "Setting fanInOutBeepGpoRegister on Backplane [%d] failed", backplane);
            return FAILED;
        }
    }
    chenbroSetAlarmState(3);
    state.alarmState = 3;
    trace(function, "Finish the Chenbro initialization.");
    return OK;
}

} // namespace model
