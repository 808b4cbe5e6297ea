/** Cutting messages out of the stream: whole ones, ones in pieces, ones of a wrong length, and failing receives. */
#include <gmock/gmock.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <chrono>
#include <optional>
#include <thread>

#include "core_test.h"
#include "esainit.h"
#include "messaging/receive.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Receive : public CoreTest {
protected:
    /** A message of `length` bytes that says no more than which one it is: an unknown type from Startup. */
    static Bytes message(int command, std::size_t length = 64) {
        Bytes bytes(std::max<std::size_t>(length, 64), 0);
        bytes[8] = 14;
        bytes[9] = 1;
        bytes[10] = static_cast<U8_t>(length >> 8);
        bytes[11] = static_cast<U8_t>(length);
        bytes[12] = 12;
        bytes[15] = static_cast<U8_t>(command);
        bytes[16] = 20;
        bytes[27] = 0x02;
        for (std::size_t i = 64; i < bytes.size(); ++i) {
            bytes[i] = static_cast<U8_t>(i * 7);
        }
        return bytes;
    }

    void put(const Bytes& bytes) { ASSERT_EQ(write(switchFd, bytes.data(), bytes.size()), ssize_t(bytes.size())); }

    /** Makes the adapter's socket one on which `bytes` wait, as if the connection had never been lost. */
    void reconnectWith(const Bytes& bytes) {
        int fds[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
        ASSERT_EQ(dup2(fds[0], esaControl.socketFdMSM), esaControl.socketFdMSM);
        close(fds[0]);
        close(switchFd);
        switchFd = fds[1];
        put(bytes);
    }

    /** Bytes that wait on the stream still. */
    static int left() {
        int count = -1;
        (void)ioctl(esaControl.socketFdMSM, FIONREAD, &count);
        return count;
    }
};

/** With the socket that start-up makes, whose switch writes a byte at a time. */
class ReceivePieces : public Receive {
protected:
    ReceivePieces() : listener(directory + "/esadapter") {
        close(esaControl.socketFdMSM);
        params.chassisType = 1;
        esaInit();
        (void)takeTrace();
        close(switchFd);
        switchFd = listener.accept();
        onFakeSleep = [](unsigned long long) {
            fakeSleeps.clear();
            std::this_thread::yield();
        };
    }
    ~ReceivePieces() override {
        if (writer.joinable()) {
            writer.join();
        }
    }

    void drip(const Bytes& bytes, std::size_t piece) {
        writer = std::thread([this, bytes, piece] {
            for (std::size_t at = 0; at < bytes.size(); at += piece) {
                const std::size_t size = std::min(piece, bytes.size() - at);
                if (write(switchFd, bytes.data() + at, size) != static_cast<ssize_t>(size)) {
                    return;
                }
                std::this_thread::sleep_for(std::chrono::microseconds(50));
            }
        });
    }

    SwitchSocket listener;
    std::thread writer;
};

} // namespace

TEST_F(Receive, WholeMessageIsPeekedOnceAndReadOnce) {
    const Bytes bytes = message(1, 200);
    put(bytes);
    esaReceiveMmsg();
    EXPECT_THAT(systemCalls.calls, ElementsAre("recv 64 0x102 -> 64", "recv 200 0x0 -> 200"));
    EXPECT_EQ(hex(esaControl.esaInMsg, 200), hex(bytes));
    EXPECT_THAT(verdicts(), ElementsAre("Un-supported SES Command [1]."));
    EXPECT_THAT(fakeSleeps, IsEmpty());
}

TEST_F(Receive, LargestMessageFillsTheBuffer) {
    esaControl.esaWorkSpace[0] = 0xAB;
    const Bytes bytes = message(4, 4064);
    put(bytes);
    put(message(5));
    esaReceiveMmsg();
    EXPECT_EQ(hex(esaControl.esaInMsg, 4064), hex(bytes));
    EXPECT_THAT(verdicts(), ElementsAre("Un-supported SES Command [4]."));
    esaReceiveMmsg();
    EXPECT_THAT(verdicts(), ElementsAre("Un-supported SES Command [5]."));
    EXPECT_EQ(esaControl.esaWorkSpace[0], 0xAB);
}

TEST_F(Receive, EarlierMessageLeavesItsFirst73BytesBehindAShorterOneAndNoMore) {
    put(message(6, 4064));
    esaReceiveMmsg();
    put(message(7, 64));
    esaReceiveMmsg();
    EXPECT_EQ(esaControl.esaInMsg[64], static_cast<U8_t>(64 * 7)) << "the earlier message's page code is at 72";
    EXPECT_EQ(esaControl.esaInMsg[72], static_cast<U8_t>(72 * 7));
    for (std::size_t i = 73; i < 4064; ++i) {
        ASSERT_EQ(esaControl.esaInMsg[i], 0) << i;
    }
}

TEST_F(Receive, TooLongMessageIsCutAtTheBufferDrainedAndRejected) {
    for (std::size_t length : {4065U, 4576U, 4577U, 65535U}) {
        SCOPED_TRACE(length);
        const Bytes bytes = message(8, length);
        esaControl.esaWorkSpace[0] = 0xAB;
        put(bytes);
        put(message(9));
        esaReceiveMmsg();
        EXPECT_THAT(verdicts(), ElementsAre("MMSG mmsh_length [" + std::to_string(length) + "] is out of range",
                                            "MMSG requestor [20] sends wrong mmsg_length!!!"));
        EXPECT_EQ(hex(esaControl.esaInMsg, 4064), hex(bytes.data(), 4064));
        EXPECT_EQ(esaControl.esaWorkSpace[0], 0xAB) << "nothing behind the buffer was overwritten";
        esaReceiveMmsg();
        EXPECT_THAT(verdicts(), ElementsAre("Un-supported SES Command [9]."));
    }
    EXPECT_THAT(takeMessages(), IsEmpty());
}

TEST_F(Receive, LoneMessageOfSixtyThreeBytesIsRejectedAtOnce) {
    Bytes bytes = message(14, 63);
    bytes.resize(63);
    put(bytes);
    esaReceiveMmsg();
    EXPECT_THAT(systemCalls.calls, ElementsAre("recv 64 0x102 -> 63", "recv 63 0x0 -> 63"));
    EXPECT_THAT(fakeSleeps, IsEmpty());
    EXPECT_THAT(verdicts(),
                ElementsAre("MMSG mmsh_length [63] is out of range", "MMSG requestor [20] sends wrong mmsg_length!!!"));
    put(message(15));
    esaReceiveMmsg();
    EXPECT_THAT(verdicts(), ElementsAre("Un-supported SES Command [15]."));
}

TEST_F(ReceivePieces, MessageThatComesAByteAtATimeIsWhole) {
    const Bytes first = message(22, 300);
    const Bytes second = message(23, 64);
    Bytes both = first;
    both.insert(both.end(), second.begin(), second.end());
    drip(both, 1);
    esaReceiveMmsg();
    EXPECT_EQ(hex(esaControl.esaInMsg, 300), hex(first));
    EXPECT_EQ(systemCalls.calls.back(), "recv 300 0x0 -> 300") << "one receive takes the whole body";
    esaReceiveMmsg();
    EXPECT_THAT(verdicts(), ElementsAre("Un-supported SES Command [22].", "Un-supported SES Command [23]."));
}

TEST_F(ReceivePieces, LargestMessageInPiecesIsWhole) {
    const Bytes bytes = message(24, 4064);
    drip(bytes, 97);
    esaReceiveMmsg();
    EXPECT_EQ(hex(esaControl.esaInMsg, 4064), hex(bytes));
    EXPECT_EQ(systemCalls.calls.back(), "recv 4064 0x0 -> 4064");
    EXPECT_THAT(verdicts(), ElementsAre("Un-supported SES Command [24]."));
}

TEST_F(Receive, SwitchThatHasClosedIsNoErrorAndIsAskedAgainWithAPause) {
    close(switchFd);
    switchFd = -1;
    onFakeSleep = [this](unsigned long long) {
        if (fakeSleeps.size() == 4) {
            reconnectWith(message(31));
        }
    };
    esaReceiveMmsg();
    EXPECT_EQ(fakeSleeps, std::vector<unsigned long long>(4, 100000ULL));
    EXPECT_THAT(systemCalls.calls, ElementsAre("recv 64 0x102 -> 0", "recv 64 0x102 -> 0", "recv 64 0x102 -> 0",
                                               "recv 64 0x102 -> 0", "recv 64 0x102 -> 64", "recv 64 0x0 -> 64"));
    EXPECT_THAT(fakeEventLog, IsEmpty());
    EXPECT_THAT(verdicts(), ElementsAre("Un-supported SES Command [31]."));
}
