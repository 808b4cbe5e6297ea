/**
 * The device that a descriptor has open. When it is the enclosure's bus, /dev/enc-0, it is ours alone: locked against a
 * second adapter, set up, and opened again under the same descriptor number when it has gone or was made anew.
 */
#pragma once

#include "enclosure_bus.h"
#include "i2c_bus.h"

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
