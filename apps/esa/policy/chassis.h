/**
 * The one table of chassis operations. A chassis is a row; whatever the adapter does differently from chassis to
 * chassis it looks up here. An operation that a chassis may lack says so, and is then null.
 *
 * A new chassis is a driver file that ends with its row, and the row's name in chassis_table.cpp.
 */
#pragma once

#include <span>

#include "core/control_block.h"

/** Element counts of a chassis. */
struct ChassisDimensions_t {
    U8_t elementTypes;
    U8_t devices;
    U8_t powerSupplies;
    U8_t coolings;
    U8_t temperatureSensors;
    U8_t audibleAlarms;
};

struct Chassis_t {
    VORAN_E_CHASSIS_e type;
    const CHAR_t* typeName;       /**< name of the type, as traced at start */
    const CHAR_t* initDoneText;   /**< traced when init() succeeds */
    const CHAR_t* initFailedText; /**< traced when it does not */

    /** Device addresses that the start-up records for the shared chip drivers; 0 where there is no such chip. */
    U8_t vsc055Address;
    U8_t lm75Address[3];
    U8_t w83782dAddress;

    ChassisDimensions_t dimensions;

    /** VSC055 tachometers: pulses-per-revolution divisor (0: the chassis has none) and speed configuration. */
    U8_t tachometerDivisor;
    U8_t fanSpeedConfiguration;

    ESA_CODE_e (*init)();
    void (*processPollTimeout)();

    /** RPM of a fan, truncated to 16 bits. `*rpm` is written only when the result is ESA_E_OK. */
    ESA_CODE_e (*fanReadSpeed)(U8_t fan, U16_t* rpm);
    /** Fans (or fan groups) that the temperature policy drives; 0 means as many as `coolingMaxNumber`. */
    U8_t policyFanCount;
    /** Load of a fan in percent (25, 50, 75, 100), as the temperature policy commands it. */
    void (*policyLoadPwm)(U8_t fan, U8_t percent);
    /** Fan on or off, as a control page commands it; records the new state in the control block. */
    void (*controlFan)(U8_t fan, bool on);

    /** Alarm of the composite fault; null where the enclosure runs its alarm itself. */
    void (*setFaultAlarm)(EsaAlarmState_e state);
    /** Alarm as a control page commands it. */
    void (*setAlarm)(EsaAlarmState_e state);
    /** What setAlarm() gets for a critical condition. */
    EsaAlarmState_e criticalAlarmState;
    /** Silences the supplies' own alarm as well; null where they have none. */
    void (*silencePowerSupplyAlarm)();
    /** Whether the status page shows the alarm as muted. */
    bool (*isAlarmMuted)();

    /** Fault LED of a drive, 0 when done; null where the slots have none. */
    S32_t (*setDriveFaultLed)(S32_t drive);
    S32_t (*clearDriveFaultLed)(S32_t drive);
    /** 0 when the drive is present; null where slots cannot be sensed and count as occupied. */
    S32_t (*isDrivePresent)(S32_t drive);

    /** Reads the sensors into `temperatureSensor` for a status page. */
    void (*refreshTemperatures)();
    /**
     * Reads the supplies for one record of the status page: sets `commonStatus`, `acFail` and `fail`, and keeps
     * LEDs and faults in step. Returns whether a remembered supply state changed.
     */
    bool (*fillPowerSupply)(PowerSupplyElementStat_t& status, const PowerSupplyElementCont_t& control);
    /** Marks a fan of the status page good or faulty by its speed; returns whether that changed. Null: no marks. */
    bool (*markCoolingFault)(CoolingElementStat_t& status, U8_t fan, U16_t rpm);
    /** Supply fault indication as a control page commands it. */
    void (*controlPowerSupply)(bool fail);
};

/** The rows, in order of their type. */
extern const std::span<const Chassis_t* const> chassisTable;

/** The row of a chassis type; nullptr for none and for unknown values. */
const Chassis_t* esaFindChassis(VORAN_E_CHASSIS_t type);

/** The row of the chassis in service; nullptr when there is none. */
const Chassis_t* esaChassis();

/** Takes a chassis' element counts over into the control block. */
void esaSetDimensions(const ChassisDimensions_t& dimensions);

/** Records a fan as switched on (100 percent) or off (0 percent). */
void esaRecordFanOnOff(U8_t fan, bool on);
