#include "core/alarm_names.h"

#include <iterator>

#include "core/operation.h"

namespace {

/** Log scanners look for "IDEL". */
constexpr const CHAR_t* NAMES[][ESA_E_ALARM_STATE_S7 + 1] = {
    {"IDEL_S0", "FAULT_S1", "REMIND_S2", "MUTE_S3", "CRITICAL_S4", "STATE_S5", "STATE_S6", "STATE_S7"},
    {"IDEL_S0", "FAULT_S1", "REMIND_S2", "MUTE_S3", "CRITICAL_S4", "INVALID_S5", "INVALID_S6", "INVALID_S7"},
};

} // namespace

void esaTraceAlarmState(const CHAR_t* text, U32_t state, EsaAlarmNames_e names) {
    if (state < std::size(NAMES[names])) {
        ESA_TRACE("%s [%s].", text, NAMES[names][state]);
    } else {
        ESA_TRACE("%s un-supported value [%d].", text, state);
    }
}
