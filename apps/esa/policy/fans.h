/** Once per poll: is each fan healthy, how hard is it driven, is the enclosure too hot. */
#pragma once

#include "core/control_block.h"

/**
 * Reads every tachometer and marks fans below `fanFaultRpmLimit` faulty; a fan that cannot be read counts as
 * stopped. A change of any mark sends one event. ESA_E_OK when all are healthy; ESA_E_GENERR otherwise, and for an
 * unknown chassis.
 */
S32_t esaReadFanFailStatus();

/** Drives the fans by the average temperature in four steps; any fan fault drives all of them at 100 percent. */
void esaTemperatureFanPolicy();

/** The VSC055 backplane's policy: three steps, never below 50 percent, and no regard to fan faults. */
void esaVsc055TemperatureFanPolicy();

/**
 * An average above 60 degrees Celsius sets the overheat fault and asks Startup for an orderly shutdown, on every
 * poll for as long as it lasts; otherwise the fault is cleared. Returns the result of the last message.
 */
S32_t esaTemperatureOverheatCheck();
