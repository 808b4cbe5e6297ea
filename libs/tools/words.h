/** Words for the values that messages carry; a value without a name shows as its number. */
#pragma once

#include <string>
#include <string_view>

#include "basetypes.h"

/** "startup": the name of an endpoint, and of its socket at the switch; "peer", "unknown" where it has none. */
[[nodiscard]] std::string_view endpointWord(U8_t endpoint);
/** "startup(18)"; peers are "peer(34)" and so on. */
[[nodiscard]] std::string endpointName(U8_t endpoint);
/** "ses", "eventmgr"; "protocol 20" where there is no name. */
[[nodiscard]] std::string protocolName(U8_t protocol);
/** "send-diagnostic" and the like; "type 5" where the protocol's types have no names here. */
[[nodiscard]] std::string typeName(U8_t protocol, U32_t type);

/** "fan fault status"; "event 200". */
[[nodiscard]] std::string eventName(U16_t eventId);
/** "warning"; "type 9". */
[[nodiscard]] std::string eventTypeName(U8_t eventType);
/** "VSC055 Quadra (3)"; "unknown (9)". */
[[nodiscard]] std::string chassisTitle(U8_t chassis);
/** "over 45"; "state 9". */
[[nodiscard]] std::string temperatureStateName(U32_t state);
/** "mute"; "state 9". */
[[nodiscard]] std::string alarmStateName(U32_t state);
/** "I2C bus fault"; "information 9". */
[[nodiscard]] std::string informationName(U32_t information);

/** "enclosure status (2)"; "unknown (99)". */
[[nodiscard]] std::string statusPageName(U8_t page);
[[nodiscard]] std::string controlPageName(U8_t page);
/** "illegal request"; "sense key 9". */
[[nodiscard]] std::string senseKeyName(U8_t key);

/** Whether an event type has a name of its own. */
[[nodiscard]] bool isEventType(U8_t eventType);

/** Whether an alarm can be in this state; the others have names, but no enclosure goes there. */
[[nodiscard]] bool isAlarmState(U32_t state);

/** What a temperature event says about its sensor's reading. */
struct TemperatureBand_t {
    U32_t state;
    int celsius; /**< limit that the reading has passed */
    bool below;  /**< back at or under it, else over it */
};

/** The band of an event's temperature state, or nullptr. */
[[nodiscard]] const TemperatureBand_t* findTemperatureBand(U32_t state);

/** A name as programs use it: "drive fault LED status" becomes "drive-fault-led-status". */
[[nodiscard]] std::string stableName(std::string_view name);
