/**
 * Xyratex 2U12 enclosure: twelve drives, two supplies, a front and a back fan group, two LM75 sensors and an alarm
 * controller of its own, all behind one VSC055. Chassis type 2.
 */
#include "enclosures/xyratex.h"

#include <cstring>

#include "chips/lm75.h"
#include "core/i2c.h"
#include "enclosures/vsc055.h"
#include "osdep.h"
#include "policy/composite_fault.h"
#include "policy/events.h"
#include "policy/fans.h"
#include "trace.h"

namespace {

constexpr U8_t CHIP = 0x63;
constexpr U8_t LM75_LHS = 0x4C;
constexpr U8_t LM75_RHS = 0x4D;

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
constexpr U8_t FAN_SPEED_CONFIGURATION = 0x80;
constexpr U32_t LED_TEST_SECONDS = 3;

constexpr U8_t DATA_DIRECTIONS[VSC055_K_PORTS] = {0xFF, 0x00, 0xFF, 0x0F, 0x30, 0x10, 0x00, 0x00};

constexpr const CHAR_t* SET_ALARM_TEXTS[] = {
    "Set the Alarm State to [IDEL_S0].",     "Set the Alarm State to [FAULT_S1].",
    "Set the Alarm State to [REMIND_S2].",   "Set the Alarm State to [MUTE_S3].",
    "Set the Alarm State to [CRITICAL_S4].", "Set the Alarm State to [INVALID_S5].",
    "Set the Alarm State to [INVALID_S6].",  "Set the Alarm State to [INVALID_S7].",
};

constexpr const CHAR_t* READ_ALARM_TEXTS[] = {
    "Read the Alarm State as [IDEL_S0].",     "Read the Alarm State as [FAULT_S1].",
    "Read the Alarm State as [REMIND_S2].",   "Read the Alarm State as [MUTE_S3].",
    "Read the Alarm State as [CRITICAL_S4].", "Read the Alarm State as [INVALID_S5].",
    "Read the Alarm State as [INVALID_S6].",  "Read the Alarm State as [INVALID_S7].",
};

U8_t& shadow(U8_t port) {
    return esaControl.vitesse.vsc055GPD[port];
}

/** Sets or clears bits of a port and writes it. */
void drivePort(U8_t port, U8_t bits, bool set) {
    shadow(port) = static_cast<U8_t>(set ? shadow(port) | bits : shadow(port) & ~bits);
    vsc055WritePort(CHIP, port);
}

void writePort(U8_t port, U8_t value) {
    shadow(port) = value;
    vsc055WritePort(CHIP, port);
}

constexpr U8_t driveBit(S32_t drive) {
    return static_cast<U8_t>(1U << (drive % DRIVES_PER_PORT));
}

bool isDrive(S32_t drive) {
    if (drive < 0 || drive >= DRIVES) {
        TRACE_INFO("Un-supported Drive Number = [%d]", drive);
        return false;
    }
    return true;
}

S32_t driveFaultLed(S32_t drive, bool on) {
    if (!isDrive(drive)) {
        return ESA_E_GENERR;
    }
    drivePort(drive < DRIVES_PER_PORT ? DRIVE_LED_PORT_0_TO_7 : LED_PORT, driveBit(drive), !on);
    return ESA_E_OK;
}

/** Remembers a supply condition; returns whether it has changed. */
bool rememberPower(U32_t bit, bool good) {
    const bool wasGood = (esaControl.powerSupplyStatus & bit) != 0;
    if (good != wasGood) {
        esaControl.powerSupplyStatus ^= bit;
    }
    return good != wasGood;
}

void showVoltages(bool good) {
    good ? xyratexSetPsuOkLED() : xyratexClearPsuOkLED();
}

void showRedundancy(bool good) {
    good ? xyratexClearPowerRedundancyFailLED() : xyratexSetPowerRedundancyFailLED();
}

/** Redundancy has been good for a while: an alarm that only reminds of its loss has nothing left to say. */
void endReminder() {
    if (xyratexReadAlarmstate() != ESA_E_XYRATEX_ALARM_STATE_REMIND_S2) {
        return;
    }
    xyratexSetAlarmState(ESA_E_XYRATEX_ALARM_STATE_IDLE_S0);
    if (esaControl.alarmState != ESA_E_ALARM_STATE_IDLE_S0) {
        esaControl.alarmState = ESA_E_ALARM_STATE_IDLE_S0;
        (void)esaSendAlarmEvent(EMP_E_TYPE_INFORMATION);
    }
}

void pollVoltages() {
    const ESA_CODE_e status = xyratexReadPowerVoltageStatus();
    if (status != ESA_E_OK && status != ESA_E_GENERR) {
        return;
    }
    const bool good = status == ESA_E_OK;
    (void)esaManageCompositeFault(ESA_K_FAULT_POWER_SUPPLY_VOLTAGE_TOLERANCE, status);
    if (rememberPower(ESA_K_POWER_VOLTAGE_OK, good)) {
        showVoltages(good);
        (void)esaSendPowerSupplyEvent(good ? EMP_E_TYPE_INFORMATION : EMP_E_TYPE_WARNING);
    }
}

void pollRedundancy() {
    const ESA_CODE_e status = xyratexReadPowerRedundancyFailStatus();
    if (status != ESA_E_OK && status != ESA_E_GENERR) {
        return;
    }
    const bool good = status == ESA_E_OK;
    (void)esaManageCompositeFault(ESA_K_FAULT_POWER_SUPPLY_REDUNDANCY, status);
    if (rememberPower(ESA_K_POWER_REDUNDANCY_OK, good)) {
        showRedundancy(good);
        (void)esaSendPowerSupplyEvent(good ? EMP_E_TYPE_INFORMATION : EMP_E_TYPE_WARNING);
    } else if (good) {
        endReminder();
    }
}

/** Brings the FAN_FAIL LED in line with what the fans show. */
void showFans(bool healthy) {
    const bool isOn = (shadow(LED_PORT) & FAN_FAIL_LED) != 0;
    if (healthy && isOn) {
        xyratexClearFanFailLED();
        TRACE_INFO("Turn [OFF] FAN Fail LED.");
    } else if (healthy) {
        TRACE_INFO("FAN Fail LED already [OFF].");
    } else if (!isOn) {
        xyratexSetFanFailLED();
        TRACE_INFO("Turn [ON] FAN Fail LED.");
    } else {
        TRACE_INFO("FAN Fail LED already [ON].");
    }
}

void pollFans() {
    const bool healthy = esaReadFanFailStatus() == ESA_E_OK;
    (void)esaManageCompositeFault(ESA_K_FAULT_FAN, healthy ? ESA_E_OK : ESA_E_GENERR);
    showFans(healthy);
}

void refreshTemperatures() {
    esaControl.temperatureSensor[ESA_K_TEMPERATURE_SENSOR_LHS] = lm75ReadTemperature(LM75_LHS);
    esaControl.temperatureSensor[ESA_K_TEMPERATURE_SENSOR_RHS] = lm75ReadTemperature(LM75_RHS);
}

void pollTemperatures() {
    refreshTemperatures();
    TRACE_INFO("temperatureSensor[ESA_K_TEMPERATURE_SENSOR_LHS] = [%d] degrees Celsius.",
               esaControl.temperatureSensor[ESA_K_TEMPERATURE_SENSOR_LHS]);
    TRACE_INFO("temperatureSensor[ESA_K_TEMPERATURE_SENSOR_RHS] = [%d] degrees Celsius.",
               esaControl.temperatureSensor[ESA_K_TEMPERATURE_SENSOR_RHS]);
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

/* What the status page and the control page do. */

bool fillRedundancy(PowerSupplyElementStat_t& status) {
    const bool good = xyratexReadPowerRedundancyFailStatus() == ESA_E_OK;
    status.commonStatus = good ? SES_E_ELEMENT_STATUS_CODE_OK : SES_E_ELEMENT_STATUS_CODE_NOT_INSTALLED;
    const bool changed = rememberPower(ESA_K_POWER_REDUNDANCY_OK, good);
    if (changed) {
        showRedundancy(good);
    } else {
        TRACE_INFO(good ? "Power Redundancy Fail LED already [OFF]." : "Power Redundancy Fail LED already [ON].");
        if (good) {
            endReminder();
        }
    }
    return changed;
}

bool fillVoltages(PowerSupplyElementStat_t& status) {
    const bool good = xyratexReadPowerVoltageStatus() == ESA_E_OK;
    status.acFail = !good;
    const bool changed = rememberPower(ESA_K_POWER_VOLTAGE_OK, good);
    if (changed) {
        showVoltages(good);
    } else {
        TRACE_INFO(good ? "PSU OK LED already [ON]." : "PSU OK LED already [OFF].");
    }
    return changed;
}

bool fillPowerSupply(PowerSupplyElementStat_t& status, const PowerSupplyElementCont_t& control) {
    constexpr U32_t allGood = ESA_K_POWER_VOLTAGE_OK | ESA_K_POWER_REDUNDANCY_OK;
    const bool redundancyChanged = fillRedundancy(status);
    const bool voltagesChanged = fillVoltages(status);
    status.fail = control.rqstFail || (esaControl.powerSupplyStatus & allGood) != allGood;
    return redundancyChanged || voltagesChanged;
}

/** Exactly the limit counts as a fault here, while the poll takes it as healthy. */
bool markCoolingFault(CoolingElementStat_t& status, U8_t fan, U16_t rpm) {
    const U32_t bit = 1U << fan;
    const bool faulty = rpm <= ESA_K_FAN_FAULT_RPM_LIMIT;
    const bool wasFaulty = (esaControl.fanFaultStatus & bit) != 0;
    status.fail = faulty;
    if (faulty != wasFaulty) {
        esaControl.fanFaultStatus ^= bit;
        TRACE_INFO(faulty ? "Now marking Fault on Fan [%d]." : "Now marking OK on Fan [%d].", fan);
    } else {
        TRACE_INFO(faulty ? "Already marked Fault on Fan [%d]." : "Already marked OK on Fan [%d].", fan);
    }
    showFans(esaControl.fanFaultStatus == 0);
    return faulty != wasFaulty;
}

void controlPowerSupply(bool fail) {
    showVoltages(!fail);
}

/** The fans have one PWM output for each group of four. */
void controlFan(U8_t fan, bool on) {
    const U8_t group = fan < FANS_PER_GROUP ? ESA_E_XYRATEX_FRONT_FANS : ESA_E_XYRATEX_BACK_FANS;
    esaVsc055FanLoadPwm(group, on ? 100 : 0);
    for (U8_t i = 0; i < FANS_PER_GROUP; ++i) {
        esaRecordFanOnOff(static_cast<U8_t>(group * FANS_PER_GROUP + i), on);
    }
}

bool isAlarmMuted() {
    return xyratexReadAlarmstate() == ESA_E_XYRATEX_ALARM_STATE_IDLE_S0;
}

/* Initialisation. */

void writeLedPattern(U8_t port4, U8_t port6, U8_t port7) {
    writePort(POWER_PORT, port4);
    writePort(LED_PORT, port6);
    writePort(DRIVE_LED_PORT_0_TO_7, port7);
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
        esaVsc055FanLoadPwm(group, START_LOAD_PERCENT);
        esaControl.fanPwmLoad[group] = START_LOAD_PERCENT;
    }
}

} // namespace

S32_t xyratexSetDriveFaultLED(S32_t drive) {
    TRACE_INFO("Set Fault LED on Drive [%d]", drive);
    return driveFaultLed(drive, true);
}

S32_t xyratexClearDriveFaultLED(S32_t drive) {
    TRACE_INFO("Clear Fault LED on Drive [%d]", drive);
    return driveFaultLed(drive, false);
}

S32_t xyratexIsDrivePresent(S32_t drive) {
    if (!isDrive(drive)) {
        return ESA_E_GENERR;
    }
    U8_t inputs = 0;
    const U8_t port = drive < DRIVES_PER_PORT ? PRESENCE_PORT_0_TO_7 : PRESENCE_PORT_8_TO_11;
    if (const ESA_CODE_e result = vsc055ReadPort(CHIP, port, &inputs); result != ESA_E_OK) {
        return result;
    }
    if ((inputs & driveBit(drive)) != 0) {
        TRACE_INFO("Drive in Slot [%d] is NOT present.", drive);
        return ESA_E_GENERR;
    }
    TRACE_INFO("Drive in Slot [%d] is present.", drive);
    return ESA_E_OK;
}

ESA_CODE_e xyratexReadDrivePresence() {
    U8_t inputs[2] = {};
    if (const ESA_CODE_e result = vsc055ReadPort(CHIP, PRESENCE_PORT_0_TO_7, &inputs[0]); result != ESA_E_OK) {
        return result;
    }
    if (const ESA_CODE_e result = vsc055ReadPort(CHIP, PRESENCE_PORT_8_TO_11, &inputs[1]); result != ESA_E_OK) {
        return result;
    }
    for (S32_t drive = 0; drive < DRIVES; ++drive) {
        const bool present = (inputs[drive / DRIVES_PER_PORT] & driveBit(drive)) == 0;
        TRACE_INFO("Drive in Slot [%d] %s present.", drive, present ? "is" : "is NOT");
    }
    return ESA_E_OK;
}

ESA_CODE_e xyratexReadPowerVoltageStatus() {
    U8_t inputs = 0;
    if (const ESA_CODE_e result = vsc055ReadPort(CHIP, POWER_PORT, &inputs); result != ESA_E_OK) {
        return result;
    }
    if ((inputs & VOLTAGES_GOOD) == 0) {
        TRACE_INFO("Return Power Voltage Status [ERROR].");
        return ESA_E_GENERR;
    }
    return ESA_E_OK;
}

ESA_CODE_e xyratexReadPowerRedundancyFailStatus() {
    U8_t inputs = 0;
    if (const ESA_CODE_e result = vsc055ReadPort(CHIP, POWER_PORT, &inputs); result != ESA_E_OK) {
        return result;
    }
    if ((inputs & REDUNDANCY_GOOD) == 0) {
        TRACE_INFO("Return Power Redundancy Fail Status [ERROR].");
        return ESA_E_GENERR;
    }
    TRACE_INFO("Return Power Redundancy Fail Status [OK].");
    return ESA_E_OK;
}

void xyratexSetAlarmState(U32_t state) {
    if (state >= std::size(SET_ALARM_TEXTS)) {
        TRACE_INFO("Set the Alarm State to un-supported value [%d].", state);
        return;
    }
    TRACE_INFO("%s", SET_ALARM_TEXTS[state]);
    const auto others = static_cast<U8_t>(shadow(ALARM_PORT) & ~(ALARM_SELECT | ALARM_STROBE));
    writePort(ALARM_PORT, static_cast<U8_t>(others | state | ALARM_STROBE));
    writePort(ALARM_PORT, static_cast<U8_t>(others | state));
}

U32_t xyratexReadAlarmstate() {
    U32_t state = 0;
    for (U8_t bit = 0; bit < ALARM_STATE_BITS; ++bit) {
        writePort(ALARM_PORT, static_cast<U8_t>((shadow(ALARM_PORT) & ~ALARM_SELECT) | bit));
        U8_t inputs = 0;
        if (vsc055ReadPort(CHIP, ALARM_PORT, &inputs) == ESA_E_OK && (inputs & ALARM_READ_BACK) != 0) {
            state |= 1U << bit;
        }
    }
    TRACE_INFO("%s", READ_ALARM_TEXTS[state]);
    return state;
}

void xyratexSetPsuOkLED() {
    TRACE_INFO("Turn [ON] PSU_OK LED.");
    drivePort(LED_PORT, PSU_OK_LED, true);
}

void xyratexClearPsuOkLED() {
    TRACE_INFO("Turn [OFF] PSU_OK LED.");
    drivePort(LED_PORT, PSU_OK_LED, false);
}

void xyratexSetPowerRedundancyFailLED() {
    TRACE_INFO("Turn [ON] Power Redundancy Fail LED.");
    drivePort(LED_PORT, POWER_REDUNDANCY_FAIL_LED, true);
}

void xyratexClearPowerRedundancyFailLED() {
    TRACE_INFO("Turn [OFF] Power Redundancy Fail LED.");
    drivePort(LED_PORT, POWER_REDUNDANCY_FAIL_LED, false);
}

void xyratexSetFanFailLED() {
    TRACE_INFO("Turn [ON] FAN_FAIL LED.");
    drivePort(LED_PORT, FAN_FAIL_LED, true);
}

void xyratexClearFanFailLED() {
    TRACE_INFO("Turn [OFF] FAN_FAIL LED.");
    drivePort(LED_PORT, FAN_FAIL_LED, false);
}

ESA_CODE_e xyratexInit() {
    if (!vsc055Probe(CHIP)) {
        return ESA_E_GENERR_I2C_UNAVAILABLE;
    }
    esaSetDimensions(xyratexChassis.dimensions);
    esaControl.fanFaultRpmLimit = ESA_K_FAN_FAULT_RPM_LIMIT;
    std::memcpy(esaControl.vitesse.vsc055DDP, DATA_DIRECTIONS, sizeof(DATA_DIRECTIONS));
    if (const ESA_CODE_e result = vsc055SetupDataDirections(CHIP); result != ESA_E_OK) {
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
    pollVoltages();
    pollRedundancy();
    pollFans();
    pollTemperatures();
    esaTemperatureFanPolicy();
    esaTemperatureEventLog();
    (void)esaTemperatureOverheatCheck();
    return pollAlarm();
}

constexpr Chassis_t xyratexChassis = {
    .type = VORAN_E_CHASSIS_XYRATEX_2U12ATX,
    .typeName = "VORAN_E_CHASSIS_XYRATEX_2U12ATX",
    .initDoneText = "Finish initializing for the Xyratex Enclosure.",
    .initFailedText = "Initializing for the Xyratex Enclosure fails.",
    .vsc055Address = CHIP,
    .lm75Address = {},
    .w83782dAddress = 0,
    .dimensions = {5, 12, 2, 8, 2, 1},
    .tachometerDivisor = 1,
    .fanSpeedConfiguration = FAN_SPEED_CONFIGURATION,
    .init = xyratexInit,
    .processPollTimeout = [] { (void)xyratexEsaProcessPollTimeout(); },
    .fanReadSpeed = esaVsc055FanReadSpeed,
    .policyFanCount = FAN_GROUPS,
    .policyLoadPwm = esaVsc055FanLoadPwm,
    .controlFan = controlFan,
    .setFaultAlarm = nullptr,
    .setAlarm = [](EsaAlarmState_e state) { xyratexSetAlarmState(state); },
    .criticalAlarmState = ESA_E_ALARM_STATE_CRITICAL_S4,
    .silencePowerSupplyAlarm = nullptr,
    .isAlarmMuted = isAlarmMuted,
    .setDriveFaultLed = xyratexSetDriveFaultLED,
    .clearDriveFaultLed = xyratexClearDriveFaultLED,
    .isDrivePresent = xyratexIsDrivePresent,
    .refreshTemperatures = refreshTemperatures,
    .fillPowerSupply = fillPowerSupply,
    .markCoolingFault = markCoolingFault,
    .controlPowerSupply = controlPowerSupply,
};
