/**
 * What a row of the chassis table is. A chassis is a row; whatever the adapter does differently from chassis to chassis
 * it looks up here. A row says what its enclosure has; what it leaves out does nothing, and the row of "no chassis"
 * leaves out nearly everything.
 */
#pragma once

#include <span>

#include "policy/fans.h"
#include "policy/supplies.h"

/** Element counts of a chassis; unless given, what is reported where none answers. */
struct ChassisDimensions_t {
    U8_t elementTypes = 5;
    U8_t devices = 16;
    U8_t powerSupplies = 3;
    U8_t coolings = 8;
    U8_t temperatureSensors = 4;
    U8_t audibleAlarms = 1;
};

/** The counts of a type. */
consteval ChassisDimensions_t esaDimensionsOf(VORAN_E_CHASSIS_e type) {
    constexpr struct {
        VORAN_E_CHASSIS_e type;
        ChassisDimensions_t dimensions;
    } COUNTS[] = {
#define CHASSIS(number, constant, name, blockName, title, voltage, redundancy, drives, supplies, fans, sensors, ...)   \
    {VORAN_E_CHASSIS_##constant, {5, drives, supplies, fans, sensors, 1}},
#include "chassis_list.def"
    };
    for (const auto& entry : COUNTS) {
        if (entry.type == type) {
            return entry.dimensions;
        }
    }
    return {};
}

struct Chassis_t {
    VORAN_E_CHASSIS_e type = VORAN_E_CHASSIS_NONE;
    const CHAR_t* typeName = nullptr;       /**< name of the type, as traced at start */
    const CHAR_t* initDoneText = nullptr;   /**< traced when init() succeeds; nullptr: nothing is */
    const CHAR_t* initFailedText = nullptr; /**< traced when it does not */

    /** Device addresses that the start-up records in the control block; 0 where there is no such chip. */
    U8_t vsc055Address = 0;
    U8_t lm75Address[3] = {};
    U8_t w83782dAddress = 0;

    ChassisDimensions_t dimensions = {};

    ESA_CODE_e (*init)() = [] { return ESA_E_OK; };
    void (*processPollTimeout)() = [] {};

    /** Supply checks in the order of a poll; a status page takes them from the last to the first. */
    std::span<const SupplyCheck_t> supplyChecks = {};

    /** Whether there are fans and an alarm to look after. */
    bool isManaged = false;
    /** Whether fans sit on backplanes of their own, of which some may be missing. */
    bool mayMissBackplanes = false;

    /** VSC055 tachometers: pulses-per-revolution divisor (0: the chassis has none) and speed configuration. */
    U8_t tachometerDivisor = 0;
    U8_t fanSpeedConfiguration = 0;
    /** RPM of a fan, truncated to 16 bits. `*rpm` is written only when the result is ESA_E_OK. */
    ESA_CODE_e (*fanReadSpeed)(U8_t fan, U16_t* rpm) = [](U8_t, U16_t*) { return ESA_E_GENERR; };
    const FanPolicy_t* fanPolicy = &esaFourStepPolicy;
    /** Fans (or fan groups) that the temperature policy drives; 0 means as many as `coolingMaxNumber`. */
    U8_t policyFanCount = 0;
    /** Load of a fan in percent (25, 50, 75, 100), as the temperature policy commands it. */
    void (*policyLoadPwm)(U8_t fan, U8_t percent) = [](U8_t, U8_t) {};
    /** Fans that one output drives, and its load (100 or 0) as a control page commands it. */
    U8_t fansPerOutput = 1;
    void (*controlLoadPwm)(U8_t output, U8_t load) = [](U8_t, U8_t) {};
    /** Brings a fan-fail LED in line with what the fans show. */
    void (*showFans)(bool healthy) = [](bool) {};
    /** Whether a status page marks fans and sets `fail`; otherwise only a poll does. */
    bool pageMarksFans = false;

    /** Sensors that are read whatever `temperatureSensorMaxNumber` says; 0: as many as that. */
    U8_t sensorCount = 0;
    /** Degrees Celsius of a sensor; ESA_K_TEMPERATURE_NO_READING without a reading. */
    S16_t (*readTemperature)(U8_t sensor) = [](U8_t sensor) { return esaControl.temperatureSensor[sensor]; };
    /** Lines for the readings, one a sensor, once all are read; empty: each is traced by its number as it is read. */
    std::span<const CHAR_t* const> temperatureTexts = {};
    bool pageTracesTemperatures = false; /**< a poll always does */

    /** Whether the composite fault moves the alarm; an enclosure with an alarm controller runs its alarm itself. */
    bool faultMovesAlarm = false;
    void (*setAlarm)(EsaAlarmState_e state) = [](EsaAlarmState_e) {};
    /** What setAlarm() gets for a critical condition of a control page. */
    EsaAlarmState_e criticalAlarmState = ESA_E_ALARM_STATE_FAULT_S1;
    /** Silences the supplies' own alarm as well. */
    void (*silencePowerSupplyAlarm)() = [] {};
    /** Whether the status page shows the alarm as muted; `asked`: the last control page asked for that. */
    bool (*isAlarmMuted)(bool asked) = [](bool) { return esaControl.alarmState == ESA_E_ALARM_STATE_IDLE_S0; };
    /** Last step of a poll: looks after the alarm. */
    S32_t (*pollAlarm)() = [] { return S32_t{0}; };

    /** Fault LED of a drive, 0 when done. */
    S32_t (*setDriveFaultLed)(S32_t drive) = [](S32_t) { return S32_t{0}; };
    S32_t (*clearDriveFaultLed)(S32_t drive) = [](S32_t) { return S32_t{0}; };
    /** For before the start: puts out the fault LEDs that an earlier life may have left lit, all that init() does not.
     */
    void (*putOutDriveLeds)() = [] {};
    /** 0 when the drive is present; slots that cannot be sensed count as occupied. */
    S32_t (*isDrivePresent)(S32_t drive) = [](S32_t) { return S32_t{0}; };
};

/** The rows, in order of their type, and the row of what has none in the table. */
extern const std::span<const Chassis_t* const> chassisTable;
extern const Chassis_t noChassis;

/** The row of a chassis type; `noChassis` for none and for unknown values. */
const Chassis_t& esaFindChassis(VORAN_E_CHASSIS_t type);

/** The row of the chassis in service. */
const Chassis_t& esaChassis();

/** Puts a chassis into service: its type and device addresses go into the control block. */
void esaServeChassis(const Chassis_t& chassis);

/** Takes a chassis' element counts over into the control block. */
void esaSetDimensions(const ChassisDimensions_t& dimensions);

/** Sets the alarm of the chassis in service, where it has one, and remembers the state. */
void esaSetAlarm(EsaAlarmState_e state);
