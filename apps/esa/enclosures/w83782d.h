/** Backplane built on one W83782D hardware monitor: chassis type 6. */
#pragma once

#include "policy/chassis.h"

/** Raw duty (0 to 255, despite the name) of PWM output 0 to 2. */
void esaW83782dFanLoadPwm(U8_t w83782dPwmFanInx, U8_t winbondPwmPercentage);
ESA_CODE_e esaW83782dInit();
void esaW83782dProcessPollTimeout();

extern const Chassis_t w83782dChassis;
