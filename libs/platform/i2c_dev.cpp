#include "i2c_dev.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/ioctl.h>

namespace {

/** Puts `messages` on the bus as one transfer: a repeated start between them, one stop at the end. */
template <U32_t COUNT>
bool transfer(int fd, i2c_msg (&messages)[COUNT]) {
    i2c_rdwr_ioctl_data request{messages, COUNT};
    const int done = ioctl(fd, I2C_RDWR, &request);
    if (done >= 0 && done != static_cast<int>(COUNT)) {
        errno = EIO;
    }
    return done == static_cast<int>(COUNT);
}

int combinedRead(int fd, U8_t i2cAddr, U8_t regAddr, U8_t* data, U8_t length) {
    i2c_msg messages[] = {
        {i2cAddr, 0, 1, &regAddr},
        {i2cAddr, I2C_M_RD, length, data},
    };
    return transfer(fd, messages) ? length : -1;
}

int combinedWrite(int fd, U8_t i2cAddr, U8_t regAddr, const U8_t* data, U8_t length) {
    std::array<U8_t, 1 + 255> bytes;
    bytes[0] = regAddr;
    std::copy_n(data, length, &bytes[1]);
    i2c_msg messages[] = {{i2cAddr, 0, static_cast<U16_t>(1 + length), bytes.data()}};
    return transfer(fd, messages) ? length : -1;
}

bool selectDevice(int fd, U8_t i2cAddr) {
    return ioctl(fd, I2C_SLAVE, static_cast<unsigned long>(i2cAddr)) >= 0;
}

bool smbusByte(int fd, U8_t direction, U8_t regAddr, i2c_smbus_data& data) {
    i2c_smbus_ioctl_data request{direction, regAddr, I2C_SMBUS_BYTE_DATA, &data};
    return ioctl(fd, I2C_SMBUS, &request) >= 0;
}

/* A byte-data transfer carries its own register, so the registers are counted here as the chip would count them. */
int smbusRead(int fd, U8_t i2cAddr, U8_t regAddr, U8_t* data, U8_t length) {
    if (!selectDevice(fd, i2cAddr)) {
        return -1;
    }
    for (U8_t i = 0; i < length; ++i) {
        i2c_smbus_data value{};
        if (!smbusByte(fd, I2C_SMBUS_READ, static_cast<U8_t>(regAddr + i), value)) {
            return -1;
        }
        data[i] = value.byte;
    }
    return length;
}

int smbusWrite(int fd, U8_t i2cAddr, U8_t regAddr, const U8_t* data, U8_t length) {
    if (!selectDevice(fd, i2cAddr)) {
        return -1;
    }
    for (U8_t i = 0; i < length; ++i) {
        i2c_smbus_data value{};
        value.byte = data[i];
        if (!smbusByte(fd, I2C_SMBUS_WRITE, static_cast<U8_t>(regAddr + i), value)) {
            return -1;
        }
    }
    return length;
}

/* The kernel keeps the bus adapter in step and shares it out; there is nothing to set up or to forget. */
bool takeOver(int) {
    return true;
}

void begin() {}

constexpr I2cBus_t COMBINED_BUS{"I2C", takeOver, begin, combinedRead, combinedWrite};
constexpr I2cBus_t SMBUS{"SMBus", takeOver, begin, smbusRead, smbusWrite};

} // namespace

const I2cBus_t* i2cDevBus(int fd) {
    unsigned long functions = 0;
    if (ioctl(fd, I2C_FUNCS, &functions) < 0) {
        return nullptr;
    }
    return (functions & I2C_FUNC_I2C) != 0 ? &COMBINED_BUS : &SMBUS;
}
