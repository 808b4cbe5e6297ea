/** Dispatch of received messages, and a self-test message. */
#pragma once

#include "core/control_block.h"

/**
 * Handles one received message. The message must lie in a buffer of MMSG_K_MAX_SIZE bytes whatever its length says:
 * command records and pages are read where they would be. Messages that cannot be handled are traced and dropped.
 */
void esaProcMmsgMsg(const MMSG_t& mmsg);

/**
 * Debugging aid: sends an SES command of the given type and page to the adapter's own endpoint. Returns send's
 * result, 0 when nothing could be built.
 */
S32_t esaTestMsg(U8_t commandType, U8_t pageCode);
