/** Dispatch of received messages. */
#pragma once

#include "core/control_block.h"

/**
 * Handles one received message. The message must lie in a buffer of MMSG_K_MAX_SIZE bytes whatever its length says:
 * command records and pages are read where they would be. Messages that cannot be handled are traced and dropped.
 */
void esaProcMmsgMsg(const MMSG_t& mmsg);
