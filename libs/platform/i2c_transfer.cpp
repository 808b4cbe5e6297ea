/** The library's I2C entry points: check the request, find out what the descriptor has open, hand the transfer on. */
#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

#include "i2c_bridge.h"
#include "i2c_dev.h"
#include "platform.h"

namespace {

constexpr int I2C_K_LENGTH_MAX = 255;
constexpr U8_t I2C_K_ADDRESS_MAX = 0x7F;

/** The descriptor last used and what it turned out to be. */
struct KnownBus_t {
    int fd;
    dev_t filesystem;
    ino_t inode;
    dev_t device;
    const I2cBus_t* bus;
};

/* One entry: a process has one bus open. The file's identity is part of it, since a descriptor number comes back
   after close() and open(). */
KnownBus_t knownBus{-1, 0, 0, 0, nullptr};

bool isKnown(int fd, const struct stat& file) {
    return knownBus.bus != nullptr && knownBus.fd == fd && knownBus.filesystem == file.st_dev &&
           knownBus.inode == file.st_ino && knownBus.device == file.st_rdev;
}

/** The transfers for what `fd` has open; nullptr, with errno set, when it is no I2C bus. */
const I2cBus_t* busOf(int fd) {
    struct stat file;
    if (fstat(fd, &file) != 0) {
        return nullptr;
    }
    if (!S_ISCHR(file.st_mode)) {
        errno = ENOTTY;
        return nullptr;
    }
    if (!isKnown(fd, file)) {
        const I2cBus_t* bus = isatty(fd) == 1 ? &I2C_BRIDGE : i2cDevBus(fd);
        knownBus = {fd, file.st_dev, file.st_ino, file.st_rdev, bus};
    }
    return knownBus.bus;
}

bool isTransfer(U8_t i2cAddr, int length) {
    if (i2cAddr <= I2C_K_ADDRESS_MAX && length >= 1 && length <= I2C_K_LENGTH_MAX) {
        return true;
    }
    errno = EINVAL;
    return false;
}

} // namespace

int read_i2c_data(int fd, U8_t i2cAddr, U8_t regAddr, U8_t* data, int length) {
    const I2cBus_t* bus = isTransfer(i2cAddr, length) ? busOf(fd) : nullptr;
    return bus == nullptr ? -1 : bus->read(fd, i2cAddr, regAddr, data, static_cast<U8_t>(length));
}

int write_i2c_data(int fd, U8_t i2cAddr, U8_t regAddr, const U8_t* data, int length) {
    const I2cBus_t* bus = isTransfer(i2cAddr, length) ? busOf(fd) : nullptr;
    return bus == nullptr ? -1 : bus->write(fd, i2cAddr, regAddr, data, static_cast<U8_t>(length));
}
