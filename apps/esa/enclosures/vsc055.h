/**
 * Backplane built on the VSC055 enclosure controller: chassis types 3 and 5. Its chip is the one at the address that
 * the control block holds.
 */
#pragma once

#include "policy/chassis.h"

/** Loads a fan's PWM: 0, 25, 50, 75 or 100 percent; anything else is refused. */
void esaVsc055FanLoadPwm(U8_t fanInx, U8_t pwmPercentage);
/**
 * RPM of a fan, truncated to 16 bits. ESA_E_GENERR without tachometer pulses or on a chassis without tachometers;
 * `*fanRpmSpeedPtr` is written only with ESA_E_OK.
 */
ESA_CODE_e esaVsc055FanReadSpeed(U8_t fanInx, U16_t* fanRpmSpeedPtr);

/** Fault LED of a drive, 0 to `deviceMaxNumber` - 1; ESA_E_GENERR for any other number. */
S32_t esaVsc055SetDriveFaultLED(S32_t driveNumber);
S32_t esaVsc055ClearDriveFaultLED(S32_t driveNumber);
/** ESA_E_OK when the supplies are redundant, ESA_E_GENERR when they are not; otherwise the failed transfer's code. */
ESA_CODE_e esaVsc055ReadPowerRedundancyFailStatus();
/** Sounds the alarm for FAULT_S1, silences it for MUTE_S3; other states change nothing. */
void esaVsc055SetAlarmStateBackplane(EsaAlarmState_e alarmState);
/** Pulses the line that clears a supply's own alarm. */
void esaVsc055ClearAlarmStatePowerSupply();
/** Low eight bits of the stored alarm state; reads no hardware. */
U8_t esaVsc055ReadAlarmState();
ESA_CODE_e esaVsc055Init();
/** Three steps, never below 50 percent and with no regard to fan faults. */
void esaVsc055TemperatureFanPolicy();
void esaVsc055ProcessPollTimeout();

extern const Chassis_t quadraChassis;
extern const Chassis_t vsc055Chassis;
