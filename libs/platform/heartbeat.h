/**
 * Tells the service manager that the enclosure is looked after, in datagrams to NOTIFY_SOCKET; without that, nothing.
 *
 * The first completed transfer arms the manager's watchdog, 45 seconds, and every transfer that returns feeds it: a
 * process that hangs in a transfer or a send, or no longer polls, is ended and started afresh; one that never had a bus
 * is left alone, and so is one whose bus has died, since it goes on trying.
 */
#pragma once

#include "basetypes.h"

/** To be called after each transfer, with the bus that it went over. Sends one datagram a second at most. */
void heartbeatBeat(const CHAR_t* busName, bool completed);
