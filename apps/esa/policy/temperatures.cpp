#include "policy/temperatures.h"

#include <algorithm>

#include "core/operation.h"
#include "policy/chassis.h"
#include "policy/composite_fault.h"
#include "policy/events.h"

namespace {

constexpr S16_t OVERHEAT_DEG_C = 60;

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

} // namespace

void esaReadTemperatures(bool forPage) {
    const Chassis_t& chassis = esaChassis();
    const U8_t sensors = chassis.sensorCount != 0
                             ? chassis.sensorCount
                             : std::min(esaControl.temperatureSensorMaxNumber, ESA_K_MAX_TEMPERATURE_SENSORS);
    const bool traced = !forPage || chassis.pageTracesTemperatures;
    for (U8_t sensor = 0; sensor < sensors; ++sensor) {
        esaControl.temperatureSensor[sensor] = chassis.readTemperature(sensor);
        if (traced && chassis.temperatureTexts.empty()) {
            ESA_TRACE("temperatureSensor[%d] = [%d] degrees Celsius.", sensor, esaControl.temperatureSensor[sensor]);
        }
    }
    for (std::size_t sensor = 0; traced && sensor < chassis.temperatureTexts.size(); ++sensor) {
        ESA_TRACE(chassis.temperatureTexts[sensor], esaControl.temperatureSensor[sensor]);
    }
}

bool esaAverageTemperature() {
    S16_t sum = 0;
    S16_t count = 0;
    for (U8_t i = 0; i < std::min(esaControl.temperatureSensorMaxNumber, ESA_K_MAX_TEMPERATURE_SENSORS); ++i) {
        if (esaControl.temperatureSensor[i] != ESA_K_TEMPERATURE_NO_READING) {
            sum = static_cast<S16_t>(sum + esaControl.temperatureSensor[i]);
            ++count;
        }
    }
    if (count == 0) {
        ESA_TRACE("No temperature sensor gave a reading, fan loads and average stay as they are.");
        return false;
    }
    esaControl.temperatureSensorAverage = static_cast<S16_t>(sum / count);
    ESA_TRACE("temperatureSensorAverage = [%d] degrees Celsius.", esaControl.temperatureSensorAverage);
    return true;
}

void esaTemperatureEventLog() {
    ESA_OPERATION();
    for (U8_t sensor = 0; sensor < esaControl.temperatureSensorMaxNumber; ++sensor) {
        const S16_t temperature = esaControl.temperatureSensor[sensor];
        if (temperature == ESA_K_TEMPERATURE_NO_READING) {
            continue;
        }
        const TemperatureBand_t& band = bandOf(temperature);
        if (esaControl.temperatureReportStatus[sensor] != band.reported) {
            ESA_TRACE(band.reportingText, sensor);
            esaControl.temperatureReportStatus[sensor] = band.reported;
            esaSendTemperatureEvent(band.eventType, sensor, band.state);
        } else if (band.alreadyText != nullptr) {
            ESA_TRACE(band.alreadyText, sensor);
        }
    }
}

S32_t esaTemperatureOverheatCheck() {
    ESA_OPERATION();
    if (esaControl.temperatureSensorAverage <= OVERHEAT_DEG_C) {
        return esaManageCompositeFault(ESA_K_FAULT_TEMPERATURE_OVERHEAT, ESA_E_OK);
    }
    ESA_TRACE("Temperature average over 60 degrees!");
    esaManageCompositeFault(ESA_K_FAULT_TEMPERATURE_OVERHEAT, ESA_E_GENERR);
    esaSendInformationEvent(EMP_E_TYPE_ERROR, ESA_E_EVENT_INFO_REQUEST_ORDERLY_SHUTDOWN);
    return esaSendOrderlyShutdownMmsgToStartup();
}
