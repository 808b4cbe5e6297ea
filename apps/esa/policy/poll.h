/** The poll of an enclosure. */
#pragma once

#include "core/control_block.h"

/** Polls the chassis in service; its row says what is read. Returns the result of the row's pollAlarm(). */
S32_t esaPollEnclosure();
