/** I2C over a terminal device, with an I2C bus at the far end of the line: docs/serial-i2c-bridge.md. */
#pragma once

#include "i2c_bus.h"

/**
 * Transfers over the bridge. Each blocks until the reply is whole, for at most 500 ms; the first one, and the one after
 * a failure that may have left bytes on the way, gets in step with the far end before that, in at most 450 ms.
 * errno of a failure: ENXIO not acknowledged, ETIMEDOUT no whole reply in time, EPROTO bytes that are no reply,
 * EIO the far end has closed the line, or what the system said.
 */
extern const I2cBus_t I2C_BRIDGE;
