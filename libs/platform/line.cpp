#include "line.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include "monotonic.h"

namespace {

constexpr std::int64_t CLEAR_LIMIT_MS = 100;

} // namespace

/* A signal does not shorten the wait. */
bool lineWait(int fd, std::int64_t deadlineMs) {
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

bool lineReceive(int fd, std::span<U8_t> bytes, std::int64_t deadlineMs) {
    while (!bytes.empty()) {
        if (!lineWait(fd, deadlineMs)) {
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

bool lineSend(int fd, std::span<const U8_t> bytes) {
    ssize_t sent;
    do {
        sent = write(fd, bytes.data(), bytes.size());
    } while (sent < 0 && errno == EINTR);
    if (sent >= 0 && sent != static_cast<ssize_t>(bytes.size())) {
        errno = EIO;
        return false;
    }
    return sent >= 0;
}

void lineClear(int fd) {
    (void)tcflush(fd, TCIOFLUSH); // the line is usable without; a dead one shows at the write
    const std::int64_t limit = monotonicMs() + CLEAR_LIMIT_MS; // a far end that never stops is left to babble
    std::array<U8_t, 256> stray;
    while (monotonicMs() < limit && lineWait(fd, monotonicMs())) {
        if (read(fd, stray.data(), stray.size()) <= 0) {
            return;
        }
    }
}
