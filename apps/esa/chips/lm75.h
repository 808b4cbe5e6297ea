/** LM75 temperature sensor. */
#pragma once

#include "core/control_block.h"

/** Degrees Celsius, truncated toward zero; ESA_K_TEMPERATURE_NO_READING when the sensor does not answer. */
S16_t lm75ReadTemperature(U8_t i2cAddr);
