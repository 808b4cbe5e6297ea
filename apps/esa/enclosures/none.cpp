/** No enclosure, or one of an unknown type: nothing is managed, and the event manager hears of it once. */
#include "policy/chassis.h"
#include "policy/events.h"

namespace {

ESA_CODE_e init() {
    const bool none = esaControl.enclosureType == VORAN_E_CHASSIS_NONE;
    esaSendInformationEvent(none ? EMP_E_TYPE_INFORMATION : EMP_E_TYPE_WARNING, ESA_E_EVENT_INFO_I2C_BUS_FAULT);
    return ESA_E_OK;
}

} // namespace

constexpr Chassis_t noChassis = {
    .typeName = "VORAN_E_CHASSIS_NONE",
    .init = init,
    .isAlarmMuted = [](bool asked) { return asked; },
};
