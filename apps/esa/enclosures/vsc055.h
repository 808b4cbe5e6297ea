/**
 * VSC055 enclosure controller: the chip, which the Xyratex enclosure has as well, and the backplane of chassis types
 * 3 and 5.
 */
#pragma once

#include "policy/chassis.h"

/* The chip. `address` is its 7-bit device address; the shadow registers are those of the control block. */

inline constexpr U8_t VSC055_K_PORTS = 8;
/** Register that the initialisers read to see whether the chip is there. */
inline constexpr U8_t VSC055_K_DDP0_REG = 0x10;

/** Writes a port's shadow to its own data register; the result of the transfer is dropped. */
void vsc055WritePort(U8_t address, U8_t port);
/** Reads a port's inputs. */
ESA_CODE_e vsc055ReadPort(U8_t address, U8_t port, U8_t* value);
/** Writes and reads back the data direction of every port; a failed read-back ends it and is returned. */
ESA_CODE_e vsc055SetupDataDirections(U8_t address);
/** Stores and writes the speed configuration of a fan. `text` is traced with fan and value. */
void vsc055ConfigureFanSpeed(U8_t address, U8_t fan, U8_t value, const CHAR_t* text);
/** Whether the chip answers; reports the bus fault when it does not. */
bool vsc055Probe(U8_t address);

/** Loads a fan's PWM: 0, 25, 50, 75 or 100 percent; anything else is refused. */
void esaVsc055FanLoadPwm(U8_t fanInx, U8_t pwmPercentage);
/**
 * RPM of a fan, truncated to 16 bits. ESA_E_GENERR without tachometer pulses or on a chassis without tachometers;
 * `*fanRpmSpeedPtr` is written only with ESA_E_OK.
 */
ESA_CODE_e esaVsc055FanReadSpeed(U8_t fanInx, U16_t* fanRpmSpeedPtr);

/* The backplane. */

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
void esaVsc055ProcessPollTimeout();

extern const Chassis_t quadraChassis;
extern const Chassis_t vsc055Chassis;
