/** Pages and messages as the adapter sends them, written out as hex. */
#pragma once

#include <string>
#include <vector>

#include "basetypes.h"
#include "bytes.h"

using testsupport::Bytes_t;
using testsupport::unhex;

/** Lower-case hex without blanks. */
inline std::string plainHex(const Bytes_t& bytes) {
    return testsupport::lowerHex(bytes, "");
}

/* A backplane with 16 slots, 3 supplies, 3 fans, 3 sensors and an alarm. Both pages lack their last byte, as on the
 * wire. */
Bytes_t backplaneConfiguration();
Bytes_t healthyBackplaneStatus();

/** Slot 3 lit, slot 5 empty; supply 1 failed; fan 0 at 1500 RPM, fan 1 unread; sensors at 57 C, 61 C and unread. */
Bytes_t faultyBackplaneStatus();

/* A small enclosure: 2 slots, 1 supply, 2 fans, 2 sensors, 1 alarm; all well; slot 1 lit. */
Bytes_t smallConfiguration();
Bytes_t smallStatus();
/** The same, but fan 1 stands still. */
Bytes_t smallStatusWithAFanThatStands();

/** An event message as the event manager gets it; `body` is hex, padded with zeros to 84 bytes. */
Bytes_t eventMessage(U8_t id, U8_t type, const std::string& body);

/** A bare request to Startup. */
Bytes_t startupMessage(U8_t protocol, U8_t type, U8_t generalUse1, U8_t generalUse2);
