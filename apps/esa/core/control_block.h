/**
 * The adapter's control block and its enumerations. What is known of the enclosure, of the bus and of messages is in
 * `esaControl`; one thread, no locks, nothing on the heap.
 */
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include "esa_evl.h"
#include "mmsg.h"
#include "mpu_gbl.h"
#include "ses_mesgs.h"

/** Result of every hardware operation and health check. */
enum ESA_CODE_e : S32_t {
    ESA_E_OK = 0,                     /**< healthy */
    ESA_E_GENERR_I2C_UNAVAILABLE = 1, /**< the bus is marked unusable; nothing was transferred */
    ESA_E_GENERR = -1,                /**< faulty, or the transfer failed */
};

/** Per-fan state in `coolingElementOnOff`. */
enum EsaFanOnOff_e : U8_t { ESA_E_FAN_NOT_AVAILABLE = 0, ESA_E_FAN_OFF = 1, ESA_E_FAN_ON = 2 };

/** Values of `alarmState`. */
enum EsaAlarmState_e : U32_t {
    ESA_E_ALARM_STATE_IDLE_S0 = 0,
    ESA_E_ALARM_STATE_FAULT_S1 = 1,
    ESA_E_ALARM_STATE_REMIND_S2 = 2,
    ESA_E_ALARM_STATE_MUTE_S3 = 3,
    ESA_E_ALARM_STATE_CRITICAL_S4 = 4,
    ESA_E_ALARM_STATE_S5 = 5,
    ESA_E_ALARM_STATE_S6 = 6,
    ESA_E_ALARM_STATE_S7 = 7,
};

/** Bits of `compositeFaultStatus`: the causes, and whether the composite fault LED was asked on. */
inline constexpr U32_t ESA_K_FAULT_POWER_SUPPLY_VOLTAGE_TOLERANCE = 0x1;
inline constexpr U32_t ESA_K_FAULT_POWER_SUPPLY_REDUNDANCY = 0x2;
inline constexpr U32_t ESA_K_FAULT_FAN = 0x4;
inline constexpr U32_t ESA_K_FAULT_TEMPERATURE_OVERHEAT = 0x8;
inline constexpr U32_t ESA_K_FAULT_I2C_BUS_FAULT = 0x10;
inline constexpr U32_t ESA_K_FAULT_CAUSES = 0x1F;
inline constexpr U32_t ESA_K_FAULT_LED_ON = 0x80000000;

/** Bits of `powerSupplyStatus`. */
inline constexpr U32_t ESA_K_POWER_VOLTAGE_OK = 0x1;
inline constexpr U32_t ESA_K_POWER_REDUNDANCY_OK = 0x2;
inline constexpr U32_t ESA_K_POWER_FAULT_INDICATION_OFF = 0x4; /**< as last commanded by a control page */

/** A temperature that is no reading: the sensor is absent or did not answer. */
inline constexpr S16_t ESA_K_TEMPERATURE_NO_READING = 32767;

/** From one poll to the next, less a pass of the main loop. */
inline constexpr MPU_TIME_t ESA_K_POLL_TIMEOUT = {10, 0};

/** Greatest element counts; the arrays of the control block have these lengths. */
inline constexpr U8_t ESA_K_MAX_DEVICES = 16;
inline constexpr U8_t ESA_K_MAX_POWER_SUPPLIES = 3;
inline constexpr U8_t ESA_K_MAX_FANS = 8;
inline constexpr U8_t ESA_K_MAX_TEMPERATURE_SENSORS = 4;
inline constexpr U8_t ESA_K_MAX_ALARMS = 1;
inline constexpr U8_t ESA_K_MAX_BACKPLANES = 4;

/** Shadow of one W83782D's writable registers. The PWM fields stand in the order 2, 1, 3, 4. */
struct WinbondControl_s {
    U8_t vcoreaHighLimitRegister;
    U8_t vcoreaLowLimitRegister;
    U8_t vinr0HighLimitRegister;
    U8_t vinr0LowLimitRegister;
    U8_t positive3_3VinHighLimitRegister;
    U8_t positive3_3VinLowLimitRegister;
    U8_t positive5VinHighLimitRegister;
    U8_t positive5VinLowLimitRegister;
    U8_t positive12VinHighLimitRegister;
    U8_t positive12VinLowLimitRegister;
    U8_t negative12VinHighLimitRegister;
    U8_t negative12VinLowLimitRegister;
    U8_t negative5VinHighLimitRegister;
    U8_t negative5VinLowLimitRegister;
    U8_t temperatureSensor1HighLimitRegister;
    U8_t temperatureSensor1HysteresisRegister;
    U8_t configurationRegister;
    U8_t serialBusAddressRegister;
    U8_t fanInOutBeepGpoRegister;
    U8_t pwmOut2ControlRegister;
    U8_t pwmOut1ControlRegister;
    U8_t pwmOut3ControlRegister;
    U8_t pwmOut4ControlRegister;
};
using WinbondControl_t = WinbondControl_s;
static_assert(sizeof(WinbondControl_t) == 23);

/** The control block. "Overall" words are SES overall elements kept as one host word. */
struct EsaControl_t {
    S32_t socketFdMSM; /**< stream socket to the message switch */
    sockaddr_un socketAddressMSM;
    S32_t i2cFileFd;
    VORAN_E_CHASSIS_t enclosureType; /**< names the row of the chassis table in service */
    U8_t i2cAddressVsc055;           /**< 7-bit device addresses, here and below */
    U8_t i2cAddressLM75[ESA_K_MAX_TEMPERATURE_SENSORS];
    U8_t i2cAddressW83782d;
    U8_t elementTypeMaxNumber;
    U8_t deviceMaxNumber;
    U8_t powerSupplyMaxNumber;
    U8_t coolingMaxNumber;
    U8_t temperatureSensorMaxNumber;
    U8_t audibleAlarmMaxNumber;
    U8_t i2cConnected; /**< 0 keeps every transfer from the bus and the poll from running */
    U8_t pageCodeInRecentSndDiagCmd;
    U8_t sesTypeDescriptorList[5];
    U32_t deviceElementControlOverall;
    DeviceElementCont_t deviceElementControl[ESA_K_MAX_DEVICES];
    U32_t deviceElementStatusOverall;
    DeviceElementStat_t deviceElementStatus[ESA_K_MAX_DEVICES];
    U32_t driveFaultLedStatus0; /**< bit d: fault LED of drive d was commanded on */
    U32_t driveFaultLedStatus1;
    U32_t powerSupplyElementControlOverall;
    PowerSupplyElementCont_t powerSupplyElementControl[ESA_K_MAX_POWER_SUPPLIES];
    U32_t powerSupplyElementStatusOverall;
    PowerSupplyElementStat_t powerSupplyElementStatus[ESA_K_MAX_POWER_SUPPLIES];
    U32_t powerSupplyStatus; /**< ESA_K_POWER_... */
    U32_t coolingElementControlOverall;
    CoolingElementCont_t coolingElementControl[ESA_K_MAX_FANS];
    U32_t coolingElementStatusOverall;
    CoolingElementStat_t coolingElementStatus[ESA_K_MAX_FANS];
    U8_t coolingElementOnOff[ESA_K_MAX_FANS]; /**< EsaFanOnOff_e */
    U32_t fanFaultStatus;                     /**< bit i: fan i is marked faulty */
    U32_t fanFaultRpmLimit;                   /**< RPM */
    U8_t fanPwmLoad[ESA_K_MAX_FANS];          /**< percent last commanded */
    U32_t temperatureSensorElementControlOverall;
    TemperatureSensorElementCont_t temperatureSensorElementControl[ESA_K_MAX_TEMPERATURE_SENSORS];
    U32_t temperatureSensorElementStatusOverall;
    TemperatureSensorElementStat_t temperatureSensorElementStatus[ESA_K_MAX_TEMPERATURE_SENSORS];
    S16_t temperatureSensor[ESA_K_MAX_TEMPERATURE_SENSORS];       /**< degrees Celsius */
    U32_t temperatureReportStatus[ESA_K_MAX_TEMPERATURE_SENSORS]; /**< band last reported */
    S16_t temperatureSensorAverage;                               /**< degrees Celsius */
    U32_t audibleAlarmElementControlOverall;
    AudibleAlarmElementCont_t audibleAlarmElementControl[ESA_K_MAX_ALARMS];
    U32_t audibleAlarmElementStatusOverall;
    AudibleAlarmElementStat_t audibleAlarmElementStatus[ESA_K_MAX_ALARMS];
    U32_t alarmState;           /**< EsaAlarmState_e last set or read */
    U32_t compositeFaultStatus; /**< ESA_K_FAULT_... */
    U8_t esaDebug;
    U8_t esaInMsg[MMSG_K_MAX_SIZE];     /**< the message being handled */
    U8_t esaWorkSpace[MMSG_K_MAX_SIZE]; /**< the message being built */
    VitesseControl_t vitesse;
    WinbondControl_t winbond[ESA_K_MAX_BACKPLANES];
    MPU_TIME_t selectTimeout; /**< longest wait for input */
    MPU_TIME_t pollTimeout;   /**< what is left until the next hardware poll */
};

extern EsaControl_t esaControl;
/** The attached parameter block; other processes change its flags while it is attached. */
extern const MPU_PARAMS_t* oMpuParams;
/** Key of the parameter block, as given on the command line. */
extern int shmKey;
/** Last component of argv[0]. */
extern const CHAR_t* ProgName;
