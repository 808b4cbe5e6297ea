/** Backplane built on one W83782D hardware monitor: chassis type 6. */
#pragma once

#include "policy/chassis.h"

enum EsaW83782dPwmFanIndex_e : U8_t {
    ESA_E_W83782D_PWM_FAN_INDEX_0 = 0,
    ESA_E_W83782D_PWM_FAN_INDEX_1 = 1,
    ESA_E_W83782D_PWM_FAN_INDEX_2 = 2,
};

enum EsaW83782dReadFanIndex_e : U8_t {
    ESA_E_W83782D_READ_FAN_INDEX_0 = 0,
    ESA_E_W83782D_READ_FAN_INDEX_1 = 1,
    ESA_E_W83782D_READ_FAN_INDEX_2 = 2,
};

/** Raw duty (0 to 255, despite the name) of PWM output 0 to 2. */
void esaW83782dFanLoadPwm(U8_t w83782dPwmFanInx, U8_t winbondPwmPercentage);
ESA_CODE_e esaW83782dInit();
void esaW83782dProcessPollTimeout();

extern const Chassis_t w83782dChassis;
