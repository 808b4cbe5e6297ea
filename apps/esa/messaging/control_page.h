/** The enclosure control page. */
#pragma once

#include "core/control_block.h"

/**
 * Applies the control page of a SEND DIAGNOSTIC: stores every control record and acts on drive LEDs, supply fault
 * indication, fans and alarm. From the volume manager only the drive LEDs are taken. The message must lie in a
 * buffer of MMSG_K_MAX_SIZE bytes. Returns the result of the last drive LED
 * operation; callers ignore it.
 */
S32_t esaProcEncContPage(const MMSG_t& mmsg);
