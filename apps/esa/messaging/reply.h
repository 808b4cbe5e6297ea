/** Replies to SES commands. */
#pragma once

#include "core/control_block.h"

/**
 * Answers `rcvMmsgPtr`: status GOOD with the page that a RECEIVE DIAGNOSTIC RESULTS names (none for a SEND
 * DIAGNOSTIC), or CHECK CONDITION with sense data. A page that is not supported, any other status and any other
 * command are not answered. Building the status page reads the hardware and manages what it finds: LEDs, faults and
 * events are kept in step, and their messages go out before the reply.
 */
void esaSendStatus(const MMSG_t* rcvMmsgPtr, U8_t statusCode, U8_t pageCode, U8_t senseKey, U8_t asc, U8_t ascq);
