/**
 * I2C over a terminal device, with an I2C bus at the far end of the line: docs/serial-i2c-bridge.md. The line is
 * raw already; its settings belong to whoever owns the line.
 */
#pragma once

#include "i2c_bus.h"

/**
 * Transfers over the bridge. Each blocks until the reply is whole, for at most 500 ms; after a failure a little
 * longer, until the line is quiet. errno of a failure: ENXIO not acknowledged, ETIMEDOUT no whole reply in time,
 * EPROTO a status byte that is none, EIO the far end has closed the line, or what the system said.
 */
extern const I2cBus_t I2C_BRIDGE;
