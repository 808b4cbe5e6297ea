/** I2C over the kernel's character device of a bus adapter (/dev/i2c-N, or a node of another name). */
#pragma once

#include "i2c_bus.h"

/**
 * Asks the bus adapter behind `fd` what it can do. Returns the transfers that suit it: whole ones with a repeated
 * start where it speaks plain I2C, byte by byte where it only speaks SMBus. nullptr, with errno set, when `fd` is no
 * bus adapter.
 */
const I2cBus_t* i2cDevBus(int fd);
