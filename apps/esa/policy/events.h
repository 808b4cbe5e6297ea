/** Events of the enclosure, as the event manager gets them. */
#pragma once

#include "core/control_block.h"

/**
 * Sends one event to the event manager. Returns the number of bytes sent (300); a short or failed send has gone to
 * the critical-error handler.
 */
S32_t esaSendEventMmsgToEmp(U16_t eventId, U8_t eventType, const EsaEventData_t* eventDataPtr);

/** One sender for each kind of event; each fills the fields that belong to its kind. Results as above. */
S32_t esaSendDriveFaultLedEvent(EMP_TYPE_e eventType);
S32_t esaSendPowerSupplyEvent(EMP_TYPE_e eventType);
S32_t esaSendFanFaultEvent(EMP_TYPE_e eventType);
S32_t esaSendTemperatureEvent(EMP_TYPE_e eventType, U8_t sensor, EsaEventTemperatureState_e state);
S32_t esaSendAlarmEvent(EMP_TYPE_e eventType);
S32_t esaSendInformationEvent(EMP_TYPE_e eventType, EsaEventInfo_e information);
