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

#include "calls.h"
#include "platform.h"
#include "tapped_line.h"
#include "transfers.h"

namespace {

/** A line whose far end answers each request with `reply`. */
struct AnsweredLine_t : TappedLine_t {
    explicit AnsweredLine_t(Bytes_t bytes = {0x41, 0x22}) : reply(std::move(bytes)) {
        afterWrite = [this](std::size_t, std::size_t count) {
            answer(reply);
            return static_cast<ssize_t>(count);
        };
    }
    Bytes_t reply;
};

TEST(BridgeCalls, ARequestGoesOutInOneWrite) {
    AnsweredLine_t line({0x41});
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
        if (callNumber < 30) {
            errno = EINTR;
            return -1;
        }
        line.answer({0x41, 0x42});
        return static_cast<ssize_t>(count);
    };
    EXPECT_EQ(readByte(line.fd), 0x42);
    EXPECT_EQ(line.writes, std::vector<Bytes_t>(30, {0x52, 0x4C, 0x00, 0x01}));
}

TEST(BridgeCalls, AWriteThatFailsOrGoesOutInPartFailsTheTransfer) {
    for (const auto& [result, error, seen] : {std::tuple<ssize_t, int, int>{3, 0, EIO}, {-1, EAGAIN, EAGAIN}}) {
        TappedLine_t line;
        line.afterWrite = [result = result, error = error](std::size_t, std::size_t) {
            errno = error;
            return result;
        };
        EXPECT_EQ(readByte(line.fd), -seen);
        EXPECT_EQ(line.writes.size(), 1U);
        EXPECT_EQ(writeByte(line.fd), -seen);
        EXPECT_EQ(line.writes.size(), 2U);
    }
}

TEST(BridgeCalls, InputThatIsThereBeforeTheRequestIsNotItsReply) {
    AnsweredLine_t line;
    line.answer({0x41, 0x11});
    EXPECT_EQ(readByte(line.fd), 0x22);
}

TEST(BridgeCalls, AfterGarbageTheNextTransferWatchesTheLineUntilItIsQuiet) {
    AnsweredLine_t line({0x3F});
    std::vector<Bytes_t> rest{{0x41, 0x55}, {0x41, 0x56}}; // arrives only while the next transfer watches the line
    line.beforePoll = [&](int timeoutMs) {
        if (line.greetings == 2 && timeoutMs > 0 && !rest.empty()) {
            line.answer(rest.front());
            rest.erase(rest.begin());
        }
    };
    EXPECT_EQ(readByte(line.fd), -EPROTO);
    line.reply = {0x41, 0x22};
    EXPECT_EQ(readByte(line.fd), 0x22);
    EXPECT_TRUE(rest.empty());
    EXPECT_EQ(line.greetings, 2);
}

TEST(BridgeCalls, AFarEndThatNeverStopsDoesNotHoldTheTransferUp) {
    TappedLine_t line;
    line.beforePoll = [&](int) { line.answer({0x3F}); };
    EXPECT_EQ(readByte(line.fd), -EPROTO);
    EXPECT_EQ(line.writes.size(), 1U);
}

TEST(BridgeCalls, AWaitThatASignalOrAClockEndsEarlyGoesOn) {
    TappedLine_t line;
    int waits = 0;
    calls::poll.answer = [&](pollfd* fds, nfds_t count, int timeout) {
        if (timeout > 0 && !line.writes.empty() && ++waits < 40) { // the clearing of the line does not wait
            errno = EINTR;
            return waits % 2 != 0 ? -1 : 0;
        }
        if (waits == 40) {
            line.answer({0x41, 0x22});
        }
        return calls::poll.real(fds, count, timeout);
    };
    EXPECT_EQ(readByte(line.fd), 0x22);
    EXPECT_EQ(line.writes.size(), 1U);
}

TEST(BridgeCalls, AWaitThatFailsOrFindsTheLineInErrorFailsTheTransfer) {
    for (const bool inError : {false, true}) {
        TappedLine_t line;
        calls::poll.answer = [&](pollfd* fds, nfds_t, int) {
            fds->revents = POLLERR;
            errno = ENOMEM;
            return inError ? 1 : -1;
        };
        EXPECT_EQ(readByte(line.fd), inError ? -EIO : -ENOMEM);
    }
}

TEST(BridgeCalls, AReadThatASignalStopsOrThatComesTooEarlyIsMadeAgain) {
    AnsweredLine_t line;
    std::vector<int> errors(40, EINTR);
    errors.resize(60, EAGAIN);
    calls::read.answer = [&](int fd, void* bytes, std::size_t count) -> ssize_t {
        if (errors.empty()) {
            return calls::read.real(fd, bytes, count);
        }
        errno = errors.front();
        errors.erase(errors.begin());
        return -1;
    };
    EXPECT_EQ(readByte(line.fd), 0x22);
    EXPECT_TRUE(errors.empty());
}

TEST(BridgeCalls, AReadThatFailsOrGivesNothingFailsTheTransfer) {
    for (const auto& [result, error, seen] : {std::tuple<ssize_t, int, int>{-1, EBADMSG, EBADMSG}, {0, 0, EIO}}) {
        AnsweredLine_t line;
        calls::read.answer = [&, result = result, error = error](int, void*, std::size_t) {
            errno = error;
            return result;
        };
        EXPECT_EQ(readByte(line.fd), -seen);
    }
}

TEST(BridgeCalls, ADescriptorThatDoesNotBlockWillDo) {
    AnsweredLine_t line;
    ASSERT_EQ(fcntl(line.fd, F_SETFL, O_NONBLOCK), 0);
    EXPECT_EQ(readByte(line.fd), 0x22);
}

} // namespace
