/**
 * The Chenbro 3U16 (chassis 4): four backplanes with a W83782D each.
 */
#include <iterator>

#include "adapter.h"

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

/** Registers 0x20 to 0x3D, without what all names start and end with. */
const char* const REGISTERS[] = {"VCOREA_READING",
                                 "VINR0_READING",
                                 "POSITIVE_3_3VIN_READING",
                                 "POSITIVE_5VIN_READING",
                                 "POSITIVE_12VIN_READING",
                                 "NEGATIVE_12VIN_READING",
                                 "NEGATIVE_5VIN_READING",
                                 "TEMPERATURE_READING",
                                 "FAN1_READING",
                                 "FAN2_READING",
                                 "FAN3_READING",
                                 "VCOREA_HIGH_LIMIT",
                                 "VCOREA_LOW_LIMIT",
                                 "VINR0_HIGH_LIMIT",
                                 "VINR0_LOW_LIMIT",
                                 "POSITIVE_3_3VIN_HIGH_LIMIT",
                                 "POSITIVE_3_3VIN_LOW_LIMIT",
                                 "POSITIVE_5VIN_HIGH_LIMIT",
                                 "POSITIVE_5VIN_LOW_LIMIT",
                                 "POSITIVE_12VIN_HIGH_LIMIT",
                                 "POSITIVE_12VIN_LOW_LIMIT",
                                 "NEGATIVE_12VIN_HIGH_LIMIT",
                                 "NEGATIVE_12VIN_LOW_LIMIT",
                                 "NEGATIVE_5VIN_HIGH_LIMIT",
                                 "NEGATIVE_5VIN_LOW_LIMIT",
                                 "TEMPERATURE_SENSOR1_HIGH_LIMIT",
                                 "TEMPERATURE_SENSOR1_HYSTERESIS",
                                 "FAN1_FAN_COUNT_LIMIT",
                                 "FAN2_FAN_COUNT_LIMIT",
                                 "FAN3_FAN_COUNT_LIMIT"};
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
    return esaW83782dFanReadSpeed(FANS[fan].address, FANS[fan].index, rpm);
}

void Adapter_t::chenbroW83782dFanLoadPwm(std::uint8_t fan, std::uint8_t percent) {
    static const std::map<int, std::uint8_t> duties = {{0, 0}, {25, 64}, {50, 128}, {75, 192}, {100, 255}};

    trace("chenbroW83782dFanLoadPwm", "Load PWM Esa[%d] Percent to Fan [%d]", percent, fan);
    if (fan >= FANS.size()) {
        trace("chenbroW83782dFanLoadPwm", "Unsupported Fan Index = [%d].", fan);
        return;
    }
    winbondFanLoadPwm(FANS[fan].address, FANS[fan].backplane, FANS[fan].index, duties.at(percent));
}

void Adapter_t::chenbroSetAlarmState(std::uint32_t alarm) {
    for (std::uint8_t backplane = 0; backplane < 4; ++backplane) {
        esaW83782dSetAlarmState(CHIPS[backplane], backplane, alarm);
    }
}

void Adapter_t::chenbroEsaProcessPollTimeout() {
    pollWinbond("chenbroEsaProcessPollTimeout", chenbroReadPowerVoltageToleranceStatus());
}

void Adapter_t::chenbroReadWinbondRegisters() {
    const char* const function = "chenbroReadWinbondRegisters";

    for (std::uint8_t backplane = 0; backplane < 4; ++backplane) {
        std::uint8_t reg = 0x20;
        for (const char* const name : REGISTERS) {
            std::uint8_t value = 0;
            if (esaReadI2CData(CHIPS[backplane], reg++, {&value, 1}) != OK) {
                return;
            }
            trace(function, "Chenbro Backplane [%d], ESA_K_W83782D_%s_REG = [%d]", backplane, name, value);
        }
        std::uint8_t& configuration = state.winbond[backplane][16];
        if (esaReadI2CData(CHIPS[backplane], 0x40, {&configuration, 1}) != OK) {
            return;
        }
        trace(function, "Chenbro Backplane [%d], configurationRegister = [%d]", backplane, configuration);
    }
}

int Adapter_t::chenbroInit() {
    const char* const function = "chenbroInit";

    for (std::uint8_t backplane = 0; backplane < 4; ++backplane) {
        if (!probeWinbond(function, CHIPS[backplane], backplane)) {
            return reportBusFault();
        }
    }
    setCounts({16, 3, 6, 4});
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
        if (setWinbondTemperatureLimits(function, CHIPS[backplane], backplane, "Reading") != OK) {
            return FAILED;
        }
    }
    setAlarm(3);
    trace(function, "Finish the Chenbro initialization.");
    return OK;
}

} // namespace model
