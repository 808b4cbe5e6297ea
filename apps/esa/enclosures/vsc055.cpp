/**
 * Backplane built on the VSC055 enclosure controller: chassis types 3 and 5, which differ in dimensions and in
 * their fans' tachometers.
 */
#include "enclosures/vsc055.h"

#include <cstring>

#include "chips/lm75.h"
#include "core/i2c.h"
#include "osdep.h"
#include "policy/composite_fault.h"
#include "policy/events.h"
#include "policy/fans.h"
#include "trace.h"

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

constexpr U8_t DATA_DIRECTIONS[VSC055_K_PORTS] = {0x00, 0x00, 0x3F, 0x00, 0xA7, 0x00, 0x00, 0x00};

constexpr const CHAR_t* SET_ALARM_TEXTS[] = {
    "Set Backplane Alarm State to [IDEL_S0].",     "Set Backplane Alarm State to [FAULT_S1].",
    "Set Backplane Alarm State to [REMIND_S2].",   "Set Backplane Alarm State to [MUTE_S3].",
    "Set Backplane Alarm State to [CRITICAL_S4].", "Set Backplane Alarm State to [STATE_S5].",
    "Set Backplane Alarm State to [STATE_S6].",    "Set Backplane Alarm State to [STATE_S7].",
};

constexpr const CHAR_t* READ_ALARM_TEXTS[] = {
    "Read the Alarm State as [IDEL_S0].",     "Read the Alarm State as [FAULT_S1].",
    "Read the Alarm State as [REMIND_S2].",   "Read the Alarm State as [MUTE_S3].",
    "Read the Alarm State as [CRITICAL_S4].", "Read the Alarm State as [INVALID_S5].",
    "Read the Alarm State as [INVALID_S6].",  "Read the Alarm State as [INVALID_S7].",
};

constexpr const CHAR_t* POLL_ALARM_TEXTS[] = {
    "Alarm State is set to [IDEL_S0].",  "Alarm State is set to [FAULT_S1].",    "Alarm State is set to [REMIND_S2].",
    "Alarm State is set to [MUTE_S3].",  "Alarm State is set to [CRITICAL_S4].", "Alarm State is set to [STATE_S5].",
    "Alarm State is set to [STATE_S6].", "Alarm State is set to [STATE_S7].",
};

void writePort(U8_t port) {
    vsc055WritePort(esaControl.i2cAddressVsc055, port);
}

/** Sets or clears bits of a port's shadow, without writing the port. */
void changePort(U8_t port, U8_t bits, bool set) {
    U8_t& shadow = esaControl.vitesse.vsc055GPD[port];
    shadow = static_cast<U8_t>(set ? shadow | bits : shadow & ~bits);
}

S32_t driveFaultLed(S32_t driveNumber, bool on) {
    if (driveNumber < 0 || driveNumber >= esaControl.deviceMaxNumber) {
        TRACE_INFO("Un-supported Drive Number = [%d]", driveNumber);
        return ESA_E_GENERR;
    }
    const U8_t port = driveNumber < LEDS_PER_PORT ? LED_PORT_0_TO_7 : LED_PORT_8_TO_15;
    changePort(port, static_cast<U8_t>(1U << (driveNumber % LEDS_PER_PORT)), !on);
    writePort(port);
    TRACE_INFO("vsc055GPD[%d] = [0x%x]", port, esaControl.vitesse.vsc055GPD[port]);
    return ESA_E_OK;
}

/** Port 7's pattern goes to port 6's register as well: the lamp test has always run over that one register. */
void lampTestStep(U8_t port, U8_t pattern) {
    constexpr U8_t lampRegister = 0x06;
    esaControl.vitesse.vsc055GPD[port] = pattern;
    (void)esaWriteI2CData(esaControl.i2cAddressVsc055, lampRegister, &esaControl.vitesse.vsc055GPD[port], 1);
}

void lampTest() {
    lampTestStep(LED_PORT_0_TO_7, 0xFF);
    lampTestStep(LED_PORT_8_TO_15, 0xFF);
    lampTestStep(LED_PORT_0_TO_7, 0x00);
    lampTestStep(LED_PORT_8_TO_15, 0x00);
    MPU_sleep(LAMP_TEST_SECONDS);
    lampTestStep(LED_PORT_0_TO_7, 0xFF);
    lampTestStep(LED_PORT_8_TO_15, 0xFF);
}

void initAlarm() {
    changePort(POWER_PORT, POWER_PORT_ENABLE, true);
    writePort(POWER_PORT);
    changePort(POWER_PORT, SUPPLY_ALARM_CLEAR, true);
    esaVsc055SetAlarmStateBackplane(ESA_E_ALARM_STATE_MUTE_S3);
    esaControl.alarmState = ESA_E_ALARM_STATE_MUTE_S3;
}

void initFans() {
    for (U8_t fan = 0; fan < esaControl.coolingMaxNumber; ++fan) {
        esaVsc055FanLoadPwm(fan, START_LOAD_PERCENT);
        esaControl.fanPwmLoad[fan] = START_LOAD_PERCENT;
        esaControl.coolingElementOnOff[fan] = ESA_E_FAN_ON;
    }
}

void pollRedundancy() {
    const bool wasGood = (esaControl.powerSupplyStatus & ESA_K_POWER_REDUNDANCY_OK) != 0;
    const ESA_CODE_e status = esaVsc055ReadPowerRedundancyFailStatus();
    if (status == ESA_E_OK) {
        (void)esaManageCompositeFault(ESA_K_FAULT_POWER_SUPPLY_REDUNDANCY, ESA_E_OK);
        if (wasGood) {
            TRACE_INFO("Power Redundancy Status already [OK].");
            return;
        }
        esaControl.powerSupplyStatus |= ESA_K_POWER_REDUNDANCY_OK;
        (void)esaSendPowerSupplyEvent(EMP_E_TYPE_INFORMATION);
    } else if (status == ESA_E_GENERR) {
        (void)esaManageCompositeFault(ESA_K_FAULT_POWER_SUPPLY_REDUNDANCY, ESA_E_GENERR);
        if (!wasGood) {
            TRACE_INFO("Power Redundancy Status already [NOT OK].");
            return;
        }
        esaControl.powerSupplyStatus &= ~ESA_K_POWER_REDUNDANCY_OK;
        (void)esaSendPowerSupplyEvent(EMP_E_TYPE_WARNING);
    }
}

void refreshTemperatures() {
    for (U8_t sensor = 0; sensor < esaControl.temperatureSensorMaxNumber; ++sensor) {
        esaControl.temperatureSensor[sensor] = lm75ReadTemperature(esaControl.i2cAddressLM75[sensor]);
        TRACE_INFO("temperatureSensor[%d] = [%d] degrees Celsius.", sensor, esaControl.temperatureSensor[sensor]);
    }
}

void traceAlarm() {
    const U8_t state = esaVsc055ReadAlarmState();
    if (state < std::size(POLL_ALARM_TEXTS)) {
        TRACE_INFO("%s", POLL_ALARM_TEXTS[state]);
    } else {
        TRACE_INFO("Alarm State is set to un-supported value [%d].", state);
    }
}

bool fillPowerSupply(PowerSupplyElementStat_t& status, const PowerSupplyElementCont_t& control) {
    const bool good = esaVsc055ReadPowerRedundancyFailStatus() == ESA_E_OK;
    const bool wasGood = (esaControl.powerSupplyStatus & ESA_K_POWER_REDUNDANCY_OK) != 0;
    status.commonStatus = good ? SES_E_ELEMENT_STATUS_CODE_OK : SES_E_ELEMENT_STATUS_CODE_NOT_INSTALLED;
    (void)esaManageCompositeFault(ESA_K_FAULT_POWER_SUPPLY_REDUNDANCY, good ? ESA_E_OK : ESA_E_GENERR);
    if (good != wasGood) {
        esaControl.powerSupplyStatus ^= ESA_K_POWER_REDUNDANCY_OK;
    } else {
        TRACE_INFO(good ? "Power Redundancy Status already [OK]." : "Power Redundancy Status already [NOT OK].");
    }
    status.fail = control.rqstFail || (esaControl.compositeFaultStatus & ESA_K_FAULT_POWER_SUPPLY_REDUNDANCY) != 0;
    return good != wasGood;
}

void controlPowerSupply(bool fail) {
    (void)esaManageCompositeFault(ESA_K_FAULT_POWER_SUPPLY_REDUNDANCY, fail ? ESA_E_GENERR : ESA_E_OK);
}

void controlFan(U8_t fan, bool on) {
    esaVsc055FanLoadPwm(fan, on ? 100 : 0);
    esaRecordFanOnOff(fan, on);
}

bool isAlarmMuted() {
    return esaControl.alarmState == ESA_E_ALARM_STATE_IDLE_S0;
}

} // namespace

S32_t esaVsc055SetDriveFaultLED(S32_t driveNumber) {
    TRACE_INFO("Set Fault LED on Drive [%d]", driveNumber);
    return driveFaultLed(driveNumber, true);
}

S32_t esaVsc055ClearDriveFaultLED(S32_t driveNumber) {
    TRACE_INFO("Clear Fault LED on Drive [%d]", driveNumber);
    return driveFaultLed(driveNumber, false);
}

ESA_CODE_e esaVsc055ReadPowerRedundancyFailStatus() {
    U8_t inputs = 0;
    if (const ESA_CODE_e result = vsc055ReadPort(esaControl.i2cAddressVsc055, POWER_PORT, &inputs);
        result != ESA_E_OK) {
        return result;
    }
    if ((inputs & REDUNDANCY_GOOD) == 0) {
        TRACE_INFO("Return Power Fail Status [ERROR].");
        return ESA_E_GENERR;
    }
    TRACE_INFO("Return Power Fail Status [OK].");
    return ESA_E_OK;
}

void esaVsc055SetAlarmStateBackplane(EsaAlarmState_e alarmState) {
    if (alarmState >= std::size(SET_ALARM_TEXTS)) {
        TRACE_INFO("Set Backplane Alarm State to un-supported value [%d].", alarmState);
        return;
    }
    TRACE_INFO("%s", SET_ALARM_TEXTS[alarmState]);
    if (alarmState == ESA_E_ALARM_STATE_FAULT_S1 || alarmState == ESA_E_ALARM_STATE_MUTE_S3) {
        changePort(POWER_PORT, ALARM_SOUNDING, alarmState == ESA_E_ALARM_STATE_FAULT_S1);
        writePort(POWER_PORT);
    }
}

void esaVsc055ClearAlarmStatePowerSupply() {
    TRACE_INFO("Clear the Alarm on the Power Supply.");
    changePort(POWER_PORT, SUPPLY_ALARM_CLEAR, false);
    writePort(POWER_PORT);
    changePort(POWER_PORT, SUPPLY_ALARM_CLEAR, true);
    writePort(POWER_PORT);
}

U8_t esaVsc055ReadAlarmState() {
    if (esaControl.alarmState < std::size(READ_ALARM_TEXTS)) {
        TRACE_INFO("%s", READ_ALARM_TEXTS[esaControl.alarmState]);
    } else {
        TRACE_INFO("Read the Alarm State as un-supported value [%d].", esaControl.alarmState);
    }
    return static_cast<U8_t>(esaControl.alarmState);
}

ESA_CODE_e esaVsc055Init() {
    const U8_t address = esaControl.i2cAddressVsc055;
    if (!vsc055Probe(address)) {
        return ESA_E_GENERR_I2C_UNAVAILABLE;
    }
    const Chassis_t* chassis = esaChassis();
    const bool isOurs = chassis != nullptr && chassis->init == esaVsc055Init;
    if (isOurs) {
        esaSetDimensions(chassis->dimensions);
    }
    esaControl.fanFaultRpmLimit = ESA_K_FAN_FAULT_RPM_LIMIT;
    std::memcpy(esaControl.vitesse.vsc055DDP, DATA_DIRECTIONS, sizeof(DATA_DIRECTIONS));
    initAlarm();
    if (const ESA_CODE_e result = vsc055SetupDataDirections(address); result != ESA_E_OK) {
        return result;
    }
    initFans();
    lampTest();
    esaControl.powerSupplyStatus |= ESA_K_POWER_VOLTAGE_OK | ESA_K_POWER_REDUNDANCY_OK;
    for (U8_t fan = 0; isOurs && fan < esaControl.coolingMaxNumber; ++fan) {
        vsc055ConfigureFanSpeed(address, fan, chassis->fanSpeedConfiguration,
                                "Initialize vsc055FSC[%d] Register with value = [0x%x]");
    }
    return ESA_E_OK;
}

void esaVsc055ProcessPollTimeout() {
    pollRedundancy();
    const bool fansHealthy = esaReadFanFailStatus() == ESA_E_OK;
    (void)esaManageCompositeFault(ESA_K_FAULT_FAN, fansHealthy ? ESA_E_OK : ESA_E_GENERR);
    refreshTemperatures();
    esaVsc055TemperatureFanPolicy();
    esaTemperatureEventLog();
    (void)esaTemperatureOverheatCheck();
    traceAlarm();
}

namespace {

/** What the two chassis types have in common. */
constexpr Chassis_t commonRow(VORAN_E_CHASSIS_e type, const CHAR_t* typeName) {
    Chassis_t row = {};
    row.type = type;
    row.typeName = typeName;
    row.initDoneText = "Finish initializing for the Vsc055 based Enclosure.";
    row.initFailedText = "Initializing for the Vsc055 based Enclosure fails.";
    row.vsc055Address = 0x41;
    row.lm75Address[0] = 0x4C;
    row.lm75Address[1] = 0x4B;
    row.lm75Address[2] = 0x4A;
    row.init = esaVsc055Init;
    row.processPollTimeout = esaVsc055ProcessPollTimeout;
    row.fanReadSpeed = esaVsc055FanReadSpeed;
    row.policyLoadPwm = esaVsc055FanLoadPwm;
    row.controlFan = controlFan;
    row.setFaultAlarm = esaVsc055SetAlarmStateBackplane;
    row.setAlarm = esaVsc055SetAlarmStateBackplane;
    row.criticalAlarmState = ESA_E_ALARM_STATE_FAULT_S1;
    row.silencePowerSupplyAlarm = esaVsc055ClearAlarmStatePowerSupply;
    row.isAlarmMuted = isAlarmMuted;
    row.setDriveFaultLed = esaVsc055SetDriveFaultLED;
    row.clearDriveFaultLed = esaVsc055ClearDriveFaultLED;
    row.refreshTemperatures = refreshTemperatures;
    row.fillPowerSupply = fillPowerSupply;
    row.controlPowerSupply = controlPowerSupply;
    return row;
}

constexpr Chassis_t quadraRow() {
    Chassis_t row = commonRow(VORAN_E_CHASSIS_TELMA_QUADRA, "VORAN_E_CHASSIS_TELMA_QUADRA");
    row.dimensions = {5, 16, 3, 3, 3, 1};
    row.tachometerDivisor = 4;
    row.fanSpeedConfiguration = 0x82;
    return row;
}

constexpr Chassis_t vsc055Row() {
    Chassis_t row = commonRow(VORAN_E_CHASSIS_VORAN_VSC055, "VORAN_E_CHASSIS_VORAN_VSC055");
    row.dimensions = {5, 16, 2, 3, 3, 1};
    row.tachometerDivisor = 2;
    row.fanSpeedConfiguration = 0x81;
    return row;
}

} // namespace

constexpr Chassis_t quadraChassis = quadraRow();
constexpr Chassis_t vsc055Chassis = vsc055Row();
