/** Xyratex 2U12 enclosure: chassis type 2. */
#pragma once

#include "policy/chassis.h"

/** Temperature sensors by their place in the enclosure. */
inline constexpr U8_t ESA_K_TEMPERATURE_SENSOR_LHS = 0;
inline constexpr U8_t ESA_K_TEMPERATURE_SENSOR_RHS = 1;

enum EsaXyratexFanNumber_e : U8_t { ESA_E_XYRATEX_FRONT_FANS = 0, ESA_E_XYRATEX_BACK_FANS = 1 };

/** Alarm codes of the Xyratex enclosure's own alarm controller. */
enum EsaXyratexAlarmState_e : U32_t {
    ESA_E_XYRATEX_ALARM_STATE_IDLE_S0 = 0,
    ESA_E_XYRATEX_ALARM_STATE_FAULT_S1 = 1,
    ESA_E_XYRATEX_ALARM_STATE_REMIND_S2 = 2,
    ESA_E_XYRATEX_ALARM_STATE_MUTE_S3 = 3,
    ESA_E_XYRATEX_ALARM_STATE_CRITICAL_S4 = 4,
    ESA_E_XYRATEX_ALARM_STATE_INVALID_S5 = 5,
    ESA_E_XYRATEX_ALARM_STATE_INVALID_S6 = 6,
    ESA_E_XYRATEX_ALARM_STATE_INVALID_S7 = 7,
};

ESA_CODE_e xyratexInit();

/** Fault LED of drive 0 to 11; ESA_E_GENERR for any other number. */
S32_t xyratexSetDriveFaultLED(S32_t drive);
S32_t xyratexClearDriveFaultLED(S32_t drive);
/** 0 when the drive is present, -1 when it is not or there is no such slot; otherwise the failed transfer's code. */
S32_t xyratexIsDrivePresent(S32_t drive);
/** Traces the presence of every drive; the failed transfer's code when a port cannot be read. */
ESA_CODE_e xyratexReadDrivePresence();

/** ESA_E_OK or ESA_E_GENERR by the supplies' inputs; otherwise the failed transfer's code. */
ESA_CODE_e xyratexReadPowerVoltageStatus();
ESA_CODE_e xyratexReadPowerRedundancyFailStatus();

/** Puts a state into the alarm controller; states above 7 are refused. */
void xyratexSetAlarmState(U32_t state);
/** State of the alarm controller, 0 to 7; a bit that cannot be read counts as 0. */
U32_t xyratexReadAlarmstate();

void xyratexSetPsuOkLED();
void xyratexClearPsuOkLED();
void xyratexSetPowerRedundancyFailLED();
void xyratexClearPowerRedundancyFailLED();
void xyratexSetFanFailLED();
void xyratexClearFanFailLED();

/** The poll. Returns the result of the alarm event it sent, or the alarm state when that has not changed. */
S32_t xyratexEsaProcessPollTimeout();

extern const Chassis_t xyratexChassis;
