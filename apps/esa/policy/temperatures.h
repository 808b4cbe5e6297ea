/** Temperatures: readings, their average, the bands that are reported, overheating. */
#pragma once

#include "core/control_block.h"

/** Reads every sensor; the status page's reading is traced on some chassis only. */
void esaReadTemperatures(bool forPage);

/**
 * Averages the sensors that gave a reading; false, with nothing changed, when none did. The sum is kept in 16 bits
 * like the average: at most four sane readings fit.
 */
bool esaAverageTemperature();

/** Reports each sensor that has entered another temperature band since it was last reported. */
void esaTemperatureEventLog();

/**
 * An average above 60 degrees Celsius sets the overheat fault and asks Startup for an orderly shutdown, on every
 * poll for as long as it lasts; otherwise the fault is cleared. Returns the result of the last message.
 */
S32_t esaTemperatureOverheatCheck();
