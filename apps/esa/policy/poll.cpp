#include "policy/poll.h"

#include "policy/chassis.h"
#include "policy/temperatures.h"

S32_t esaPollEnclosure() {
    const Chassis_t& chassis = esaChassis();
    esaPollPowerSupplies();
    esaPollFans();
    esaReadTemperatures(false);
    esaRunFanPolicy(*chassis.fanPolicy);
    esaTemperatureEventLog();
    esaTemperatureOverheatCheck();
    return chassis.pollAlarm();
}
