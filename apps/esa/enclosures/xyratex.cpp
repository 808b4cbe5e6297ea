/**
 * Xyratex 2U12 enclosure: twelve drives, two supplies, a front and a back fan group, two LM75 sensors and an alarm
 * controller of its own, all behind one VSC055. Chassis type 2.
 */
#include "enclosures/xyratex.h"

#include "chips/lm75.h"
#include "chips/vsc055.h"
#include "core/alarm_names.h"
#include "core/operation.h"
#include "osdep.h"
#include "policy/composite_fault.h"
#include "policy/events.h"
#include "policy/poll.h"

namespace {

constexpr U8_t CHIP = 0x63;

constexpr U8_t PRESENCE_PORT_0_TO_7 = 0; // 0 means present
constexpr U8_t PRESENCE_PORT_8_TO_11 = 3;

constexpr U8_t POWER_PORT = 4;
constexpr U8_t VOLTAGES_GOOD = 0x10;
constexpr U8_t REDUNDANCY_GOOD = 0x20;

constexpr U8_t ALARM_PORT = 5;
constexpr U8_t ALARM_SELECT = 0x07; // state to set, or bit to read back
constexpr U8_t ALARM_STROBE = 0x08;
constexpr U8_t ALARM_READ_BACK = 0x10;
constexpr U8_t ALARM_STATE_BITS = 3;

constexpr U8_t LED_PORT = 6; // drives 8 to 11 below, enclosure LEDs above
constexpr U8_t PSU_OK_LED = 0x20;
constexpr U8_t POWER_REDUNDANCY_FAIL_LED = 0x40;
constexpr U8_t FAN_FAIL_LED = 0x80;
constexpr U8_t DRIVE_LED_PORT_0_TO_7 = 7; // 0 lights a drive's LED

constexpr S32_t DRIVES = 12;
constexpr S32_t DRIVES_PER_PORT = 8;
constexpr U8_t FAN_GROUPS = 2;
constexpr U8_t FANS_PER_GROUP = 4;
constexpr U8_t TACHOMETERS = 8;
constexpr U8_t START_LOAD_PERCENT = 25;
constexpr U8_t TACHOMETER_DIVISOR = 1;
constexpr U8_t FAN_SPEED_CONFIGURATION = 0x80;
constexpr U32_t LED_TEST_SECONDS = 3;

constexpr U8_t DATA_DIRECTIONS[ESA_K_VSC055_PORTS] = {0xFF, 0x00, 0xFF, 0x0F, 0x30, 0x10, 0x00, 0x00};

constexpr U8_t LM75_ADDRESSES[] = {0x4C, 0x4D}; // left, right

constexpr const CHAR_t* TEMPERATURE_TEXTS[] = {
    "temperatureSensor[ESA_K_TEMPERATURE_SENSOR_LHS] = [%d] degrees Celsius.",
    "temperatureSensor[ESA_K_TEMPERATURE_SENSOR_RHS] = [%d] degrees Celsius.",
};

U8_t shadow(U8_t port) {
    return esaControl.vitesse.vsc055GPD[port];
}

void driveLed(const CHAR_t* name, U8_t led, bool on) {
    ESA_TRACE("Turn [%s] %s LED.", on ? "ON" : "OFF", name);
    vsc055DrivePort(CHIP, LED_PORT, led, on);
}

constexpr U8_t driveBit(S32_t drive) {
    return static_cast<U8_t>(1U << (drive % DRIVES_PER_PORT));
}

bool isDrive(S32_t drive) {
    if (drive < 0 || drive >= DRIVES) {
        ESA_TRACE("Un-supported Drive Number = [%d]", drive);
        return false;
    }
    return true;
}

S32_t driveFaultLed(S32_t drive, bool on) {
    if (!isDrive(drive)) {
        return ESA_E_GENERR;
    }
    vsc055DrivePort(CHIP, drive < DRIVES_PER_PORT ? DRIVE_LED_PORT_0_TO_7 : LED_PORT, driveBit(drive), !on);
    return ESA_E_OK;
}

/** Redundancy has been good for a while: an alarm that only reminds of its loss has nothing left to say. */
void endReminder() {
    if (xyratexReadAlarmstate() != ESA_E_XYRATEX_ALARM_STATE_REMIND_S2) {
        return;
    }
    xyratexSetAlarmState(ESA_E_XYRATEX_ALARM_STATE_IDLE_S0);
    if (esaControl.alarmState != ESA_E_ALARM_STATE_IDLE_S0) {
        esaControl.alarmState = ESA_E_ALARM_STATE_IDLE_S0;
        esaSendAlarmEvent(EMP_E_TYPE_INFORMATION);
    }
}

/** Brings the FAN_FAIL LED in line with what the fans show. */
void showFans(bool healthy) {
    const bool isOn = (shadow(LED_PORT) & FAN_FAIL_LED) != 0;
    const CHAR_t* state = healthy ? "OFF" : "ON";
    if (isOn != healthy) {
        ESA_TRACE("FAN Fail LED already [%s].", state);
        return;
    }
    healthy ? xyratexClearFanFailLED() : xyratexSetFanFailLED();
    ESA_TRACE("Turn [%s] FAN Fail LED.", state);
}

ESA_CODE_e fanReadSpeed(U8_t fan, U16_t* rpm) {
    return vsc055FanReadSpeed(esaControl.i2cAddressVsc055, TACHOMETER_DIVISOR, fan, rpm);
}

void loadPwm(U8_t group, U8_t percent) {
    vsc055FanLoadPwm(esaControl.i2cAddressVsc055, group, percent);
}

/** The alarm belongs to the enclosure: its controller is read back, and what it has changed to is reported. */
S32_t pollAlarm() {
    const U32_t state = xyratexReadAlarmstate();
    if (state == esaControl.alarmState) {
        return static_cast<S32_t>(state);
    }
    esaControl.alarmState = state;
    const bool sounding = state == ESA_E_ALARM_STATE_FAULT_S1 || state == ESA_E_ALARM_STATE_CRITICAL_S4;
    return esaSendAlarmEvent(sounding ? EMP_E_TYPE_WARNING : EMP_E_TYPE_INFORMATION);
}

void writeLedPattern(U8_t port4, U8_t port6, U8_t port7) {
    vsc055SetPort(CHIP, POWER_PORT, port4);
    vsc055SetPort(CHIP, LED_PORT, port6);
    vsc055SetPort(CHIP, DRIVE_LED_PORT_0_TO_7, port7);
}

void ledTest() {
    writeLedPattern(0xFC, 0x0F, 0xFF);
    MPU_sleep(LED_TEST_SECONDS);
    writeLedPattern(0xFE, 0xF0, 0x00);
    MPU_sleep(LED_TEST_SECONDS);
    writeLedPattern(0xFC, 0x2F, 0xFF); // PSU_OK on, everything else off
}

void initFans() {
    for (U8_t group = 0; group < FAN_GROUPS; ++group) {
        loadPwm(group, START_LOAD_PERCENT);
        esaControl.fanPwmLoad[group] = START_LOAD_PERCENT;
    }
}

constexpr SupplyCheck_t SUPPLY_CHECKS[] = {
    {
        .statusBit = ESA_K_POWER_VOLTAGE_OK,
        .cause = ESA_K_FAULT_POWER_SUPPLY_VOLTAGE_TOLERANCE,
        .read = xyratexReadPowerVoltageStatus,
        .unusableBusIsBad = false,
        .isInstallation = false,
        .isInput = true,
        .show = [](bool good) { good ? xyratexSetPsuOkLED() : xyratexClearPsuOkLED(); },
        .pageTexts = {.stillGood = "PSU OK LED already [ON].", .stillBad = "PSU OK LED already [OFF]."},
    },
    {
        .statusBit = ESA_K_POWER_REDUNDANCY_OK,
        .cause = ESA_K_FAULT_POWER_SUPPLY_REDUNDANCY,
        .read = xyratexReadPowerRedundancyFailStatus,
        .unusableBusIsBad = false,
        .isInstallation = true,
        .isInput = false,
        .show = [](bool good) { good ? xyratexClearPowerRedundancyFailLED() : xyratexSetPowerRedundancyFailLED(); },
        .stillGood = endReminder,
        .pageTexts = {.stillGood = "Power Redundancy Fail LED already [OFF].",
                      .stillBad = "Power Redundancy Fail LED already [ON]."},
    },
};

} // namespace

S32_t xyratexSetDriveFaultLED(S32_t drive) {
    ESA_OPERATION();
    ESA_TRACE("Set Fault LED on Drive [%d]", drive);
    return driveFaultLed(drive, true);
}

S32_t xyratexClearDriveFaultLED(S32_t drive) {
    ESA_OPERATION();
    ESA_TRACE("Clear Fault LED on Drive [%d]", drive);
    return driveFaultLed(drive, false);
}

S32_t xyratexIsDrivePresent(S32_t drive) {
    ESA_OPERATION();
    if (!isDrive(drive)) {
        return ESA_E_GENERR;
    }
    U8_t inputs = 0;
    const U8_t port = drive < DRIVES_PER_PORT ? PRESENCE_PORT_0_TO_7 : PRESENCE_PORT_8_TO_11;
    if (const ESA_CODE_e result = vsc055ReadPort(CHIP, port, &inputs); result != ESA_E_OK) {
        return result;
    }
    if ((inputs & driveBit(drive)) != 0) {
        ESA_TRACE("Drive in Slot [%d] is NOT present.", drive);
        return ESA_E_GENERR;
    }
    ESA_TRACE("Drive in Slot [%d] is present.", drive);
    return ESA_E_OK;
}

ESA_CODE_e xyratexReadDrivePresence() {
    ESA_OPERATION();
    U8_t inputs[2] = {};
    if (const ESA_CODE_e result = vsc055ReadPort(CHIP, PRESENCE_PORT_0_TO_7, &inputs[0]); result != ESA_E_OK) {
        return result;
    }
    if (const ESA_CODE_e result = vsc055ReadPort(CHIP, PRESENCE_PORT_8_TO_11, &inputs[1]); result != ESA_E_OK) {
        return result;
    }
    for (S32_t drive = 0; drive < DRIVES; ++drive) {
        const bool present = (inputs[drive / DRIVES_PER_PORT] & driveBit(drive)) == 0;
        ESA_TRACE("Drive in Slot [%d] %s present.", drive, present ? "is" : "is NOT");
    }
    return ESA_E_OK;
}

ESA_CODE_e xyratexReadPowerVoltageStatus() {
    ESA_OPERATION();
    return vsc055CheckInput(CHIP, POWER_PORT, VOLTAGES_GOOD, nullptr, "Return Power Voltage Status [ERROR].");
}

ESA_CODE_e xyratexReadPowerRedundancyFailStatus() {
    ESA_OPERATION();
    return vsc055CheckInput(CHIP, POWER_PORT, REDUNDANCY_GOOD, "Return Power Redundancy Fail Status [OK].",
                            "Return Power Redundancy Fail Status [ERROR].");
}

void xyratexSetAlarmState(U32_t state) {
    ESA_OPERATION();
    esaTraceAlarmState("Set the Alarm State to", state, ESA_E_ALARM_NAMES_INVALID);
    if (state > ESA_E_XYRATEX_ALARM_STATE_INVALID_S7) {
        return;
    }
    const auto others = static_cast<U8_t>(shadow(ALARM_PORT) & ~(ALARM_SELECT | ALARM_STROBE));
    vsc055SetPort(CHIP, ALARM_PORT, static_cast<U8_t>(others | state | ALARM_STROBE));
    vsc055SetPort(CHIP, ALARM_PORT, static_cast<U8_t>(others | state));
}

U32_t xyratexReadAlarmstate() {
    ESA_OPERATION();
    U32_t state = 0;
    for (U8_t bit = 0; bit < ALARM_STATE_BITS; ++bit) {
        vsc055SetPort(CHIP, ALARM_PORT, static_cast<U8_t>((shadow(ALARM_PORT) & ~ALARM_SELECT) | bit));
        U8_t inputs = 0;
        if (vsc055ReadPort(CHIP, ALARM_PORT, &inputs) == ESA_E_OK && (inputs & ALARM_READ_BACK) != 0) {
            state |= 1U << bit;
        }
    }
    esaTraceAlarmState("Read the Alarm State as", state, ESA_E_ALARM_NAMES_INVALID);
    return state;
}

void xyratexSetPsuOkLED() {
    ESA_OPERATION();
    driveLed("PSU_OK", PSU_OK_LED, true);
}

void xyratexClearPsuOkLED() {
    ESA_OPERATION();
    driveLed("PSU_OK", PSU_OK_LED, false);
}

void xyratexSetPowerRedundancyFailLED() {
    ESA_OPERATION();
    driveLed("Power Redundancy Fail", POWER_REDUNDANCY_FAIL_LED, true);
}

void xyratexClearPowerRedundancyFailLED() {
    ESA_OPERATION();
    driveLed("Power Redundancy Fail", POWER_REDUNDANCY_FAIL_LED, false);
}

void xyratexSetFanFailLED() {
    ESA_OPERATION();
    driveLed("FAN_FAIL", FAN_FAIL_LED, true);
}

void xyratexClearFanFailLED() {
    ESA_OPERATION();
    driveLed("FAN_FAIL", FAN_FAIL_LED, false);
}

ESA_CODE_e xyratexInit() {
    ESA_OPERATION();
    if (!vsc055Probe(CHIP)) {
        return esaReportI2cBusFault();
    }
    esaSetDimensions(xyratexChassis.dimensions);
    esaControl.fanFaultRpmLimit = SES_K_FAN_FAULT_RPM_LIMIT;
    if (const ESA_CODE_e result = vsc055SetupDataDirections(CHIP, DATA_DIRECTIONS); result != ESA_E_OK) {
        return result;
    }
    initFans();
    ledTest();
    esaControl.powerSupplyStatus |= ESA_K_POWER_VOLTAGE_OK | ESA_K_POWER_REDUNDANCY_OK;
    for (U8_t fan = 0; fan < TACHOMETERS; ++fan) {
        vsc055ConfigureFanSpeed(CHIP, fan, FAN_SPEED_CONFIGURATION,
                                "Initialize VSC055_FSC[%d] Register with value = [0x%x]");
    }
    xyratexSetAlarmState(ESA_E_XYRATEX_ALARM_STATE_IDLE_S0);
    return ESA_E_OK;
}

S32_t xyratexEsaProcessPollTimeout() {
    ESA_OPERATION();
    return esaPollEnclosure();
}

constexpr Chassis_t xyratexChassis = {
    .type = VORAN_E_CHASSIS_XYRATEX_2U12ATX,
    .typeName = "VORAN_E_CHASSIS_XYRATEX_2U12ATX",
    .initDoneText = "Finish initializing for the Xyratex Enclosure.",
    .initFailedText = "Initializing for the Xyratex Enclosure fails.",
    .vsc055Address = CHIP,
    .dimensions = esaDimensionsOf(VORAN_E_CHASSIS_XYRATEX_2U12ATX),
    .init = xyratexInit,
    .processPollTimeout = [] { xyratexEsaProcessPollTimeout(); },
    .supplyChecks = SUPPLY_CHECKS,
    .isManaged = true,
    .tachometerDivisor = TACHOMETER_DIVISOR,
    .fanSpeedConfiguration = FAN_SPEED_CONFIGURATION,
    .fanReadSpeed = fanReadSpeed,
    .policyFanCount = FAN_GROUPS,
    .policyLoadPwm = loadPwm,
    .fansPerOutput = FANS_PER_GROUP,
    .controlLoadPwm = loadPwm,
    .showFans = showFans,
    .pageMarksFans = true,
    .sensorCount = std::size(LM75_ADDRESSES),
    .readTemperature = [](U8_t sensor) { return lm75ReadTemperature(LM75_ADDRESSES[sensor]); },
    .temperatureTexts = TEMPERATURE_TEXTS,
    .setAlarm = [](EsaAlarmState_e state) { xyratexSetAlarmState(state); },
    .criticalAlarmState = ESA_E_ALARM_STATE_CRITICAL_S4,
    .isAlarmMuted = [](bool) { return xyratexReadAlarmstate() == ESA_E_XYRATEX_ALARM_STATE_IDLE_S0; },
    .pollAlarm = pollAlarm,
    .setDriveFaultLed = xyratexSetDriveFaultLED,
    .clearDriveFaultLed = xyratexClearDriveFaultLED,
    .isDrivePresent = xyratexIsDrivePresent,
};
