/** VSC055: enclosure controller with eight 8-bit ports, fan tachometers and PWM outputs. */
#include "chips/vsc055.h"

#include <cstring>

#include "core/i2c.h"
#include "core/operation.h"

namespace {

constexpr U8_t ESA_K_VSC055_GPD0_REG = 0x00;       // + port: data
constexpr U8_t ESA_K_VSC055_DDP0_REG = 0x10;       // + port: data direction
constexpr U8_t ESA_K_VSC055_FSC0_REG = 0x30;       // + 4 x fan: speed configuration
constexpr U8_t ESA_K_VSC055_FAN_SPEED0_REG = 0x32; // + 4 x fan: tachometer
constexpr U8_t ESA_K_VSC055_PWMC0_REG = 0x98;      // + fan: PWM control

constexpr U8_t FAN_REG_STEP = 4;
constexpr U8_t NO_PULSES = 0xFF;
constexpr U32_t TACHOMETER_CLOCK = 1200000;

/** Port that a switched-off fan is taken off with, one bit a fan. */
constexpr U8_t FAN_POWER_PORT = 1;

struct PwmCode_t {
    U8_t percent;
    U8_t code;
};
constexpr PwmCode_t PWM_CODES[] = {{0, 0x00}, {25, 0x27}, {50, 0x2F}, {75, 0x37}, {100, 0x3F}};

const PwmCode_t* findPwmCode(U8_t percent) {
    for (const PwmCode_t& entry : PWM_CODES) {
        if (entry.percent == percent) {
            return &entry;
        }
    }
    return nullptr;
}

/** Speed for a tachometer value that is neither 0 nor NO_PULSES; the field of 16 bits drops what does not fit. */
constexpr U16_t toRpm(U8_t value, U8_t divisor) {
    return static_cast<U16_t>(TACHOMETER_CLOCK / (U32_t{value} * divisor));
}
static_assert(toRpm(200, 2) == 3000);
static_assert(toRpm(254, 1) == 4724);
static_assert(toRpm(150, 4) == 2000);
static_assert(toRpm(151, 4) == 1986);

constexpr U8_t fanRegister(U8_t first, U8_t fan) {
    return static_cast<U8_t>(first + FAN_REG_STEP * fan);
}

} // namespace

bool vsc055Probe(U8_t address) {
    U8_t value = 0;
    const bool answers = esaProbeI2C(address, ESA_K_VSC055_DDP0_REG, &value);
    if (!answers) {
        ESA_TRACE("Read I2C fails. I2C cable is not connected or wrong enclosure type.");
    }
    return answers;
}

void vsc055ChangeShadow(U8_t port, U8_t bits, bool set) {
    U8_t& shadow = esaControl.vitesse.vsc055GPD[port];
    shadow = static_cast<U8_t>(set ? shadow | bits : shadow & ~bits);
}

void vsc055WritePort(U8_t address, U8_t port) {
    const auto reg = static_cast<U8_t>(ESA_K_VSC055_GPD0_REG + port);
    esaWriteI2CData(address, reg, &esaControl.vitesse.vsc055GPD[port], 1);
}

void vsc055DrivePort(U8_t address, U8_t port, U8_t bits, bool set) {
    vsc055ChangeShadow(port, bits, set);
    vsc055WritePort(address, port);
}

void vsc055SetPort(U8_t address, U8_t port, U8_t value) {
    esaControl.vitesse.vsc055GPD[port] = value;
    vsc055WritePort(address, port);
}

ESA_CODE_e vsc055ReadPort(U8_t address, U8_t port, U8_t* value) {
    return esaReadI2CData(address, static_cast<U8_t>(ESA_K_VSC055_GPD0_REG + port), value, 1);
}

ESA_CODE_e vsc055CheckInput(U8_t address, U8_t port, U8_t bits, const CHAR_t* goodText, const CHAR_t* badText) {
    U8_t inputs = 0;
    if (const ESA_CODE_e result = vsc055ReadPort(address, port, &inputs); result != ESA_E_OK) {
        return result;
    }
    const bool good = (inputs & bits) == bits;
    ESA_TRACE_TEXT(good ? goodText : badText);
    return good ? ESA_E_OK : ESA_E_GENERR;
}

ESA_CODE_e vsc055SetupDataDirections(U8_t address, const U8_t (&directions)[ESA_K_VSC055_PORTS]) {
    ESA_TRACE("Setup the data direction for all VSC055 ports.");
    std::memcpy(esaControl.vitesse.vsc055DDP, directions, sizeof(directions));
    for (U8_t port = 0; port < ESA_K_VSC055_PORTS; ++port) {
        const auto reg = static_cast<U8_t>(ESA_K_VSC055_DDP0_REG + port);
        const U8_t& direction = esaControl.vitesse.vsc055DDP[port];
        esaWriteI2CData(address, reg, &direction, 1);
        ESA_TRACE("ESA internal database, esaControl.vitesse.vsc055DDP[%d] = [0x%x]", port, direction);
        U8_t readBack = 0;
        if (const ESA_CODE_e result = esaReadI2CData(address, reg, &readBack, 1); result != ESA_E_OK) {
            return result;
        }
        ESA_TRACE("Read VSC055_DDP[%d] Register, returned value = [0x%x]", port, readBack);
    }
    return ESA_E_OK;
}

void vsc055ConfigureFanSpeed(U8_t address, U8_t fan, U8_t value, const CHAR_t* text) {
    esaControl.vitesse.vsc055FSC[fan] = value;
    ESA_TRACE(text, fan, value);
    esaWriteI2CData(address, fanRegister(ESA_K_VSC055_FSC0_REG, fan), &esaControl.vitesse.vsc055FSC[fan], 1);
}

void vsc055FanLoadPwm(U8_t address, U8_t fan, U8_t percent) {
    ESA_OPERATION_NAMED("esaVsc055FanLoadPwm");
    ESA_TRACE("Load PWM [%d] Percent to Fan [%d]", percent, fan);
    const PwmCode_t* entry = findPwmCode(percent);
    if (entry == nullptr || fan >= ESA_K_MAX_FANS) {
        ESA_TRACE("Un-supported PWM Percentage [%d]", percent);
        return;
    }
    U8_t& shadow = esaControl.vitesse.vsc055PWMC[fan];
    shadow = entry->code;
    esaWriteI2CData(address, static_cast<U8_t>(ESA_K_VSC055_PWMC0_REG + fan), &shadow, 1);
    if (percent == 0) {
        // Switching on again leaves this bit alone: the fan then runs from its PWM output only.
        vsc055DrivePort(address, FAN_POWER_PORT, static_cast<U8_t>(1U << fan), false);
    }
}

ESA_CODE_e vsc055FanReadSpeed(U8_t address, U8_t divisor, U8_t fan, U16_t* rpm) {
    ESA_OPERATION_NAMED("esaVsc055FanReadSpeed");
    U8_t value = 0;
    const U8_t reg = fanRegister(ESA_K_VSC055_FAN_SPEED0_REG, fan);
    if (const ESA_CODE_e result = esaReadI2CData(address, reg, &value, 1); result != ESA_E_OK) {
        return result;
    }
    ESA_TRACE("Fan [%d] has Vitesse Fan Speed value = [%d].", fan, value);
    if (value == NO_PULSES) {
        ESA_TRACE("No techometer pulses present, NOT able to read speed for Fan [%d].", fan);
        ESA_TRACE("Return read error for Fan [%d].", fan);
        return ESA_E_GENERR;
    }
    if (value == 0) {
        ESA_TRACE("Fan [%d] has speed [0].", fan);
        *rpm = 0;
        return ESA_E_OK;
    }
    *rpm = toRpm(value, divisor);
    return ESA_E_OK;
}
