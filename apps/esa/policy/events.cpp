#include "policy/events.h"

#include "core/fault.h"
#include "core/outgoing.h"
#include "trace.h"

namespace {

constexpr U16_t EVENT_MMSG_LENGTH = 300;
static_assert(sizeof(MMCH_t) + sizeof(EsaEvent_t) == EVENT_MMSG_LENGTH);
constexpr U8_t EVENT_VERSION = 1;

EsaEventData_t startEvent() {
    EsaEventData_t data = {};
    data.enclosureType = esaControl.enclosureType;
    return data;
}

/** A band of temperatures, and how a sensor that enters it is reported. */
struct TemperatureBand_t {
    S16_t upTo;     /**< hottest reading of the band, degrees Celsius */
    U32_t reported; /**< value of `temperatureReportStatus` once it is reported */
    EsaEventTemperatureState_e state;
    EMP_TYPE_e eventType;
    const CHAR_t* reportingText;
    const CHAR_t* alreadyText; /**< nullptr: nothing is traced */
};

constexpr TemperatureBand_t TEMPERATURE_BANDS[] = {
    {35, 0x0, ESA_E_EVENT_TEMPERATURE_BELOW_35_DEGREES, EMP_E_TYPE_INFORMATION,
     "temperatureReportStatus[%d] reset all Temperature Events.", nullptr},
    {45, 0x1, ESA_E_EVENT_TEMPERATURE_OVER_35_DEGREES, EMP_E_TYPE_INFORMATION,
     "temperatureReportStatus[%d] reporting over 35 degrees Event.",
     "temperatureReportStatus[%d] already reported over 35 degrees Event."},
    {55, 0x2, ESA_E_EVENT_TEMPERATURE_OVER_45_DEGREES, EMP_E_TYPE_WARNING,
     "temperatureReportStatus[%d] reporting over 45 degrees Event.",
     "temperatureReportStatus[%d] already reported over 45 degrees Event."},
    {ESA_K_TEMPERATURE_NO_READING, 0x4, ESA_E_EVENT_TEMPERATURE_OVER_55_DEGREES, EMP_E_TYPE_WARNING,
     "temperatureReportStatus[%d] reporting over 55 degrees Event.",
     "temperatureReportStatus[%d] already reported over 55 degrees Event."},
};

const TemperatureBand_t& bandOf(S16_t temperature) {
    const TemperatureBand_t* band = TEMPERATURE_BANDS;
    while (temperature > band->upTo) {
        ++band;
    }
    return *band;
}

void reportTemperature(U8_t sensor, const TemperatureBand_t& band) {
    TRACE_INFO(band.reportingText, sensor);
    esaControl.temperatureReportStatus[sensor] = band.reported;
    EsaEventData_t data = startEvent();
    data.numberOfTemperatureSensor = esaControl.temperatureSensorMaxNumber;
    data.temperatureStatus = band.state;
    data.temperatureSensorPosition = sensor;
    data.temperature = static_cast<U16_t>(esaControl.temperatureSensor[sensor]);
    (void)esaSendEventMmsgToEmp(ESA_E_ID_ES_ADAPTERMP_TEMPERATURE_SENSOR_STATUS, band.eventType, &data);
}

} // namespace

S32_t esaSendEventMmsgToEmp(U16_t eventId, U8_t eventType, const EsaEventData_t* eventDataPtr) {
    MMSG_t& mmsg = esaStartMmsg(MMSG_E_PROTOCOL_EVENTMGR, EMP_E_MSGS_LOG, MMSG_E_EPID_EVENTLOGMP);
    mmsg.mmch.mmsg_length = EVENT_MMSG_LENGTH;
    auto& event = wireAt<EsaEvent_t>(static_cast<void*>(esaControl.esaWorkSpace + MMSG_K_HEADER_SIZE));
    wireClear(event);
    event.evLogHeader.evType = eventType;
    event.evLogHeader.evCategory = EMP_E_CATEGORY_ENVIRONMENTAL;
    event.evLogHeader.evIdVersion = EVENT_VERSION;
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

void esaTemperatureEventLog() {
    for (U8_t sensor = 0; sensor < esaControl.temperatureSensorMaxNumber; ++sensor) {
        const S16_t temperature = esaControl.temperatureSensor[sensor];
        if (temperature == ESA_K_TEMPERATURE_NO_READING) {
            continue;
        }
        const TemperatureBand_t& band = bandOf(temperature);
        if (esaControl.temperatureReportStatus[sensor] != band.reported) {
            reportTemperature(sensor, band);
        } else if (band.alreadyText != nullptr) {
            TRACE_INFO(band.alreadyText, sensor);
        }
    }
}
