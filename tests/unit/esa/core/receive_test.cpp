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

TEST_F(Receive, BareHeaderIsAMessage) {
    put(message(2, 64));
    put(message(3, 64));
    esaReceiveMmsg();
    EXPECT_THAT(systemCalls.calls, ElementsAre("recv 64 0x102 -> 64", "recv 64 0x0 -> 64"));
    EXPECT_THAT(verdicts(), ElementsAre("Un-supported SES Command [2]."));
    esaReceiveMmsg();
    EXPECT_THAT(verdicts(), ElementsAre("Un-supported SES Command [3]."));
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

TEST_F(Receive, MessageOf74BytesKeepsItsLast) {
    put(message(6, 4064));
    esaReceiveMmsg();
    put(message(7, 74));
    esaReceiveMmsg();
    EXPECT_EQ(esaControl.esaInMsg[73], static_cast<U8_t>(73 * 7));
    EXPECT_EQ(esaControl.esaInMsg[74], 0);
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

TEST_F(Receive, TooLongMessageIsReadInThesePieces) {
    put(message(10, 5000));
    esaReceiveMmsg();
    EXPECT_THAT(systemCalls.calls, ElementsAre("recv 64 0x102 -> 64", "recv 4064 0x0 -> 4064", "recv 512 0x0 -> 512",
                                               "recv 424 0x0 -> 424"));
}

TEST_F(Receive, LengthZeroTakesTheHeaderOffTheStreamAndIsRejected) {
    put(message(11, 200)); // a good message before it, which must not be taken for it
    esaReceiveMmsg();
    (void)verdicts();
    put(message(12, 0));
    put(message(13));
    esaReceiveMmsg();
    EXPECT_THAT(verdicts(),
                ElementsAre("MMSG mmsh_length [0] is out of range", "MMSG requestor [20] sends wrong mmsg_length!!!"));
    EXPECT_EQ(esaControl.esaInMsg[15], 12);
    esaReceiveMmsg();
    EXPECT_THAT(verdicts(), ElementsAre("Un-supported SES Command [13]."));
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

TEST_F(Receive, LengthOfTwelveIsTheLeastThatAStreamCanShow) {
    Bytes bytes = message(16, 12);
    bytes.resize(12);
    put(bytes);
    esaReceiveMmsg();
    EXPECT_THAT(systemCalls.calls, ElementsAre("recv 64 0x102 -> 12", "recv 12 0x0 -> 12"));
    EXPECT_THAT(verdicts(),
                ElementsAre("MMSG mmsh_length [12] is out of range", "MMSG requestor [0] sends wrong mmsg_length!!!"));
}

TEST_F(Receive, LengthOfElevenLeavesTheLastByteOfItselfToTheNextMessage) {
    Bytes bytes = message(17, 11);
    bytes.resize(12);
    Bytes next = message(18);
    next[0] = bytes[11]; // a link word, which nobody reads
    bytes.insert(bytes.end(), next.begin() + 1, next.end());
    put(bytes);
    esaReceiveMmsg();
    EXPECT_THAT(systemCalls.calls, ElementsAre("recv 64 0x102 -> 64", "recv 11 0x0 -> 11"));
    // The header that was peeked is judged, and the dispatcher sees bytes of the next message in it.
    EXPECT_THAT(verdicts(), testing::Contains("MMSG mmsh_length [11] is out of range"));
    esaReceiveMmsg();
    EXPECT_THAT(verdicts(), ElementsAre("Un-supported SES Command [18]."));
}

TEST_F(Receive, LengthOfOneTakesOneByteOff) {
    // Eleven bytes of the short one are the front of the next: its length begins with the 1, its version is 0.
    Bytes next = message(19, 256);
    next[9] = 0;
    Bytes bytes = {0x55};
    bytes.insert(bytes.end(), next.begin(), next.end());
    ASSERT_EQ(bytes[10], 0);
    ASSERT_EQ(bytes[11], 1);
    put(bytes);
    esaReceiveMmsg();
    EXPECT_THAT(systemCalls.calls, ElementsAre("recv 64 0x102 -> 64", "recv 1 0x0 -> 1"));
    EXPECT_THAT(verdicts(), testing::Contains("MMSG mmsh_length [1] is out of range"));
    esaReceiveMmsg();
    EXPECT_THAT(verdicts(), ElementsAre("Un-supported SES Command [19]."));
    EXPECT_EQ(left(), 0);
}

TEST_F(Receive, HeaderInPiecesIsPeekedAgainUntilItIsWhole) {
    const Bytes bytes = message(20, 70);
    std::size_t written = 0;
    auto more = [&](std::size_t count) {
        put(Bytes(bytes.begin() + static_cast<long>(written), bytes.begin() + static_cast<long>(written + count)));
        written += count;
    };
    more(1);
    onFakeSleep = [&](unsigned long long) { more(fakeSleeps.size() < 63 ? 1 : 7); };
    esaReceiveMmsg();
    ASSERT_EQ(systemCalls.calls.size(), 65U);
    EXPECT_EQ(systemCalls.calls[0], "recv 64 0x102 -> 1");
    EXPECT_EQ(systemCalls.calls[1], "recv 64 0x102 -> 2");
    EXPECT_EQ(systemCalls.calls[62], "recv 64 0x102 -> 63");
    EXPECT_EQ(systemCalls.calls[63], "recv 64 0x102 -> 64");
    EXPECT_EQ(systemCalls.calls[64], "recv 70 0x0 -> 70");
    EXPECT_EQ(fakeSleeps, std::vector<unsigned long long>(63, 1000ULL));
    EXPECT_EQ(hex(esaControl.esaInMsg, 70), hex(bytes));
    EXPECT_THAT(verdicts(), ElementsAre("Un-supported SES Command [20]."));
}

TEST_F(Receive, ElevenBytesDoNotShowALengthYet) {
    Bytes bytes = message(21, 0); // a length of 0 would be there at once, were the length field believed too early
    bytes.resize(11);
    put(bytes);
    onFakeSleep = [&](unsigned long long) {
        if (fakeSleeps.size() == 1) {
            const Bytes rest = message(21, 64);
            put(Bytes(rest.begin() + 11, rest.end()));
        }
    };
    esaReceiveMmsg();
    EXPECT_THAT(systemCalls.calls, ElementsAre("recv 64 0x102 -> 11", "recv 64 0x102 -> 64", "recv 64 0x0 -> 64"));
    EXPECT_THAT(verdicts(), ElementsAre("Un-supported SES Command [21]."));
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

TEST_F(Receive, EveryPieceOfABrokenBodyGoesToTheStartOfTheBuffer) {
    const Bytes bytes = message(25, 100);
    put(Bytes(bytes.begin(), bytes.begin() + 70));
    systemCalls.onRecv = [&] {
        if (systemCalls.recvCount == 2) { // one peek and one receive before
            put(Bytes(bytes.begin() + 70, bytes.end()));
        }
    };
    esaReceiveMmsg();
    EXPECT_THAT(systemCalls.calls, ElementsAre("recv 64 0x102 -> 64", "recv 100 0x0 -> 70", "recv 30 0x0 -> 30"));
    EXPECT_EQ(hex(esaControl.esaInMsg, 30), hex(bytes.data() + 70, 30));
    EXPECT_EQ(hex(esaControl.esaInMsg + 30, 40), hex(bytes.data() + 30, 40));
}

TEST_F(Receive, FailedPeekIsACriticalErrorAndIsTriedAgain) {
    put(message(26));
    systemCalls.recvErrors[0] = EINTR;
    esaReceiveMmsg();
    ASSERT_EQ(fakeEventLog.size(), 4U);
    EXPECT_EQ(errorMessage(0), "Linux recv function fails, MSG_PEEK readSize = [-1] is wrong");
    EXPECT_EQ(errorFunction(0), "main()");
    EXPECT_EQ(textAt(fakeEventLog[0].bytes, 152), "receive.cpp");
    EXPECT_THAT(systemCalls.calls, ElementsAre("recv 64 0x102 -> -1", "recv 64 0x102 -> 64", "recv 64 0x0 -> 64"));
    EXPECT_THAT(fakeSleeps, ElementsAre(1000ULL));
    const std::vector<std::string> trace = takeTrace();
    ASSERT_GE(trace.size(), 6U);
    EXPECT_EQ(trace[0], "tmpMMCH  =");
    EXPECT_EQ(trace[1], "********************** Critical Error *********************")
        << "nothing was seen, so no bytes";
    EXPECT_EQ(trace[5], "| Message:   Linux recv function fails, MSG_PEEK readSize = [-1] is wrong");
    EXPECT_THAT(trace, Contains("Un-supported SES Command [26]."));
}

TEST_F(Receive, DumpOfAFailedPeekHoldsTheBytesSeenSoFar) {
    const Bytes bytes = message(27);
    put(Bytes(bytes.begin(), bytes.begin() + 10));
    systemCalls.recvErrors[1] = EIO;
    onFakeSleep = [&](unsigned long long) {
        if (fakeSleeps.size() == 2) {
            put(Bytes(bytes.begin() + 10, bytes.end()));
        }
    };
    esaReceiveMmsg();
    const std::vector<std::string> trace = takeTrace();
    EXPECT_EQ(trace[0], "tmpMMCH  =");
    EXPECT_THAT(trace[1], testing::MatchesRegex("0x[0-9A-Fa-f]+: 0000000000000000 0E01"));
    EXPECT_EQ(trace[2], "********************** Critical Error *********************");
    EXPECT_EQ(fakeEventLog.size(), 4U);
    EXPECT_THAT(trace, Contains("Un-supported SES Command [27]."));
}

TEST_F(Receive, FailedBodyIsACriticalErrorAndIsTriedAgain) {
    put(message(58, 90));
    systemCalls.recvErrors[1] = ECONNRESET;
    esaReceiveMmsg();
    ASSERT_EQ(fakeEventLog.size(), 4U);
    EXPECT_EQ(errorMessage(0), "Linux recv function fails, mmsg_length readSize = [-1] is wrong");
    EXPECT_EQ(errorFunction(0), "main()");
    EXPECT_THAT(systemCalls.calls, ElementsAre("recv 64 0x102 -> 64", "recv 90 0x0 -> -1", "recv 90 0x0 -> 90"));
    EXPECT_THAT(fakeSleeps, ElementsAre(1000ULL));
    const std::vector<std::string> trace = takeTrace();
    EXPECT_EQ(trace[0], "esaMMSG =");
    EXPECT_EQ(trace[1], "********************** Critical Error *********************");
    EXPECT_THAT(trace, Contains("Un-supported SES Command [58]."));
}

TEST_F(Receive, DumpOfAFailedBodyHoldsTheBytesReadSoFar) {
    const Bytes bytes = message(59, 100);
    put(Bytes(bytes.begin(), bytes.begin() + 66));
    systemCalls.recvErrors[2] = EIO;
    systemCalls.onRecv = [&] {
        if (systemCalls.recvCount == 3) {
            put(Bytes(bytes.begin() + 66, bytes.end()));
        }
    };
    esaReceiveMmsg();
    EXPECT_THAT(systemCalls.calls,
                ElementsAre("recv 64 0x102 -> 64", "recv 100 0x0 -> 66", "recv 34 0x0 -> -1", "recv 34 0x0 -> 34"));
    const std::vector<std::string> trace = takeTrace();
    EXPECT_EQ(trace[0], "esaMMSG =");
    EXPECT_THAT(trace[1], testing::EndsWith(": 0000000000000000 0E0100640C00003B 1400000000000000 0000000200000000"));
    EXPECT_THAT(trace[3], testing::EndsWith(": C0C7"));
    EXPECT_EQ(trace[4], "********************** Critical Error *********************");
}

TEST_F(Receive, FailureWhileDrainingDumpsTheBufferAndIsTriedAgain) {
    put(message(30, 4100));
    systemCalls.recvErrors[2] = EIO;
    esaReceiveMmsg();
    ASSERT_EQ(fakeEventLog.size(), 4U);
    EXPECT_EQ(errorMessage(0), "Linux recv function fails, mmsg_length readSize = [-1] is wrong");
    EXPECT_THAT(systemCalls.calls,
                ElementsAre("recv 64 0x102 -> 64", "recv 4064 0x0 -> 4064", "recv 36 0x0 -> -1", "recv 36 0x0 -> 36"));
    EXPECT_THAT(verdicts(), Contains("MMSG mmsh_length [4100] is out of range"));
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

TEST_F(Receive, SwitchThatClosesInsideABodyIsNoErrorAndIsAskedAgainWithAPause) {
    put([] {
        Bytes bytes = message(32, 100);
        bytes.resize(80);
        return bytes;
    }());
    close(switchFd);
    switchFd = -1;
    onFakeSleep = [this](unsigned long long) {
        if (fakeSleeps.size() == 3) {
            reconnectWith(Bytes(20, 0));
        }
    };
    esaReceiveMmsg();
    EXPECT_EQ(fakeSleeps, std::vector<unsigned long long>(3, 100000ULL));
    EXPECT_THAT(systemCalls.calls, ElementsAre("recv 64 0x102 -> 64", "recv 100 0x0 -> 80", "recv 20 0x0 -> 0",
                                               "recv 20 0x0 -> 0", "recv 20 0x0 -> 0", "recv 20 0x0 -> 20"));
    EXPECT_THAT(fakeEventLog, IsEmpty());
}
