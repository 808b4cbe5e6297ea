/** The enclosure's I2C bus as a device: its name, and the locks by which processes keep out of each other's way. */
#pragma once

#include "basetypes.h"

inline constexpr CHAR_t BUS_K_DEVICE[] = "/dev/enc-0";

/**
 * The locks on the device, each of one byte. Who drives the bus holds the first. A process that has asked the bus and
 * never had an answer lets the first go and holds the second: others may find out whether the bus is back.
 */
inline constexpr int BUS_K_LOCK_MASTER = 0;
inline constexpr int BUS_K_LOCK_UNANSWERED = 1;
