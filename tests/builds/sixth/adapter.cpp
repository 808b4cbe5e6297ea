/** Invented enclosure: six drives, a fan and a supply at a VSC055, and a temperature sensor. */
#include "chips/lm75.h"
#include "chips/vsc055.h"
#include "core/operation.h"
#include "policy/chassis.h"
#include "policy/composite_fault.h"
#include "policy/poll.h"

namespace {

constexpr U8_t CHIP = 0x42;
constexpr U8_t SENSOR = 0x4F;
constexpr U8_t FAN_CONFIGURATION = 0x81;
constexpr U8_t START_LOAD_PERCENT = 75;

constexpr U8_t SUPPLY_PORT = 2;
constexpr U8_t SUPPLY_GOOD = 0x01; // input
constexpr U8_t LED_PORT = 3;       // 0 lights an LED
constexpr U8_t ALARM_PORT = 4;
constexpr U8_t ALARM_SOUNDING = 0x01;
constexpr U8_t DATA_DIRECTIONS[ESA_K_VSC055_PORTS] = {0x00, 0x00, 0xFF, 0x00, 0x00, 0x00, 0x00, 0x00};

ESA_CODE_e readSupply() {
    return vsc055CheckInput(CHIP, SUPPLY_PORT, SUPPLY_GOOD, nullptr, nullptr);
}

ESA_CODE_e fanReadSpeed(U8_t fan, U16_t* rpm) {
    return vsc055FanReadSpeed(CHIP, esaChassis().tachometerDivisor, fan, rpm);
}

void loadPwm(U8_t fan, U8_t percent) {
    vsc055FanLoadPwm(CHIP, fan, percent);
}

void setAlarm(EsaAlarmState_e state) {
    vsc055DrivePort(CHIP, ALARM_PORT, ALARM_SOUNDING, state == ESA_E_ALARM_STATE_FAULT_S1);
}

S32_t setDriveFaultLed(S32_t drive) {
    vsc055DrivePort(CHIP, LED_PORT, static_cast<U8_t>(1U << drive), false);
    return ESA_E_OK;
}

S32_t clearDriveFaultLed(S32_t drive) {
    vsc055DrivePort(CHIP, LED_PORT, static_cast<U8_t>(1U << drive), true);
    return ESA_E_OK;
}

ESA_CODE_e init() {
    ESA_OPERATION();
    if (!vsc055Probe(CHIP)) {
        return esaReportI2cBusFault();
    }
    esaSetDimensions(esaChassis().dimensions);
    esaControl.fanFaultRpmLimit = SES_K_FAN_FAULT_RPM_LIMIT;
    vsc055ChangeShadow(LED_PORT, 0xFF, true);
    if (const ESA_CODE_e result = vsc055SetupDataDirections(CHIP, DATA_DIRECTIONS); result != ESA_E_OK) {
        return result;
    }
    vsc055WritePort(CHIP, LED_PORT);
    setAlarm(ESA_E_ALARM_STATE_MUTE_S3);
    esaControl.alarmState = ESA_E_ALARM_STATE_MUTE_S3;
    vsc055ConfigureFanSpeed(CHIP, 0, FAN_CONFIGURATION, "Fan [%d] is configured with [0x%x]");
    esaStartFans(loadPwm, START_LOAD_PERCENT);
    esaControl.powerSupplyStatus |= ESA_K_POWER_VOLTAGE_OK;
    return ESA_E_OK;
}

void processPollTimeout() {
    ESA_OPERATION();
    esaPollEnclosure();
}

constexpr SupplyCheck_t SUPPLY_CHECKS[] = {esaVoltageCheck(readSupply)};

} // namespace

extern constexpr Chassis_t lanternChassis = {
    .type = VORAN_E_CHASSIS_INVENTED_LANTERN,
    .typeName = "VORAN_E_CHASSIS_INVENTED_LANTERN",
    .initDoneText = "Finish initializing for the lantern.",
    .initFailedText = "Initializing for the lantern fails.",
    .vsc055Address = CHIP,
    .lm75Address = {SENSOR},
    .dimensions = esaDimensionsOf(VORAN_E_CHASSIS_INVENTED_LANTERN),
    .init = init,
    .processPollTimeout = processPollTimeout,
    .supplyChecks = SUPPLY_CHECKS,
    .isManaged = true,
    .tachometerDivisor = 2,
    .fanSpeedConfiguration = FAN_CONFIGURATION,
    .fanReadSpeed = fanReadSpeed,
    .policyLoadPwm = loadPwm,
    .controlLoadPwm = loadPwm,
    .readTemperature = [](U8_t) { return lm75ReadTemperature(SENSOR); },
    .faultMovesAlarm = true,
    .setAlarm = setAlarm,
    .setDriveFaultLed = setDriveFaultLed,
    .clearDriveFaultLed = clearDriveFaultLed,
};
