/** One way of carrying out I2C transfers; the library has one for each kind of device that can be opened. */
#pragma once

#include "basetypes.h"

/**
 * The transfers of one kind of device. `i2cAddr` is a 7-bit address and `length` 1 to 255: the public functions
 * refuse everything else. Both return `length`, or -1 with errno set; a failed read leaves `data` undefined.
 */
struct I2cBus_t {
    const CHAR_t* name; /**< for people: "serial bridge" */
    /** Sets up a device that is ours alone; false with errno set (EPERM: it is somebody's terminal). */
    bool (*takeOver)(int fd);
    /** Forgets what was known about a device used before. */
    void (*begin)();
    int (*read)(int fd, U8_t i2cAddr, U8_t regAddr, U8_t* data, U8_t length);
    int (*write)(int fd, U8_t i2cAddr, U8_t regAddr, const U8_t* data, U8_t length);
};
