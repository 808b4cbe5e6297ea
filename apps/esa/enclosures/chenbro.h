/** Chenbro 3U16 enclosure: chassis type 4. */
#pragma once

#include "policy/chassis.h"

enum EsaChenbroFanIndex_e : U8_t {
    ESA_E_CHENBRO_FAN_INDEX_0 = 0,
    ESA_E_CHENBRO_FAN_INDEX_1 = 1,
    ESA_E_CHENBRO_FAN_INDEX_2 = 2,
    ESA_E_CHENBRO_FAN_INDEX_3 = 3,
    ESA_E_CHENBRO_FAN_INDEX_4 = 4,
    ESA_E_CHENBRO_FAN_INDEX_5 = 5,
    ESA_E_CHENBRO_FAN_INDEX_6 = 6,
    ESA_E_CHENBRO_FAN_INDEX_7 = 7,
};

enum EsaChenbroWinbondBackplaneIndex_e : U8_t {
    ESA_E_CHENBRO_WINBOND_BACKPLANE_INDEX_0 = 0,
    ESA_E_CHENBRO_WINBOND_BACKPLANE_INDEX_1 = 1,
    ESA_E_CHENBRO_WINBOND_BACKPLANE_INDEX_2 = 2,
    ESA_E_CHENBRO_WINBOND_BACKPLANE_INDEX_3 = 3,
};

/** ESA_E_OK when the voltages of all four backplanes are within tolerance, ESA_E_GENERR at the first that is not. */
ESA_CODE_e chenbroReadPowerVoltageToleranceStatus();
/** RPM of fan 0 to 5, truncated to 16 bits; every failure is ESA_E_GENERR and leaves `*fanRpmSpeedPtr` unwritten. */
ESA_CODE_e chenbroW83782dFanReadSpeed(S32_t chenbroFanInx, U16_t* fanRpmSpeedPtr);
/** Loads a fan's PWM: 0, 25, 50, 75 or 100 percent of fan 0 to 5; anything else is refused. */
void chenbroW83782dFanLoadPwm(U8_t chenbroFanInx, U8_t esaPwmPercentage);
/** Sets the alarm of every backplane. */
void chenbroSetAlarmState(EsaAlarmState_e alarmState);
/** Traces the registers of all chips and takes over their configuration; the first failed read ends it. */
void chenbroReadWinbondRegisters();
ESA_CODE_e chenbroInit();
void chenbroEsaProcessPollTimeout();

extern const Chassis_t chenbroChassis;
