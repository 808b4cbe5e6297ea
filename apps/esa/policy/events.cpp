#include "policy/events.h"

#include "core/fault.h"
#include "core/operation.h"
#include "core/outgoing.h"

namespace {

constexpr U16_t EVENT_MMSG_LENGTH = 300;
static_assert(sizeof(MMCH_t) + sizeof(EsaEvent_t) == EVENT_MMSG_LENGTH);

EsaEventData_t startEvent() {
    EsaEventData_t data = {};
    data.enclosureType = esaControl.enclosureType;
    return data;
}

} // namespace

S32_t esaSendEventMmsgToEmp(U16_t eventId, U8_t eventType, const EsaEventData_t* eventDataPtr) {
    ESA_OPERATION();
    MMSG_t& mmsg = esaStartMmsg(MMSG_E_PROTOCOL_EVENTMGR, EMP_E_MSGS_LOG, MMSG_E_EPID_EVENTLOGMP);
    mmsg.mmch.mmsg_length = EVENT_MMSG_LENGTH;
    auto& event = wireAt<EsaEvent_t>(static_cast<void*>(esaControl.esaWorkSpace + MMSG_K_HEADER_SIZE));
    wireClear(event);
    event.evLogHeader.evType = eventType;
    event.evLogHeader.evCategory = EMP_E_CATEGORY_ENVIRONMENTAL;
    event.evLogHeader.evIdVersion = ESA_K_EVENT_VERSION;
    event.evLogHeader.evId = eventId;
    event.evData = *eventDataPtr;
    return esaSendMmsg(ESA_CALL_SITE("esaSendEventMmsgToEmp()"));
}

S32_t esaSendDriveFaultLedEvent(EMP_TYPE_e eventType) {
    EsaEventData_t data = startEvent();
    data.numberOfDrive = esaControl.deviceMaxNumber;
    data.driveFaultLedStatus0 = esaControl.driveFaultLedStatus0;
    return esaSendEventMmsgToEmp(ESA_E_ID_ES_ADAPTERMP_DRIVE_FAULT_LED_STATUS, eventType, &data);
}

S32_t esaSendPowerSupplyEvent(EMP_TYPE_e eventType) {
    EsaEventData_t data = startEvent();
    data.numberOfPowerSupply = esaControl.powerSupplyMaxNumber;
    data.powerSupplyStatus = esaControl.powerSupplyStatus;
    return esaSendEventMmsgToEmp(ESA_E_ID_ES_ADAPTERMP_POWER_SUPPLY_STATUS, eventType, &data);
}

S32_t esaSendFanFaultEvent(EMP_TYPE_e eventType) {
    EsaEventData_t data = startEvent();
    data.numberOfFan = esaControl.coolingMaxNumber;
    data.fanFaultStatus = esaControl.fanFaultStatus;
    return esaSendEventMmsgToEmp(ESA_E_ID_ES_ADAPTERMP_FAN_FAULT_STATUS, eventType, &data);
}

S32_t esaSendTemperatureEvent(EMP_TYPE_e eventType, U8_t sensor, EsaEventTemperatureState_e state) {
    EsaEventData_t data = startEvent();
    data.numberOfTemperatureSensor = esaControl.temperatureSensorMaxNumber;
    data.temperatureStatus = state;
    data.temperatureSensorPosition = sensor;
    data.temperature = static_cast<U16_t>(esaControl.temperatureSensor[sensor]);
    return esaSendEventMmsgToEmp(ESA_E_ID_ES_ADAPTERMP_TEMPERATURE_SENSOR_STATUS, eventType, &data);
}

S32_t esaSendAlarmEvent(EMP_TYPE_e eventType) {
    EsaEventData_t data = startEvent();
    data.numberOfAlarm = esaControl.audibleAlarmMaxNumber;
    data.alarmState = esaControl.alarmState;
    return esaSendEventMmsgToEmp(ESA_E_ID_ES_ADAPTERMP_ALARM_STATUS, eventType, &data);
}

S32_t esaSendInformationEvent(EMP_TYPE_e eventType, EsaEventInfo_e information) {
    EsaEventData_t data = startEvent();
    data.information = information;
    return esaSendEventMmsgToEmp(ESA_E_ID_ES_ADAPTERMP_INFORMATION, eventType, &data);
}
