/** The header of outgoing messages, and the one way to send them. All are built in `esaWorkSpace`. */
#pragma once

#include "core/control_block.h"

/**
 * Clears the header of the message in `esaWorkSpace` the way every message of the adapter starts: linked to
 * itself, type MMSG, version 1, requestor MSM, all else zero. Returns the message.
 */
MMSG_t& esaClearMmsg();

/**
 * Starts a message from the adapter to `endpoint`: a cleared header with protocol, type and requestor filled in and
 * the length of a bare header.
 */
MMSG_t& esaStartMmsg(MMSG_PROTOCOL_e protocol, U32_t type, U8_t endpoint);

/**
 * Sends the message in `esaWorkSpace`, `mmsg_length` bytes, with one send. Returns send's result; any other than
 * the length has gone to the critical-error handler, with the place that the first three arguments name
 * (ESA_CALL_SITE). Blocks while the switch does not take the message.
 */
S32_t esaSendMmsg(const CHAR_t* fileName, int lineNo, const CHAR_t* functionName);
