/** The library's I2C entry points: check the request, find the bus, hand the transfer on, draw the conclusions. */
#include <cerrno>

#include "bus_device.h"
#include "bus_health.h"
#include "heartbeat.h"
#include "journal.h"
#include "monotonic.h"
#include "platform.h"

namespace {

constexpr int I2C_K_LENGTH_MAX = 255;
constexpr U8_t I2C_K_ADDRESS_MAX = 0x7F;

/** A failure that comes sooner has not cost what failing fast is to save: some drivers report a refusal so. */
constexpr std::int64_t COSTLY_TIMEOUT_MS = 100;

bool isTransfer(U8_t i2cAddr, int length) {
    if (i2cAddr <= I2C_K_ADDRESS_MAX && length >= 1 && length <= I2C_K_LENGTH_MAX) {
        return true;
    }
    errno = EINVAL;
    return false;
}

void noteOutcome(int fd, U8_t i2cAddr, int error, std::int64_t startMs) {
    const std::int64_t nowMs = monotonicMs();
    const bool timedOut = error == ETIMEDOUT && nowMs - startMs >= COSTLY_TIMEOUT_MS;
    if (busNoteOutcome(i2cAddr, timedOut, nowMs)) {
        journalLine({"esa: ", BUS_K_DEVICE, busIsDead() ? " does not answer; trying once a second" : " answers again"});
    }
    if (error != 0) {
        busNoteFailure(fd, error);
    } else {
        busNoteAnswer();
    }
}

/** Carries `move(bus)` out, a transfer with `i2cAddr`, if that is worth its time; its result, or -1 with errno set. */
template <typename F>
int transfer(int fd, U8_t i2cAddr, F move) {
    const I2cBus_t* bus = busOf(fd);
    if (bus == nullptr) {
        const int cause = errno;
        heartbeatBeat("gone", false);
        errno = cause;
        return -1;
    }
    const std::int64_t startMs = monotonicMs();
    if (!busMayTry(i2cAddr, startMs)) {
        heartbeatBeat(bus->name, false);
        errno = ETIMEDOUT;
        return -1;
    }
    const int result = move(*bus);
    const int error = result == -1 ? errno : 0;
    noteOutcome(fd, i2cAddr, error, startMs);
    heartbeatBeat(bus->name, error == 0);
    errno = error == 0 ? errno : error;
    return result;
}

} // namespace

int read_i2c_data(int fd, U8_t i2cAddr, U8_t regAddr, U8_t* data, int length) {
    if (!isTransfer(i2cAddr, length)) {
        return -1;
    }
    return transfer(fd, i2cAddr, [&](const I2cBus_t& bus) {
        return bus.read(fd, i2cAddr, regAddr, data, static_cast<U8_t>(length));
    });
}

int write_i2c_data(int fd, U8_t i2cAddr, U8_t regAddr, const U8_t* data, int length) {
    if (!isTransfer(i2cAddr, length)) {
        return -1;
    }
    return transfer(fd, i2cAddr, [&](const I2cBus_t& bus) {
        return bus.write(fd, i2cAddr, regAddr, data, static_cast<U8_t>(length));
    });
}
