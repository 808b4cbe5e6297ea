/** Events of the enclosure services adapter: identifiers and the records that follow the event-log header. */
#pragma once

#include "emp_mesgs.h"
#include "mmsg.h"
#include "ses_mesgs.h"

/** EmpEvLogHeader_t::evIdVersion of the adapter's events. */
inline constexpr U8_t ESA_K_EVENT_VERSION = 1;

/** EmpEvLogHeader_t::evId of the adapter's events. */
enum ESA_EV_ID_e : U16_t {
    ESA_E_ID_ES_ADAPTERMP_BUGCHECK_ERROR_MSG = 1,
    ESA_E_ID_ES_ADAPTERMP_BUGCHECK_INFO = 2,
    ESA_E_ID_ES_ADAPTERMP_BUGCHECK_MSG_BUFFER = 3,
    ESA_E_ID_ES_ADAPTERMP_BUGCHECK_WORKSPACE_BUFFER = 4,
    ESA_E_ID_ES_ADAPTERMP_DRIVE_FAULT_LED_STATUS = 5,
    ESA_E_ID_ES_ADAPTERMP_POWER_SUPPLY_STATUS = 6,
    ESA_E_ID_ES_ADAPTERMP_FAN_FAULT_STATUS = 7,
    ESA_E_ID_ES_ADAPTERMP_TEMPERATURE_SENSOR_STATUS = 8,
    ESA_E_ID_ES_ADAPTERMP_ALARM_STATUS = 9,
    ESA_E_ID_ES_ADAPTERMP_INFORMATION = 10,
};

/** EsaEventData_t::temperatureStatus: the band that a sensor has entered. */
enum EsaEventTemperatureState_e : U32_t {
    ESA_E_EVENT_TEMPERATURE_BELOW_35_DEGREES = 1,
    ESA_E_EVENT_TEMPERATURE_OVER_35_DEGREES = 2,
    ESA_E_EVENT_TEMPERATURE_OVER_45_DEGREES = 3,
    ESA_E_EVENT_TEMPERATURE_OVER_55_DEGREES = 4,
};

/** EsaEventData_t::information. */
enum EsaEventInfo_e : U32_t {
    ESA_E_EVENT_INFO_REQUEST_ORDERLY_SHUTDOWN = 1,
    ESA_E_EVENT_INFO_I2C_BUS_FAULT = 2,
};

/** Body of events 5 to 10; each event fills the fields that belong to it and leaves the rest zero. */
struct EsaEventData_t {
    U8_t enclosureType; /**< VORAN_E_CHASSIS_e */
    U8_t padding1[3];
    be32_t numberOfDrive;
    be32_t numberOfPowerSupply;
    be32_t numberOfFan;
    be32_t numberOfTemperatureSensor;
    be32_t numberOfAlarm;
    be32_t driveFaultLedStatus0;
    be32_t driveFaultLedStatus1;
    be32_t powerSupplyStatus;
    be32_t fanFaultStatus;
    be32_t temperatureStatus;         /**< EsaEventTemperatureState_e */
    be32_t temperatureSensorPosition; /**< sensor index from 0 */
    be16_t temperature;               /**< degrees Celsius, two's complement */
    U8_t padding50[2];
    be32_t alarmState;  /**< EsaAlarmState_e */
    be32_t information; /**< EsaEventInfo_e */
    be32_t reserved1;
    be32_t reserved2;
    be32_t reserved3;
    be32_t reserved4;
    be32_t reserved5;
    be32_t reserved6;
};
WIRE_RECORD(EsaEventData_t, 84);
WIRE_OFFSET(EsaEventData_t, numberOfDrive, 4);
WIRE_OFFSET(EsaEventData_t, alarmState, 52);

struct EsaEvent_t {
    EmpEvLogHeader_t evLogHeader;
    EsaEventData_t evData;
};
WIRE_RECORD(EsaEvent_t, 236);

/** Body of event 1: where and why the critical-error handler was called. Texts are cut, not terminated. */
struct EsaErrorMsg_t {
    U8_t esaFileName[64];
    U8_t esaFunctionName[64];
    be32_t esaLineNumber;
    U8_t esaErrorMsg[64];
};
WIRE_RECORD(EsaErrorMsg_t, 196);

/** A UNIX-domain socket address as it travels: 16-bit family and 108 characters of path. */
struct EsaSocketAddress_t {
    be16_t family;
    CHAR_t path[108];
};
WIRE_RECORD(EsaSocketAddress_t, 110);

struct EsaTime_t {
    be32_t sec;
    be32_t usec;
};
WIRE_RECORD(EsaTime_t, 8);

/** Shadow copies of the VSC055's register banks, one byte a port or fan. */
struct VitesseControl_t {
    U8_t vsc055GPD[8];  /**< port data */
    U8_t vsc055DDP[8];  /**< port data direction */
    U8_t vsc055FSC[8];  /**< fan speed configuration */
    U8_t vsc055PWMC[8]; /**< PWM control */
};
WIRE_RECORD(VitesseControl_t, 32);

/** Body of event 2: a snapshot of the adapter's control block. */
struct EsaInfo_t {
    be32_t socketFdMSM;
    EsaSocketAddress_t socketAddressMSM;
    U8_t padding114[2];
    be32_t i2cFileFd;
    U8_t enclosureType;
    U8_t elementTypeMaxNumber;
    U8_t deviceMaxNumber;
    U8_t powerSupplyMaxNumber;
    U8_t coolingMaxNumber;
    U8_t temperatureSensorMaxNumber;
    U8_t audibleAlarmMaxNumber;
    U8_t pageCodeInRecentSndDiagCmd;
    U8_t sesTypeDescriptorList[5];
    U8_t padding133[3];
    be32_t deviceElementControlOverall;
    DeviceElementCont_t deviceElementControl[16];
    be32_t deviceElementStatusOverall;
    DeviceElementStat_t deviceElementStatus[16];
    be32_t driveFaultLedStatus0;
    be32_t driveFaultLedStatus1;
    be32_t powerSupplyElementControlOverall;
    PowerSupplyElementCont_t powerSupplyElementControl[3];
    be32_t powerSupplyElementStatusOverall;
    PowerSupplyElementStat_t powerSupplyElementStatus[3];
    be32_t powerSupplyStatus;
    be32_t coolingElementControlOverall;
    CoolingElementCont_t coolingElementControl[8];
    be32_t coolingElementStatusOverall;
    CoolingElementStat_t coolingElementStatus[8];
    U8_t coolingElementOnOff[8];
    be32_t fanFaultStatus;
    be16_t temperatureSensor[4];
    be32_t temperatureReportStatus[4];
    be32_t audibleAlarmElementControlOverall;
    AudibleAlarmElementCont_t audibleAlarmElementControl[1];
    be32_t audibleAlarmElementStatusOverall;
    AudibleAlarmElementStat_t audibleAlarmElementStatus[1];
    be32_t alarmState;
    be32_t compositeFaultStatus;
    U8_t esaDebug;
    VitesseControl_t vitesse;
    U8_t padding481[3];
    EsaTime_t selectTimeout;
    EsaTime_t pollTimeout;
};
WIRE_RECORD(EsaInfo_t, 500);
WIRE_OFFSET(EsaInfo_t, i2cFileFd, 116);
WIRE_OFFSET(EsaInfo_t, sesTypeDescriptorList, 128);
WIRE_OFFSET(EsaInfo_t, deviceElementControlOverall, 136);
WIRE_OFFSET(EsaInfo_t, driveFaultLedStatus0, 272);
WIRE_OFFSET(EsaInfo_t, powerSupplyStatus, 312);
WIRE_OFFSET(EsaInfo_t, coolingElementOnOff, 388);
WIRE_OFFSET(EsaInfo_t, temperatureSensor, 400);
WIRE_OFFSET(EsaInfo_t, audibleAlarmElementControlOverall, 424);
WIRE_OFFSET(EsaInfo_t, esaDebug, 448);
WIRE_OFFSET(EsaInfo_t, vitesse, 449);
WIRE_OFFSET(EsaInfo_t, selectTimeout, 484);
WIRE_OFFSET(EsaInfo_t, pollTimeout, 492);
