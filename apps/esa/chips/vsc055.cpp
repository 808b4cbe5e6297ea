/**
 * VSC055: enclosure controller with eight 8-bit ports, fan tachometers and PWM outputs. It sits on the backplanes of
 * chassis types 3 and 5 and in the Xyratex enclosure.
 */
#include "enclosures/vsc055.h"
#include "core/i2c.h"
#include "platform.h"
#include "policy/composite_fault.h"
#include "trace.h"

namespace {

constexpr U8_t GPD_REG = 0x00;              // + port
constexpr U8_t DDP_REG = VSC055_K_DDP0_REG; // + port
constexpr U8_t FSC_REG = 0x30;              // + 4 x fan
constexpr U8_t FAN_SPEED_REG = 0x32;        // + 4 x fan
constexpr U8_t FAN_REG_STEP = 4;
constexpr U8_t PWMC_REG = 0x98; // + fan

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

void vsc055WritePort(U8_t address, U8_t port) {
    (void)esaWriteI2CData(address, static_cast<U8_t>(GPD_REG + port), &esaControl.vitesse.vsc055GPD[port], 1);
}

ESA_CODE_e vsc055ReadPort(U8_t address, U8_t port, U8_t* value) {
    return esaReadI2CData(address, static_cast<U8_t>(GPD_REG + port), value, 1);
}

bool vsc055Probe(U8_t address) {
    U8_t value = 0;
    if (read_i2c_data(esaControl.i2cFileFd, address, DDP_REG, &value, 1) == -1) {
        TRACE_INFO("Read I2C fails. I2C cable is not connected or wrong enclosure type.");
        esaReportI2cBusFault();
        return false;
    }
    TRACE_INFO("Read I2C succeeds. I2C cable is connected");
    esaControl.i2cConnected = 1;
    return true;
}

ESA_CODE_e vsc055SetupDataDirections(U8_t address) {
    TRACE_INFO("Setup the data direction for all VSC055 ports.");
    for (U8_t port = 0; port < VSC055_K_PORTS; ++port) {
        const auto reg = static_cast<U8_t>(DDP_REG + port);
        const U8_t direction = esaControl.vitesse.vsc055DDP[port];
        (void)esaWriteI2CData(address, reg, &direction, 1);
        TRACE_INFO("ESA internal database, esaControl.vitesse.vsc055DDP[%d] = [0x%x]", port, direction);
        U8_t readBack = 0;
        if (const ESA_CODE_e result = esaReadI2CData(address, reg, &readBack, 1); result != ESA_E_OK) {
            return result;
        }
        TRACE_INFO("Read VSC055_DDP[%d] Register, returned value = [0x%x]", port, readBack);
    }
    return ESA_E_OK;
}

void vsc055ConfigureFanSpeed(U8_t address, U8_t fan, U8_t value, const CHAR_t* text) {
    esaControl.vitesse.vsc055FSC[fan] = value;
    TRACE_INFO(text, fan, value);
    (void)esaWriteI2CData(address, fanRegister(FSC_REG, fan), &esaControl.vitesse.vsc055FSC[fan], 1);
}

void esaVsc055FanLoadPwm(U8_t fanInx, U8_t pwmPercentage) {
    TRACE_INFO("Load PWM [%d] Percent to Fan [%d]", pwmPercentage, fanInx);
    const PwmCode_t* entry = findPwmCode(pwmPercentage);
    if (entry == nullptr || fanInx >= ESA_K_MAX_FANS) {
        TRACE_INFO("Un-supported PWM Percentage [%d]", pwmPercentage);
        return;
    }
    const U8_t address = esaControl.i2cAddressVsc055;
    esaControl.vitesse.vsc055PWMC[fanInx] = entry->code;
    (void)esaWriteI2CData(address, static_cast<U8_t>(PWMC_REG + fanInx), &esaControl.vitesse.vsc055PWMC[fanInx], 1);
    if (pwmPercentage == 0) {
        // Switching on again leaves this bit alone: the fan then runs from its PWM output only.
        esaControl.vitesse.vsc055GPD[FAN_POWER_PORT] &= static_cast<U8_t>(~(1U << fanInx));
        vsc055WritePort(address, FAN_POWER_PORT);
    }
}

ESA_CODE_e esaVsc055FanReadSpeed(U8_t fanInx, U16_t* fanRpmSpeedPtr) {
    const Chassis_t* chassis = esaChassis();
    if (chassis == nullptr || chassis->tachometerDivisor == 0) {
        return ESA_E_GENERR;
    }
    U8_t value = 0;
    const U8_t reg = fanRegister(FAN_SPEED_REG, fanInx);
    if (const ESA_CODE_e result = esaReadI2CData(esaControl.i2cAddressVsc055, reg, &value, 1); result != ESA_E_OK) {
        return result;
    }
    TRACE_INFO("Fan [%d] has Vitesse Fan Speed value = [%d].", fanInx, value);
    if (value == NO_PULSES) {
        TRACE_INFO("No techometer pulses present, NOT able to read speed for Fan [%d].", fanInx);
        TRACE_INFO("Return read error for Fan [%d].", fanInx);
        return ESA_E_GENERR;
    }
    if (value == 0) {
        TRACE_INFO("Fan [%d] has speed [0].", fanInx);
        *fanRpmSpeedPtr = 0;
        return ESA_E_OK;
    }
    *fanRpmSpeedPtr = toRpm(value, chassis->tachometerDivisor);
    return ESA_E_OK;
}
