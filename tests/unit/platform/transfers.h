/** Transfers of one byte over the bus as one number: what was read, or minus the errno of a transfer that failed. */
#pragma once

#include <cerrno>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "platform.h"

/** Has the library meet what is no bus, so that it knows nothing of the one before: it may have had the same number. */
inline void forgetBus() {
    const int none = open("/dev/full", O_RDWR);
    ASSERT_GE(none, 0);
    U8_t data = 0;
    EXPECT_EQ(read_i2c_data(none, 0x4C, 0x00, &data, 1), -1);
    close(none);
}

inline int outcomeOf(int result, int good) {
    EXPECT_TRUE(result == 1 || result == -1) << result;
    return result == 1 ? good : -errno;
}

/** Reads register 00. */
inline int readByte(int fd, U8_t address = 0x4C) {
    U8_t data = 0;
    const int result = read_i2c_data(fd, address, 0x00, &data, 1);
    return outcomeOf(result, data);
}

/** Writes 99 to register 01; 1 when that is done. */
inline int writeByte(int fd, U8_t address = 0x4C) {
    const U8_t data = 0x99;
    return outcomeOf(write_i2c_data(fd, address, 0x01, &data, 1), 1);
}
