#include "i2c_bridge.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <ctime>
#include <span>

#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr U8_t REQUEST_READ = 'R';
constexpr U8_t REQUEST_WRITE = 'W';
constexpr U8_t REPLY_DONE = 'A';
constexpr U8_t REPLY_NOT_ACKNOWLEDGED = 'N';

constexpr std::size_t REQUEST_HEADER = 4; // kind, device address, register, length

constexpr std::int64_t REPLY_LIMIT_MS = 500;
constexpr std::int64_t SETTLE_QUIET_MS = 20;
constexpr std::int64_t DISCARD_LIMIT_MS = 100;

/** Milliseconds of a clock that nobody sets. */
std::int64_t monotonicMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

/** Waits for input until `deadlineMs`; false with errno set when none comes. A signal does not shorten the wait. */
bool waitForInput(int fd, std::int64_t deadlineMs) {
    for (;;) {
        pollfd line{fd, POLLIN, 0};
        const std::int64_t left = std::max<std::int64_t>(deadlineMs - monotonicMs(), 0);
        const int ready = poll(&line, 1, static_cast<int>(left));
        if (ready > 0 && (line.revents & POLLIN) != 0) {
            return true;
        }
        if (ready > 0) {
            errno = EIO;
            return false;
        }
        if (ready == 0 && monotonicMs() >= deadlineMs) {
            errno = ETIMEDOUT;
            return false;
        }
        if (ready < 0 && errno != EINTR) {
            return false;
        }
    }
}

/** Fills `bytes` from the line, in however many pieces they come; false with errno set. */
bool receive(int fd, std::span<U8_t> bytes, std::int64_t deadlineMs) {
    while (!bytes.empty()) {
        if (!waitForInput(fd, deadlineMs)) {
            return false;
        }
        const ssize_t got = read(fd, bytes.data(), bytes.size());
        if (got > 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(got));
        } else if (got == 0) {
            errno = EIO;
            return false;
        } else if (errno != EINTR && errno != EAGAIN) {
            return false;
        }
    }
    return true;
}

/** Throws input away until the line has been silent for `quietMs`; a far end that never stops is left to babble. */
void discardInput(int fd, std::int64_t quietMs) {
    const std::int64_t limit = monotonicMs() + DISCARD_LIMIT_MS;
    std::array<U8_t, 256> stray;
    while (monotonicMs() < limit && waitForInput(fd, monotonicMs() + quietMs)) {
        if (read(fd, stray.data(), stray.size()) <= 0) {
            return;
        }
    }
}

/**
 * Forgets what an earlier transfer left on the line. Requests that nobody has taken go too: a far end that was
 * stopped for a while must not answer them all when it wakes, and a full line must not block the next write.
 */
void clearLine(int fd) {
    (void)tcflush(fd, TCIOFLUSH); // the line is usable without; a dead one shows at the write
    discardInput(fd, 0);
}

/** The far end finds the frame by its first byte, so the whole request goes out in one write. */
bool sendRequest(int fd, std::span<const U8_t> request) {
    ssize_t sent;
    do {
        sent = write(fd, request.data(), request.size());
    } while (sent < 0 && errno == EINTR);
    if (sent >= 0 && sent != static_cast<ssize_t>(request.size())) {
        errno = EIO;
        return false;
    }
    return sent >= 0;
}

/** The reply to the request that has just gone out: its status byte, then `data`. False with errno set. */
bool receiveReply(int fd, std::span<U8_t> data) {
    const std::int64_t deadlineMs = monotonicMs() + REPLY_LIMIT_MS;
    U8_t status = 0;
    if (!receive(fd, {&status, 1}, deadlineMs)) {
        return false;
    }
    if (status != REPLY_DONE) {
        errno = status == REPLY_NOT_ACKNOWLEDGED ? ENXIO : EPROTO;
        return false;
    }
    return receive(fd, data, deadlineMs);
}

/** One request and its reply. After a failure that may leave bytes on the way, waits for the line to fall silent. */
bool exchange(int fd, std::span<const U8_t> request, std::span<U8_t> data) {
    clearLine(fd);
    if (!sendRequest(fd, request)) {
        return false;
    }
    if (receiveReply(fd, data)) {
        return true;
    }
    const int cause = errno;
    if (cause == ETIMEDOUT || cause == EPROTO) {
        discardInput(fd, SETTLE_QUIET_MS);
    }
    errno = cause;
    return false;
}

int bridgeRead(int fd, U8_t i2cAddr, U8_t regAddr, U8_t* data, U8_t length) {
    const std::array<U8_t, REQUEST_HEADER> request{REQUEST_READ, i2cAddr, regAddr, length};
    return exchange(fd, request, {data, length}) ? length : -1;
}

int bridgeWrite(int fd, U8_t i2cAddr, U8_t regAddr, const U8_t* data, U8_t length) {
    std::array<U8_t, REQUEST_HEADER + 255> request{REQUEST_WRITE, i2cAddr, regAddr, length};
    std::copy_n(data, length, &request[REQUEST_HEADER]);
    return exchange(fd, {request.data(), REQUEST_HEADER + length}, {}) ? length : -1;
}

} // namespace

const I2cBus_t I2C_BRIDGE{bridgeRead, bridgeWrite};
