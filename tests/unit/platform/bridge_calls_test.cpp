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
#include "tapped_line.h"
#include "wrapped_calls.h"

namespace {

TEST(BridgeCalls, ARequestGoesOutInOneWrite) {
    TappedLine_t line;
    line.afterWrite = [&](std::size_t, std::size_t count) {
        line.answer({0x41});
        return static_cast<ssize_t>(count);
    };
    const Bytes_t data(255, 0x33);
    EXPECT_EQ(write_i2c_data(line.fd, 0x63, 0x10, data.data(), 255), 255);
    ASSERT_EQ(line.writes.size(), 1U);
    Bytes_t expected(259, 0x33);
    std::ranges::copy(Bytes_t{0x57, 0x63, 0x10, 0xFF}, expected.begin());
    EXPECT_EQ(line.writes[0], expected);
}

TEST(BridgeCalls, AWriteThatASignalCutShortIsMadeAgain) {
    TappedLine_t line;
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
    EXPECT_EQ(line.writes, (std::vector<Bytes_t>{{0x52, 0x4C, 0x00, 0x01}, {0x52, 0x4C, 0x00, 0x01}}));
}

TEST(BridgeCalls, ARequestThatWentOutInPartFailsTheTransfer) {
    TappedLine_t line;
    line.afterWrite = [](std::size_t, std::size_t) -> ssize_t { return 3; };
    U8_t data = 0;
    EXPECT_EQ(read_i2c_data(line.fd, 0x4C, 0x00, &data, 1), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(line.writes.size(), 1U);
}

TEST(BridgeCalls, AWriteThatFailsFailsTheTransfer) {
    TappedLine_t line;
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
    TappedLine_t line;
    line.answer({0x41, 0x11});
    line.afterWrite = [&](std::size_t, std::size_t count) {
        line.answer({0x41, 0x22});
        return static_cast<ssize_t>(count);
    };
    U8_t data = 0;
    EXPECT_EQ(read_i2c_data(line.fd, 0x4C, 0x00, &data, 1), 1);
    EXPECT_EQ(data, 0x22);
}

TEST(BridgeCalls, AfterGarbageTheNextTransferWatchesTheLineUntilItIsQuiet) {
    TappedLine_t line;
    std::vector<Bytes_t> rest{{0x41, 0x55}, {0x41, 0x56}}; // arrives only while the next transfer watches the line
    line.afterWrite = [&](std::size_t callNumber, std::size_t count) {
        line.answer(callNumber == 1 ? Bytes_t{0x3F} : Bytes_t{0x41, 0x22});
        return static_cast<ssize_t>(count);
    };
    line.beforePoll = [&](int timeoutMs) {
        if (line.greetings == 2 && timeoutMs > 0 && !rest.empty()) {
            line.answer(rest.front());
            rest.erase(rest.begin());
        }
    };
    U8_t data = 0;
    EXPECT_EQ(read_i2c_data(line.fd, 0x4C, 0x00, &data, 1), -1);
    EXPECT_EQ(errno, EPROTO);
    EXPECT_EQ(read_i2c_data(line.fd, 0x4C, 0x00, &data, 1), 1);
    EXPECT_EQ(data, 0x22);
    EXPECT_TRUE(rest.empty());
    EXPECT_EQ(line.greetings, 2);
}

TEST(BridgeCalls, AFarEndThatNeverStopsDoesNotHoldTheTransferUp) {
    TappedLine_t line;
    line.beforePoll = [&](int) { line.answer({0x3F}); };
    U8_t data = 0;
    EXPECT_EQ(read_i2c_data(line.fd, 0x4C, 0x00, &data, 1), -1);
    EXPECT_EQ(errno, EPROTO);
    EXPECT_EQ(line.writes.size(), 1U);
}

TEST(BridgeCalls, AWaitThatASignalOrAClockEndsEarlyGoesOn) {
    TappedLine_t line;
    int waits = 0;
    onPoll = [&](pollfd* fds, nfds_t count, int timeout) {
        if (timeout > 0 && !line.writes.empty() && ++waits < 3) { // the clearing of the line does not wait
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
    TappedLine_t line;
    onPoll = [](pollfd*, nfds_t, int) {
        errno = ENOMEM;
        return -1;
    };
    U8_t data = 0;
    EXPECT_EQ(read_i2c_data(line.fd, 0x4C, 0x00, &data, 1), -1);
    EXPECT_EQ(errno, ENOMEM);
}

TEST(BridgeCalls, ALineInErrorWithoutInputFailsTheTransfer) {
    TappedLine_t line;
    onPoll = [](pollfd* fds, nfds_t, int) {
        fds->revents = POLLERR;
        return 1;
    };
    U8_t data = 0;
    EXPECT_EQ(read_i2c_data(line.fd, 0x4C, 0x00, &data, 1), -1);
    EXPECT_EQ(errno, EIO);
}

/** The reply is on the line; its reads go as `onRead` says. */
int readWithReply(TappedLine_t& line, U8_t* data) {
    line.afterWrite = [&](std::size_t, std::size_t count) {
        line.answer({0x41, 0x22});
        return static_cast<ssize_t>(count);
    };
    return read_i2c_data(line.fd, 0x4C, 0x00, data, 1);
}

TEST(BridgeCalls, AReadThatASignalStopsOrThatComesTooEarlyIsMadeAgain) {
    TappedLine_t line;
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
        TappedLine_t line;
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
    TappedLine_t line;
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
