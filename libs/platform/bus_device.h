/**
 * The device that a descriptor has open. When it is the enclosure's bus, /dev/enc-0, it is ours alone: locked against a
 * second adapter, set up, and opened again under the same descriptor number when it has gone or was made anew.
 */
#pragma once

#include "i2c_bus.h"

/**
 * The locks on the device, each of one byte. Who drives the bus holds the first. A process that has asked the bus and
 * never had an answer lets the first go and holds the second: others may find out whether the bus is back.
 */
inline constexpr int BUS_LOCK_MASTER = 0;
inline constexpr int BUS_LOCK_UNANSWERED = 1;

/** The device's name in the messages and in the status of the service. */
inline constexpr const CHAR_t* BUS_DEVICE = "/dev/enc-0";

/**
 * The transfers for what `fd` has open; nullptr, with errno set, when it is no I2C bus. For the enclosure's bus errno
 * is ENODEV (gone; looked for once a second), EBUSY (another process drives it, which is waited for three seconds at
 * the first transfer) or EPERM (somebody's terminal).
 */
const I2cBus_t* busOf(int fd);

/** Notes that a transfer was carried out. */
void busNoteAnswer();

/** Looks, after a transfer has failed with `error`, whether the enclosure's bus has gone or was made anew. */
void busNoteFailure(int fd, int error);
