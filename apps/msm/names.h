/** Words for the values that messages carry; a value without a name shows as its number. */
#pragma once

#include <string>

#include "basetypes.h"

/** "startup(18)"; peers are "peer(34)" and so on. */
std::string endpointName(U8_t endpoint);
/** "ses", "eventmgr"; "protocol 20" where there is no name. */
std::string protocolName(U8_t protocol);
/** "send-diagnostic" and the like; "type 5" where the protocol's types have no names here. */
std::string typeName(U8_t protocol, U32_t type);

std::string eventName(U16_t eventId);
std::string eventTypeName(U8_t eventType);
std::string chassisName(U8_t chassis);
std::string temperatureStateName(U32_t state);
std::string alarmStateName(U32_t state);
std::string informationName(U32_t information);

std::string statusPageName(U8_t page);
std::string controlPageName(U8_t page);
std::string senseKeyName(U8_t key);
