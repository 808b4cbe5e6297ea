#include "policy/chassis.h"

#include <cstring>

const Chassis_t& esaFindChassis(VORAN_E_CHASSIS_t type) {
    for (const Chassis_t* chassis : chassisTable) {
        if (chassis->type == type) {
            return *chassis;
        }
    }
    return noChassis;
}

const Chassis_t& esaChassis() {
    return esaFindChassis(esaControl.enclosureType);
}

void esaServeChassis(const Chassis_t& chassis) {
    esaControl.enclosureType = chassis.type;
    esaControl.i2cAddressVsc055 = chassis.vsc055Address;
    std::memcpy(esaControl.i2cAddressLM75, chassis.lm75Address, sizeof(chassis.lm75Address));
    esaControl.i2cAddressW83782d = chassis.w83782dAddress;
}

void esaSetDimensions(const ChassisDimensions_t& dimensions) {
    esaControl.elementTypeMaxNumber = dimensions.elementTypes;
    esaControl.deviceMaxNumber = dimensions.devices;
    esaControl.powerSupplyMaxNumber = dimensions.powerSupplies;
    esaControl.coolingMaxNumber = dimensions.coolings;
    esaControl.temperatureSensorMaxNumber = dimensions.temperatureSensors;
    esaControl.audibleAlarmMaxNumber = dimensions.audibleAlarms;
}

void esaSetAlarm(EsaAlarmState_e state) {
    if (const Chassis_t& chassis = esaChassis(); chassis.isManaged) {
        chassis.setAlarm(state);
        esaControl.alarmState = state;
    }
}
