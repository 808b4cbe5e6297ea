#include "i2c_bridge.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <span>

#include <fcntl.h>
#include <termios.h>

#include "line.h"
#include "monotonic.h"

namespace {

/* The first bytes of frames. A bridge that numbers its replies answers a greeting; the other kind ignores it. */
constexpr U8_t GREETING = 'H';
constexpr U8_t GREETING_ANSWER = 'h';
constexpr U8_t REQUEST_READ = 'R';
constexpr U8_t REQUEST_WRITE = 'W';
constexpr U8_t REPLY_DONE = 'A';
constexpr U8_t REPLY_NOT_ACKNOWLEDGED = 'N';
constexpr U8_t NUMBERED_READ = 'r';
constexpr U8_t NUMBERED_WRITE = 'w';
constexpr U8_t NUMBERED_DONE = 'a';
constexpr U8_t NUMBERED_NOT_ACKNOWLEDGED = 'n';

constexpr std::size_t LONGEST_HEADER = 5; // kind, number, device address, register, length
constexpr std::size_t LONGEST_DATA = 255;

/** Numbers have this bit, so that a bridge that ignores the greeting cannot take one for the start of a request. */
constexpr U8_t NUMBER_MARK = 0x80;

constexpr std::int64_t REPLY_LIMIT_MS = 500;
/** Longer than the silence after which a bridge forgets half a request, and than a late reply is usually late. */
constexpr std::int64_t ANSWER_LIMIT_MS = 150;
constexpr std::int64_t QUIET_LIMIT_MS = 400;
constexpr int GREETINGS_OF_KNOWN_BRIDGE = 3;
/** A bridge that numbers its replies is taken for another one when it has missed so many of these in a row. */
constexpr int UNANSWERED_LIMIT = 10;

/** What is known about the far end of the one line that a process has. */
struct FarEnd_t {
    bool inStep;    /**< nothing of an earlier transfer is on the way */
    bool numbered;  /**< it has answered a greeting */
    int unanswered; /**< attempts to get in step that it has missed */
    U8_t number;    /**< of the latest request or greeting */
};
FarEnd_t farEnd{};

U8_t nextNumber() {
    farEnd.number = static_cast<U8_t>(NUMBER_MARK | (farEnd.number + 1));
    return farEnd.number;
}

/** Reads until the answer to greeting `number` is there, or nothing has come for ANSWER_LIMIT_MS. */
bool findAnswer(int fd, U8_t number) {
    const std::int64_t limit = monotonicMs() + QUIET_LIMIT_MS;
    U8_t before = 0;
    U8_t byte = 0;
    while (monotonicMs() < limit && lineReceive(fd, {&byte, 1}, monotonicMs() + ANSWER_LIMIT_MS)) {
        if (before == GREETING_ANSWER && byte == number) {
            return true;
        }
        before = byte;
    }
    return false;
}

/**
 * Lets everything that is still on the way pass: replies come in order, so the answer to a greeting is the last of
 * them. Where no answer comes, the silence waited for has to do. False with errno set when the far end used to answer.
 */
bool getInStep(int fd) {
    const std::array<U8_t, 2> greeting{GREETING, nextNumber()};
    for (int i = 0; i < (farEnd.numbered ? GREETINGS_OF_KNOWN_BRIDGE : 1); ++i) {
        lineClear(fd);
        if (!lineSend(fd, greeting)) {
            return false;
        }
        if (findAnswer(fd, greeting[1])) {
            farEnd = {true, true, 0, farEnd.number};
            return true;
        }
    }
    if (farEnd.numbered && ++farEnd.unanswered < UNANSWERED_LIMIT) {
        errno = ETIMEDOUT;
        return false;
    }
    farEnd = {true, false, 0, farEnd.number};
    return true;
}

bool isNoReply() {
    errno = EPROTO;
    return false;
}

bool isRefusal() {
    errno = ENXIO;
    return false;
}

/** The reply of a bridge without numbers: its status byte, then `data`. False with errno set. */
bool receivePlainReply(int fd, std::span<U8_t> data, std::int64_t deadlineMs) {
    U8_t status = 0;
    if (!lineReceive(fd, {&status, 1}, deadlineMs)) {
        return false;
    }
    if (status == REPLY_NOT_ACKNOWLEDGED) {
        return isRefusal();
    }
    return status == REPLY_DONE ? lineReceive(fd, data, deadlineMs) : isNoReply();
}

bool skip(int fd, std::size_t count, std::int64_t deadlineMs) {
    std::array<U8_t, LONGEST_DATA> late;
    return lineReceive(fd, {late.data(), count}, deadlineMs);
}

/** The reply that repeats the latest request's number; those of earlier ones are passed over. False with errno set. */
bool receiveNumberedReply(int fd, std::span<U8_t> data, std::int64_t deadlineMs) {
    for (;;) {
        std::array<U8_t, 2> head; // kind, number
        if (!lineReceive(fd, head, deadlineMs)) {
            return false;
        }
        const bool mine = head[1] == farEnd.number;
        if (head[0] == NUMBERED_NOT_ACKNOWLEDGED && mine) {
            return isRefusal();
        }
        if (head[0] == NUMBERED_NOT_ACKNOWLEDGED || head[0] == GREETING_ANSWER) {
            continue;
        }
        if (head[0] != NUMBERED_DONE) {
            return isNoReply();
        }
        U8_t length = 0;
        if (!lineReceive(fd, {&length, 1}, deadlineMs)) {
            return false;
        }
        if (mine) {
            return length == data.size() ? lineReceive(fd, data, deadlineMs) : isNoReply();
        }
        if (!skip(fd, length, deadlineMs)) {
            return false;
        }
    }
}

/** What a transfer asks for, in both forms. */
struct Request_t {
    U8_t plainKind;
    U8_t numberedKind;
    U8_t i2cAddr;
    U8_t regAddr;
    U8_t length;
    std::span<const U8_t> data;
};

bool sendRequest(int fd, const Request_t& request) {
    std::array<U8_t, LONGEST_HEADER + LONGEST_DATA> bytes;
    U8_t* end = bytes.data();
    *end++ = farEnd.numbered ? request.numberedKind : request.plainKind;
    if (farEnd.numbered) {
        *end++ = nextNumber();
    }
    *end++ = request.i2cAddr;
    *end++ = request.regAddr;
    *end++ = request.length;
    end = std::ranges::copy(request.data, end).out;
    return lineSend(fd, {bytes.data(), end});
}

/** One request and its reply. */
bool exchange(int fd, const Request_t& request, std::span<U8_t> data) {
    if (!farEnd.inStep && !getInStep(fd)) {
        return false;
    }
    lineClear(fd);
    if (!sendRequest(fd, request)) {
        farEnd.inStep = false;
        return false;
    }
    const std::int64_t deadlineMs = monotonicMs() + REPLY_LIMIT_MS;
    const bool done =
        farEnd.numbered ? receiveNumberedReply(fd, data, deadlineMs) : receivePlainReply(fd, data, deadlineMs);
    farEnd.inStep = done || errno == ENXIO;
    return done;
}

int bridgeRead(int fd, U8_t i2cAddr, U8_t regAddr, U8_t* data, U8_t length) {
    const Request_t request{REQUEST_READ, NUMBERED_READ, i2cAddr, regAddr, length, {}};
    return exchange(fd, request, {data, length}) ? length : -1;
}

int bridgeWrite(int fd, U8_t i2cAddr, U8_t regAddr, const U8_t* data, U8_t length) {
    const Request_t request{REQUEST_WRITE, NUMBERED_WRITE, i2cAddr, regAddr, length, {data, length}};
    return exchange(fd, request, {}) ? length : -1;
}

/**
 * A line that a person types at, edited or watched for an interrupt key, is not ours whatever its name says. Any other
 * is set raw, without a modem's carrier, and so that a full line refuses bytes instead of holding the process.
 */
bool takeLineOver(int fd) {
    termios line{};
    if (tcgetattr(fd, &line) != 0) {
        return false;
    }
    if ((line.c_lflag & (ICANON | ISIG)) != 0) {
        errno = EPERM;
        return false;
    }
    cfmakeraw(&line);
    line.c_cflag |= CLOCAL | CREAD;
    line.c_cflag &= ~static_cast<tcflag_t>(CRTSCTS);
    line.c_cc[VMIN] = 1;
    line.c_cc[VTIME] = 0;
    const int flags = fcntl(fd, F_GETFL);
    return tcsetattr(fd, TCSANOW, &line) == 0 && flags >= 0 && fcntl(fd, F_SETFL, flags | O_NONBLOCK) == 0;
}

void begin() {
    farEnd = {};
}

} // namespace

const I2cBus_t I2C_BRIDGE{"serial bridge", takeLineOver, begin, bridgeRead, bridgeWrite};
