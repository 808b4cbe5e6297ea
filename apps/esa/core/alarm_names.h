/** Names of the alarm states in the trace log. */
#pragma once

#include "core/control_block.h"

/** What the states above CRITICAL_S4 are called: the backplanes' texts and those of an alarm read back differ. */
enum EsaAlarmNames_e : U8_t {
    ESA_E_ALARM_NAMES_STATE,
    ESA_E_ALARM_NAMES_INVALID,
};

/** Traces `text` with the name of alarm state 0 to 7 behind it, or with the number of any other. */
void esaTraceAlarmState(const CHAR_t* text, U32_t state, EsaAlarmNames_e names);
