/** Message printer. */
#pragma once

#include "core/control_block.h"

/**
 * Writes a message into the trace log field by field. Lengths are not looked at: the message must lie in a buffer
 * of MMSG_K_MAX_SIZE bytes, and element lists are printed to the counts of the control block.
 */
void esaMmsgPrint(const MMSG_t* mmsgPtr);
