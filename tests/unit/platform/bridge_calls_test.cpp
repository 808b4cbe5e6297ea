/**
 * What the serial I2C bridge asks of the kernel. The test stands in for write() and poll() on the line, so that it
 * can answer between two calls of the library, without threads and without luck in the timing.
 */
#include <algorithm>
#include <cerrno>
#include <functional>
#include <tuple>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include "platform.h"
#include "wrapped_calls.h"

namespace {

using Bytes = std::vector<U8_t>;

struct Line {
    Line() {
        termios raw{};
        cfmakeraw(&raw);
        raw.c_cc[VMIN] = 1;
        EXPECT_EQ(openpty(&far, &fd, nullptr, &raw, nullptr), 0);
        onWrite = [this](int to, const void* bytes, std::size_t count) {
            return to == fd ? take(bytes, count) : __real_write(to, bytes, count);
        };
        onPoll = [this](pollfd* fds, nfds_t count, int timeout) {
            if (fds->fd == fd && beforePoll) {
                beforePoll(timeout);
            }
            return __real_poll(fds, count, timeout);
        };
    }
    ~Line() {
        onPoll = nullptr;
        onRead = nullptr;
        onWrite = nullptr;
        close(fd);
        close(far);
    }
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;

    void answer(const Bytes& bytes) const {
        EXPECT_EQ(__real_write(far, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }

    ssize_t take(const void* bytes, size_t count) {
        const auto* first = static_cast<const U8_t*>(bytes);
        writes.emplace_back(first, first + count);
        return afterWrite ? afterWrite(writes.size(), count) : static_cast<ssize_t>(count);
    }

    int far = -1;
    int fd = -1;
    std::vector<Bytes> writes; /**< one entry per call; nothing of them reaches the far end */
    std::function<ssize_t(std::size_t callNumber, std::size_t count)> afterWrite;
    std::function<void(int timeoutMs)> beforePoll;
};

TEST(BridgeCalls, ARequestGoesOutInOneWrite) {
    Line line;
    line.afterWrite = [&](std::size_t, std::size_t count) {
        line.answer({0x41});
        return static_cast<ssize_t>(count);
    };
    const Bytes data(255, 0x33);
    EXPECT_EQ(write_i2c_data(line.fd, 0x63, 0x10, data.data(), 255), 255);
    ASSERT_EQ(line.writes.size(), 1U);
    Bytes expected(259, 0x33);
    std::ranges::copy(Bytes{0x57, 0x63, 0x10, 0xFF}, expected.begin());
    EXPECT_EQ(line.writes[0], expected);
}

TEST(BridgeCalls, AWriteThatASignalCutShortIsMadeAgain) {
    Line line;
    line.afterWrite = [&](std::size_t callNumber, std::size_t count) -> ssize_t {
        if (callNumber == 1) {
            errno = EINTR;
            return -1;
        }
        line.answer({0x41, 0x42});
        return static_cast<ssize_t>(count);
    };
    U8_t data = 0;
    EXPECT_EQ(read_i2c_data(line.fd, 0x4C, 0x00, &data, 1), 1);
    EXPECT_EQ(data, 0x42);
    EXPECT_EQ(line.writes, (std::vector<Bytes>{{0x52, 0x4C, 0x00, 0x01}, {0x52, 0x4C, 0x00, 0x01}}));
}

TEST(BridgeCalls, ARequestThatWentOutInPartFailsTheTransfer) {
    Line line;
    line.afterWrite = [](std::size_t, std::size_t) -> ssize_t { return 3; };
    U8_t data = 0;
    EXPECT_EQ(read_i2c_data(line.fd, 0x4C, 0x00, &data, 1), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(line.writes.size(), 1U);
}

TEST(BridgeCalls, AWriteThatFailsFailsTheTransfer) {
    Line line;
    line.afterWrite = [](std::size_t, std::size_t) -> ssize_t {
        errno = EAGAIN;
        return -1;
    };
    U8_t data = 0;
    EXPECT_EQ(write_i2c_data(line.fd, 0x4C, 0x00, &data, 1), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(line.writes.size(), 1U);
}

TEST(BridgeCalls, InputThatIsThereBeforeTheRequestIsNotItsReply) {
    Line line;
    line.answer({0x41, 0x11});
    line.afterWrite = [&](std::size_t, std::size_t count) {
        line.answer({0x41, 0x22});
        return static_cast<ssize_t>(count);
    };
    U8_t data = 0;
    EXPECT_EQ(read_i2c_data(line.fd, 0x4C, 0x00, &data, 1), 1);
    EXPECT_EQ(data, 0x22);
}

TEST(BridgeCalls, AfterGarbageTheLineIsWatchedUntilItIsQuiet) {
    Line line;
    std::vector<Bytes> rest{{0x41, 0x55}, {0x41, 0x56}}; // arrives only once the failed transfer watches the line
    line.afterWrite = [&](std::size_t callNumber, std::size_t count) {
        line.answer(callNumber == 1 ? Bytes{0x3F} : Bytes{0x41, 0x22});
        return static_cast<ssize_t>(count);
    };
    line.beforePoll = [&](int timeoutMs) {
        if (timeoutMs > 0 && timeoutMs <= 20 && !rest.empty()) {
            line.answer(rest.front());
            rest.erase(rest.begin());
        }
    };
    U8_t data = 0;
    EXPECT_EQ(read_i2c_data(line.fd, 0x4C, 0x00, &data, 1), -1);
    EXPECT_EQ(errno, EPROTO);
    EXPECT_TRUE(rest.empty());
    pollfd left{line.fd, POLLIN, 0};
    EXPECT_EQ(__real_poll(&left, 1, 0), 0) << "the rest has been thrown away";
    line.beforePoll = nullptr;
    EXPECT_EQ(read_i2c_data(line.fd, 0x4C, 0x00, &data, 1), 1);
    EXPECT_EQ(data, 0x22);
}

TEST(BridgeCalls, AFarEndThatNeverStopsDoesNotHoldTheTransferUp) {
    Line line;
    line.beforePoll = [&](int) { line.answer({0x3F}); };
    U8_t data = 0;
    EXPECT_EQ(read_i2c_data(line.fd, 0x4C, 0x00, &data, 1), -1);
    EXPECT_EQ(errno, EPROTO);
    EXPECT_EQ(line.writes.size(), 1U);
}

TEST(BridgeCalls, AWaitThatASignalOrAClockEndsEarlyGoesOn) {
    Line line;
    int waits = 0;
    onPoll = [&](pollfd* fds, nfds_t count, int timeout) {
        if (timeout > 0 && ++waits < 3) { // the clearing of the line does not wait
            errno = EINTR;
            return waits == 1 ? -1 : 0;
        }
        if (waits == 3) {
            line.answer({0x41, 0x22});
        }
        return __real_poll(fds, count, timeout);
    };
    U8_t data = 0;
    EXPECT_EQ(read_i2c_data(line.fd, 0x4C, 0x00, &data, 1), 1);
    EXPECT_EQ(data, 0x22);
    EXPECT_EQ(line.writes.size(), 1U);
}

TEST(BridgeCalls, AWaitThatFailsFailsTheTransfer) {
    Line line;
    onPoll = [](pollfd*, nfds_t, int) {
        errno = ENOMEM;
        return -1;
    };
    U8_t data = 0;
    EXPECT_EQ(read_i2c_data(line.fd, 0x4C, 0x00, &data, 1), -1);
    EXPECT_EQ(errno, ENOMEM);
}

TEST(BridgeCalls, ALineInErrorWithoutInputFailsTheTransfer) {
    Line line;
    onPoll = [](pollfd* fds, nfds_t, int) {
        fds->revents = POLLERR;
        return 1;
    };
    U8_t data = 0;
    EXPECT_EQ(read_i2c_data(line.fd, 0x4C, 0x00, &data, 1), -1);
    EXPECT_EQ(errno, EIO);
}

/** The reply is on the line; its reads go as `onRead` says. */
int readWithReply(Line& line, U8_t* data) {
    line.afterWrite = [&](std::size_t, std::size_t count) {
        line.answer({0x41, 0x22});
        return static_cast<ssize_t>(count);
    };
    return read_i2c_data(line.fd, 0x4C, 0x00, data, 1);
}

TEST(BridgeCalls, AReadThatASignalStopsOrThatComesTooEarlyIsMadeAgain) {
    Line line;
    std::vector<int> errors{EINTR, EAGAIN};
    onRead = [&](int fd, void* bytes, std::size_t count) -> ssize_t {
        if (errors.empty()) {
            return __real_read(fd, bytes, count);
        }
        errno = errors.front();
        errors.erase(errors.begin());
        return -1;
    };
    U8_t data = 0;
    EXPECT_EQ(readWithReply(line, &data), 1);
    EXPECT_EQ(data, 0x22);
    EXPECT_TRUE(errors.empty());
}

TEST(BridgeCalls, AReadThatFailsOrGivesNothingFailsTheTransfer) {
    for (const auto& [result, error, seen] : {std::tuple<ssize_t, int, int>{-1, EBADMSG, EBADMSG}, {0, 0, EIO}}) {
        Line line;
        onRead = [&, result = result, error = error](int, void*, std::size_t) {
            errno = error;
            return result;
        };
        U8_t data = 0;
        EXPECT_EQ(readWithReply(line, &data), -1);
        EXPECT_EQ(errno, seen);
    }
}

TEST(BridgeCalls, ADescriptorThatDoesNotBlockWillDo) {
    Line line;
    ASSERT_EQ(fcntl(line.fd, F_SETFL, O_NONBLOCK), 0);
    line.afterWrite = [&](std::size_t, std::size_t count) {
        line.answer({0x41, 0x22});
        return static_cast<ssize_t>(count);
    };
    U8_t data = 0;
    EXPECT_EQ(read_i2c_data(line.fd, 0x4C, 0x00, &data, 1), 1);
    EXPECT_EQ(data, 0x22);
}

} // namespace
