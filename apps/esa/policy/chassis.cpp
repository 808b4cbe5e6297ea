#include "policy/chassis.h"

const Chassis_t* esaFindChassis(VORAN_E_CHASSIS_t type) {
    for (const Chassis_t* chassis : chassisTable) {
        if (chassis->type == type) {
            return chassis;
        }
    }
    return nullptr;
}

const Chassis_t* esaChassis() {
    return esaFindChassis(esaControl.enclosureType);
}

void esaSetDimensions(const ChassisDimensions_t& dimensions) {
    esaControl.elementTypeMaxNumber = dimensions.elementTypes;
    esaControl.deviceMaxNumber = dimensions.devices;
    esaControl.powerSupplyMaxNumber = dimensions.powerSupplies;
    esaControl.coolingMaxNumber = dimensions.coolings;
    esaControl.temperatureSensorMaxNumber = dimensions.temperatureSensors;
    esaControl.audibleAlarmMaxNumber = dimensions.audibleAlarms;
}

void esaRecordFanOnOff(U8_t fan, bool on) {
    if (fan < ESA_K_MAX_FANS) {
        esaControl.fanPwmLoad[fan] = on ? 100 : 0;
        esaControl.coolingElementOnOff[fan] = on ? ESA_E_FAN_ON : ESA_E_FAN_OFF;
    }
}
