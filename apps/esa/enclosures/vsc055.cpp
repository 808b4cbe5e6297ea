/**
 * Backplane built on the VSC055 enclosure controller: chassis types 3 and 5, which differ in dimensions and in
 * their fans' tachometers.
 */
#include "enclosures/vsc055.h"

#include "chips/lm75.h"
#include "chips/vsc055.h"
#include "core/alarm_names.h"
#include "core/i2c.h"
#include "core/operation.h"
#include "osdep.h"
#include "policy/composite_fault.h"
#include "policy/fans.h"
#include "policy/poll.h"

namespace {

constexpr U8_t POWER_PORT = 4;
constexpr U8_t REDUNDANCY_GOOD = 0x80;    // input
constexpr U8_t SUPPLY_ALARM_CLEAR = 0x40; // pulsed low
constexpr U8_t POWER_PORT_ENABLE = 0x10;
constexpr U8_t ALARM_SOUNDING = 0x08;

constexpr U8_t LED_PORT_0_TO_7 = 6; // 0 lights an LED
constexpr U8_t LED_PORT_8_TO_15 = 7;
constexpr S32_t LEDS_PER_PORT = 8;
constexpr U32_t LAMP_TEST_SECONDS = 3;
constexpr U8_t START_LOAD_PERCENT = 50;

constexpr LoadStep_t FAN_STEPS[] = {
    {50, 45, 75, ESA_K_NEVER_DOWN, 50},
    {75, 55, 100, 44, 50},
    {100, ESA_K_NEVER_UP, 100, 54, 75},
};
constexpr FanPolicy_t FAN_POLICY = {"esaVsc055TemperatureFanPolicy", FAN_STEPS, false, false};

constexpr U8_t DATA_DIRECTIONS[ESA_K_VSC055_PORTS] = {0x00, 0x00, 0x3F, 0x00, 0xA7, 0x00, 0x00, 0x00};

void drivePowerPort(U8_t bits, bool set) {
    vsc055DrivePort(esaControl.i2cAddressVsc055, POWER_PORT, bits, set);
}

S32_t driveFaultLed(S32_t driveNumber, bool on) {
    if (driveNumber < 0 || driveNumber >= esaControl.deviceMaxNumber) {
        ESA_TRACE("Un-supported Drive Number = [%d]", driveNumber);
        return ESA_E_GENERR;
    }
    const U8_t port = driveNumber < LEDS_PER_PORT ? LED_PORT_0_TO_7 : LED_PORT_8_TO_15;
    const auto bit = static_cast<U8_t>(1U << (driveNumber % LEDS_PER_PORT));
    vsc055DrivePort(esaControl.i2cAddressVsc055, port, bit, !on);
    ESA_TRACE("vsc055GPD[%d] = [0x%x]", port, esaControl.vitesse.vsc055GPD[port]);
    return ESA_E_OK;
}

/** Port 7's pattern goes to port 6's register as well: the lamp test has always run over that one register. */
void lampTestStep(U8_t pattern) {
    constexpr U8_t LAMP_REGISTER = 0x06;
    for (const U8_t port : {LED_PORT_0_TO_7, LED_PORT_8_TO_15}) {
        esaControl.vitesse.vsc055GPD[port] = pattern;
        esaWriteI2CData(esaControl.i2cAddressVsc055, LAMP_REGISTER, &esaControl.vitesse.vsc055GPD[port], 1);
    }
}

void lampTest() {
    lampTestStep(0xFF);
    lampTestStep(0x00);
    MPU_sleep(LAMP_TEST_SECONDS);
    lampTestStep(0xFF);
}

/** The lamp test leaves LEDs 8 to 15 as an earlier life has lit them, and the start then takes them for dark. */
void putOutDriveLeds() {
    constexpr U8_t ALL_OUT = 0xFF;
    vsc055SetPort(esaControl.i2cAddressVsc055, LED_PORT_8_TO_15, ALL_OUT);
}

void initAlarm() {
    drivePowerPort(POWER_PORT_ENABLE, true);
    vsc055ChangeShadow(POWER_PORT, SUPPLY_ALARM_CLEAR, true);
    esaVsc055SetAlarmStateBackplane(ESA_E_ALARM_STATE_MUTE_S3);
    esaControl.alarmState = ESA_E_ALARM_STATE_MUTE_S3;
}

void configureTachometers(const Chassis_t& chassis) {
    for (U8_t fan = 0; chassis.tachometerDivisor != 0 && fan < esaControl.coolingMaxNumber; ++fan) {
        vsc055ConfigureFanSpeed(esaControl.i2cAddressVsc055, fan, chassis.fanSpeedConfiguration,
                                "Initialize vsc055FSC[%d] Register with value = [0x%x]");
    }
}

S32_t pollAlarm() {
    esaTraceAlarmState("Alarm State is set to", esaVsc055ReadAlarmState(), ESA_E_ALARM_NAMES_STATE);
    return ESA_E_OK;
}

constexpr SupplyTexts_t REDUNDANCY_TEXTS = {
    .stillGood = "Power Redundancy Status already [OK].",
    .stillBad = "Power Redundancy Status already [NOT OK].",
};

constexpr SupplyCheck_t SUPPLY_CHECKS[] = {{
    .statusBit = ESA_K_POWER_REDUNDANCY_OK,
    .cause = ESA_K_FAULT_POWER_SUPPLY_REDUNDANCY,
    .read = esaVsc055ReadPowerRedundancyFailStatus,
    .unusableBusIsBad = false,
    .isInstallation = true,
    .isInput = false,
    .pollTexts = REDUNDANCY_TEXTS,
    .pageTexts = REDUNDANCY_TEXTS,
}};

} // namespace

void esaVsc055FanLoadPwm(U8_t fanInx, U8_t pwmPercentage) {
    vsc055FanLoadPwm(esaControl.i2cAddressVsc055, fanInx, pwmPercentage);
}

ESA_CODE_e esaVsc055FanReadSpeed(U8_t fanInx, U16_t* fanRpmSpeedPtr) {
    const U8_t divisor = esaChassis().tachometerDivisor;
    return divisor == 0 ? ESA_E_GENERR
                        : vsc055FanReadSpeed(esaControl.i2cAddressVsc055, divisor, fanInx, fanRpmSpeedPtr);
}

S32_t esaVsc055SetDriveFaultLED(S32_t driveNumber) {
    ESA_OPERATION();
    ESA_TRACE("Set Fault LED on Drive [%d]", driveNumber);
    return driveFaultLed(driveNumber, true);
}

S32_t esaVsc055ClearDriveFaultLED(S32_t driveNumber) {
    ESA_OPERATION();
    ESA_TRACE("Clear Fault LED on Drive [%d]", driveNumber);
    return driveFaultLed(driveNumber, false);
}

ESA_CODE_e esaVsc055ReadPowerRedundancyFailStatus() {
    ESA_OPERATION();
    return vsc055CheckInput(esaControl.i2cAddressVsc055, POWER_PORT, REDUNDANCY_GOOD, "Return Power Fail Status [OK].",
                            "Return Power Fail Status [ERROR].");
}

void esaVsc055SetAlarmStateBackplane(EsaAlarmState_e alarmState) {
    ESA_OPERATION();
    esaTraceAlarmState("Set Backplane Alarm State to", alarmState, ESA_E_ALARM_NAMES_STATE);
    if (alarmState == ESA_E_ALARM_STATE_FAULT_S1 || alarmState == ESA_E_ALARM_STATE_MUTE_S3) {
        drivePowerPort(ALARM_SOUNDING, alarmState == ESA_E_ALARM_STATE_FAULT_S1);
    }
}

void esaVsc055ClearAlarmStatePowerSupply() {
    ESA_OPERATION();
    ESA_TRACE("Clear the Alarm on the Power Supply.");
    drivePowerPort(SUPPLY_ALARM_CLEAR, false);
    drivePowerPort(SUPPLY_ALARM_CLEAR, true);
}

U8_t esaVsc055ReadAlarmState() {
    ESA_OPERATION();
    esaTraceAlarmState("Read the Alarm State as", esaControl.alarmState, ESA_E_ALARM_NAMES_INVALID);
    return static_cast<U8_t>(esaControl.alarmState);
}

ESA_CODE_e esaVsc055Init() {
    ESA_OPERATION();
    if (!vsc055Probe(esaControl.i2cAddressVsc055)) {
        return esaReportI2cBusFault();
    }
    const Chassis_t& chassis = esaChassis();
    if (chassis.init == esaVsc055Init) {
        esaSetDimensions(chassis.dimensions);
    }
    esaControl.fanFaultRpmLimit = SES_K_FAN_FAULT_RPM_LIMIT;
    initAlarm();
    const ESA_CODE_e result = vsc055SetupDataDirections(esaControl.i2cAddressVsc055, DATA_DIRECTIONS);
    if (result != ESA_E_OK) {
        return result;
    }
    esaStartFans(esaVsc055FanLoadPwm, START_LOAD_PERCENT);
    lampTest();
    esaControl.powerSupplyStatus |= ESA_K_POWER_VOLTAGE_OK | ESA_K_POWER_REDUNDANCY_OK;
    configureTachometers(chassis);
    return ESA_E_OK;
}

void esaVsc055TemperatureFanPolicy() {
    esaRunFanPolicy(FAN_POLICY);
}

void esaVsc055ProcessPollTimeout() {
    ESA_OPERATION();
    esaPollEnclosure();
}

namespace {

consteval Chassis_t row(VORAN_E_CHASSIS_e type, const CHAR_t* typeName, U8_t tachometerDivisor,
                        U8_t fanSpeedConfiguration) {
    return {
        .type = type,
        .typeName = typeName,
        .initDoneText = "Finish initializing for the Vsc055 based Enclosure.",
        .initFailedText = "Initializing for the Vsc055 based Enclosure fails.",
        .vsc055Address = 0x41,
        .lm75Address = {0x4C, 0x4B, 0x4A},
        .dimensions = esaDimensionsOf(type),
        .init = esaVsc055Init,
        .processPollTimeout = esaVsc055ProcessPollTimeout,
        .supplyChecks = SUPPLY_CHECKS,
        .isManaged = true,
        .tachometerDivisor = tachometerDivisor,
        .fanSpeedConfiguration = fanSpeedConfiguration,
        .fanReadSpeed = esaVsc055FanReadSpeed,
        .fanPolicy = &FAN_POLICY,
        .policyLoadPwm = esaVsc055FanLoadPwm,
        .controlLoadPwm = esaVsc055FanLoadPwm,
        .readTemperature = [](U8_t sensor) { return lm75ReadTemperature(esaControl.i2cAddressLM75[sensor]); },
        .pageTracesTemperatures = true,
        .faultMovesAlarm = true,
        .setAlarm = esaVsc055SetAlarmStateBackplane,
        .silencePowerSupplyAlarm = esaVsc055ClearAlarmStatePowerSupply,
        .pollAlarm = pollAlarm,
        .setDriveFaultLed = esaVsc055SetDriveFaultLED,
        .clearDriveFaultLed = esaVsc055ClearDriveFaultLED,
        .putOutDriveLeds = putOutDriveLeds,
    };
}

} // namespace

constexpr Chassis_t quadraChassis = row(VORAN_E_CHASSIS_TELMA_QUADRA, "VORAN_E_CHASSIS_TELMA_QUADRA", 4, 0x82);
constexpr Chassis_t vsc055Chassis = row(VORAN_E_CHASSIS_VORAN_VSC055, "VORAN_E_CHASSIS_VORAN_VSC055", 2, 0x81);
