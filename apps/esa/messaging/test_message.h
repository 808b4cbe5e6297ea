/** A self-test message. */
#pragma once

#include "core/control_block.h"

/**
 * Debugging aid: sends an SES command of the given type and page to the adapter's own endpoint. Returns send's
 * result, 0 when nothing could be built.
 */
S32_t esaTestMsg(U8_t commandType, U8_t pageCode);
