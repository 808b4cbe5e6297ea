/** Backplane built on one W83782D hardware monitor: chassis type 6. */
#include "enclosures/w83782d.h"

#include <iterator>

#include "chips/w83782d.h"
#include "core/i2c.h"
#include "core/operation.h"
#include "policy/composite_fault.h"
#include "policy/poll.h"

namespace {

constexpr U8_t BACKPLANE = 0;
constexpr U8_t START_LOAD_PERCENT = 100;

/** The outputs are wired across: the second goes to the third's register, the third to the fourth's. */
struct PwmOutput_t {
    U8_t WinbondControl_t::*field;
    U8_t reg;
};
constexpr PwmOutput_t PWM_OUTPUTS[] = {
    {&WinbondControl_t::pwmOut1ControlRegister, ESA_K_W83782D_PWM_OUT1_CONTROL_REG},
    {&WinbondControl_t::pwmOut2ControlRegister, ESA_K_W83782D_PWM_OUT3_CONTROL_REG},
    {&WinbondControl_t::pwmOut3ControlRegister, ESA_K_W83782D_PWM_OUT4_CONTROL_REG},
};

/** The temperature policy never stops a fan. */
void policyLoadPwm(U8_t fan, U8_t percent) {
    if (const U8_t* duty = winbondDuty(percent); duty != nullptr && percent != 0) {
        esaW83782dFanLoadPwm(fan, *duty);
    }
}

void setAlarm(EsaAlarmState_e state) {
    esaW83782dSetAlarmState(esaControl.i2cAddressW83782d, BACKPLANE, state);
}

constexpr SupplyCheck_t SUPPLY_CHECKS[] = {
    esaVoltageCheck([] { return esaW83782dReadPowerVoltageToleranceStatus(esaControl.i2cAddressW83782d); })};

} // namespace

void esaW83782dFanLoadPwm(U8_t w83782dPwmFanInx, U8_t winbondPwmPercentage) {
    ESA_OPERATION();
    ESA_TRACE("Load PWM Winbond[%d] Percent to Fan [%d]", winbondPwmPercentage, w83782dPwmFanInx);
    if (w83782dPwmFanInx >= std::size(PWM_OUTPUTS)) {
        ESA_TRACE("Unsupported Winbond Fan Index = [%d].", w83782dPwmFanInx);
        return;
    }
    const PwmOutput_t& output = PWM_OUTPUTS[w83782dPwmFanInx];
    U8_t& field = esaControl.winbond[BACKPLANE].*output.field;
    field = winbondPwmPercentage;
    esaWriteI2CData(esaControl.i2cAddressW83782d, output.reg, &field, 1);
}

ESA_CODE_e esaW83782dInit() {
    ESA_OPERATION();
    const U8_t address = esaControl.i2cAddressW83782d;
    if (!winbondProbe(address, BACKPLANE)) {
        return esaReportI2cBusFault();
    }
    if (&esaChassis() == &w83782dChassis) {
        esaSetDimensions(w83782dChassis.dimensions);
    }
    esaControl.fanFaultRpmLimit = SES_K_FAN_FAULT_RPM_LIMIT;
    if (winbondInitVoltageLimits(address, BACKPLANE) != ESA_E_OK) {
        return ESA_E_GENERR;
    }
    esaStartFans(policyLoadPwm, START_LOAD_PERCENT);
    esaControl.powerSupplyStatus |= ESA_K_POWER_VOLTAGE_OK;
    if (winbondInitTemperatureAndBeep(address, BACKPLANE, "Setting fanInOutBeepGpoRegister on Backplane [%d] failed") !=
        ESA_E_OK) {
        return ESA_E_GENERR;
    }
    setAlarm(ESA_E_ALARM_STATE_MUTE_S3);
    esaControl.alarmState = ESA_E_ALARM_STATE_MUTE_S3;
    ESA_TRACE("Finish the initialization for the W83782D guideline based enclosure.");
    return ESA_E_OK;
}

void esaW83782dProcessPollTimeout() {
    ESA_OPERATION();
    esaPollEnclosure();
}

constexpr Chassis_t w83782dChassis = {
    .type = VORAN_E_CHASSIS_VORAN_W83782D,
    .typeName = "VORAN_E_CHASSIS_VORAN_W83782D",
    .initDoneText = "Finish initializing for the W83782d based Enclosure.",
    .initFailedText = "Initializing for the W83782d based Enclosure fails.",
    .w83782dAddress = 0x28,
    .dimensions = esaDimensionsOf(VORAN_E_CHASSIS_VORAN_W83782D),
    .init = esaW83782dInit,
    .processPollTimeout = esaW83782dProcessPollTimeout,
    .supplyChecks = SUPPLY_CHECKS,
    .isManaged = true,
    .fanReadSpeed = [](U8_t fan, U16_t* rpm) { return esaW83782dFanReadSpeed(esaControl.i2cAddressW83782d, fan, rpm); },
    .policyLoadPwm = policyLoadPwm,
    // A control page's 100 goes to the chip as it stands: on this chassis that is less than half the full duty.
    .controlLoadPwm = esaW83782dFanLoadPwm,
    .readTemperature = [](U8_t sensor) { return esaW83782dReadTemperature(esaControl.i2cAddressW83782d, sensor); },
    .faultMovesAlarm = true,
    .setAlarm = setAlarm,
};
