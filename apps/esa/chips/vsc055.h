/**
 * VSC055: enclosure controller with eight 8-bit ports, fan tachometers and PWM outputs. `address` is its 7-bit device
 * address; the shadows of its registers are those of the control block.
 */
#pragma once

#include "core/control_block.h"

inline constexpr U8_t ESA_K_VSC055_PORTS = 8;

/** Whether the chip answers; marks the bus usable when it does. */
bool vsc055Probe(U8_t address);

/** Sets or clears bits of a port's shadow, without writing the port. */
void vsc055ChangeShadow(U8_t port, U8_t bits, bool set);
/** Writes a port's shadow to its own data register; the result of the transfer is dropped, here and below. */
void vsc055WritePort(U8_t address, U8_t port);
/** Sets or clears bits of a port. */
void vsc055DrivePort(U8_t address, U8_t port, U8_t bits, bool set);
/** Puts a value on a port. */
void vsc055SetPort(U8_t address, U8_t port, U8_t value);
/** Reads a port's inputs. */
ESA_CODE_e vsc055ReadPort(U8_t address, U8_t port, U8_t* value);
/**
 * ESA_E_OK when all of `bits` of a port's inputs are 1, ESA_E_GENERR when not, or the failed read's code. Traces the
 * text of the outcome, where there is one.
 */
ESA_CODE_e vsc055CheckInput(U8_t address, U8_t port, U8_t bits, const CHAR_t* goodText, const CHAR_t* badText);
/** Writes and reads back the data direction of every port; a failed read-back ends it and is returned. */
ESA_CODE_e vsc055SetupDataDirections(U8_t address, const U8_t (&directions)[ESA_K_VSC055_PORTS]);

/** Stores and writes the speed configuration of a fan. `text` is traced with fan and value. */
void vsc055ConfigureFanSpeed(U8_t address, U8_t fan, U8_t value, const CHAR_t* text);
/** Loads a fan's PWM: 0, 25, 50, 75 or 100 percent; anything else is refused. */
void vsc055FanLoadPwm(U8_t address, U8_t fan, U8_t percent);
/**
 * RPM of a fan whose tachometer's pulses are divided by `divisor` (1 or more), truncated to 16 bits. ESA_E_GENERR
 * without pulses, or the failed read's code; `*rpm` is then not written.
 */
ESA_CODE_e vsc055FanReadSpeed(U8_t address, U8_t divisor, U8_t fan, U16_t* rpm);
