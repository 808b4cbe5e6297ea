/** Replies that repeat the request's number, and how the two ends of a line get in step. */
#include <cerrno>
#include <vector>

#include <gtest/gtest.h>

#include "i2c_bridge.h"
#include "platform.h"
#include "tapped_line.h"
#include "transfers.h"

namespace {

/** A byte over the bridge itself, whatever is known of the chip's health; minus the errno of a failure. */
int bridgeByte(int fd) {
    U8_t data = 0;
    const int result = I2C_BRIDGE.read(fd, 0x4C, 0x00, &data, 1);
    return outcomeOf(result, data);
}

/** A far end that numbers its replies: answers every greeting, and each request with the next of `replies`. */
struct NumberingPeer_t : TappedLine_t {
    explicit NumberingPeer_t(std::vector<Bytes_t> script) : replies(std::move(script)) {
        afterGreeting = [this](U8_t number) -> ssize_t {
            greetingNumbers.push_back(number);
            answer(beforeGreetingsAnswer);
            beforeGreetingsAnswer.clear();
            answer({0x68, number});
            return 2;
        };
        afterWrite = [this](std::size_t callNumber, std::size_t count) {
            if (callNumber <= replies.size()) {
                answer(replies[callNumber - 1]);
            }
            return static_cast<ssize_t>(count);
        };
    }

    std::vector<Bytes_t> replies;
    Bytes_t greetingNumbers;
    Bytes_t beforeGreetingsAnswer;
};

TEST(BridgeNumbers, AFarEndThatAnswersTheGreetingGetsNumberedRequests) {
    NumberingPeer_t peer({{0x61, 0x82, 0x01, 0x1C}, {0x61, 0x83, 0x00}, {0x61, 0x84, 0x03, 0x02, 0x40, 0x7F}});
    Bytes_t data{0xDE, 0, 0};
    EXPECT_EQ(read_i2c_data(peer.fd, 0x4C, 0x00, &data[1], 1), 1);
    EXPECT_EQ(data[1], 0x1C);
    EXPECT_EQ(write_i2c_data(peer.fd, 0x28, 0x4E, data.data(), 1), 1);
    EXPECT_EQ(read_i2c_data(peer.fd, 0x63, 0x10, data.data(), 3), 3);
    EXPECT_EQ(data, (Bytes_t{0x02, 0x40, 0x7F}));
    EXPECT_EQ(peer.greetingNumbers, Bytes_t{0x81});
    EXPECT_EQ(peer.writes, (std::vector<Bytes_t>{{0x72, 0x82, 0x4C, 0x00, 0x01},
                                                 {0x77, 0x83, 0x28, 0x4E, 0x01, 0xDE},
                                                 {0x72, 0x84, 0x63, 0x10, 0x03}}));
}

TEST(BridgeNumbers, BeginAfreshOnEveryLine) {
    for (int line = 0; line < 2; ++line) {
        NumberingPeer_t peer({{0x61, 0x82, 0x01, 0x1C}});
        EXPECT_EQ(readByte(peer.fd), 0x1C);
        EXPECT_EQ(peer.greetingNumbers, Bytes_t{0x81});
    }
}

TEST(BridgeNumbers, TheLongestTransfersFitTheirFrames) {
    Bytes_t reply{0x61, 0x82, 0xFF};
    reply.resize(258, 0x5A);
    NumberingPeer_t peer({reply, {0x61, 0x83, 0x00}});
    Bytes_t data(255);
    EXPECT_EQ(read_i2c_data(peer.fd, 0x4C, 0x00, data.data(), 255), 255);
    EXPECT_EQ(data, Bytes_t(255, 0x5A));
    EXPECT_EQ(write_i2c_data(peer.fd, 0x4C, 0x00, data.data(), 255), 255);
    EXPECT_EQ(peer.writes[1].size(), 260U);
}

TEST(BridgeNumbers, NumbersKeepTheirTopBitAndComeRoundAgain) {
    NumberingPeer_t peer({});
    peer.afterWrite = [&](std::size_t, std::size_t count) {
        peer.answer({0x61, peer.writes.back()[1], 0x01, 0x00});
        return static_cast<ssize_t>(count);
    };
    for (int i = 0; i < 128; ++i) {
        ASSERT_EQ(readByte(peer.fd), 0x00);
    }
    EXPECT_EQ(peer.writes[0][1], 0x82);
    EXPECT_EQ(peer.writes[125][1], 0xFF);
    EXPECT_EQ(peer.writes[126][1], 0x80);
    EXPECT_EQ(peer.writes[127][1], 0x81);
}

TEST(BridgeNumbers, ARefusalFailsAtOnceAndNeedsNoGreeting) {
    NumberingPeer_t peer({{0x6E, 0x82}, {0x61, 0x83, 0x01, 0x05}});
    EXPECT_EQ(readByte(peer.fd, 0x2D), -ENXIO);
    EXPECT_EQ(readByte(peer.fd, 0x28), 0x05);
    EXPECT_EQ(peer.greetings, 1);
}

TEST(BridgeNumbers, RepliesToEarlierRequestsArePassedOver) {
    NumberingPeer_t peer({{0x61, 0x81, 0x02, 0x61, 0x82, 0x6E, 0x80, 0x68, 0x82, 0x61, 0x82, 0x01, 0x22}});
    EXPECT_EQ(readByte(peer.fd), 0x22);
}

TEST(BridgeNumbers, AReplyAfterItsTimeIsNeverTheNextRequests) {
    NumberingPeer_t peer({{}, {0x61, 0x84, 0x01, 0x22}});
    EXPECT_EQ(readByte(peer.fd), -ETIMEDOUT);
    peer.beforeGreetingsAnswer = {0x68, 0x81, 0x61, 0x82, 0x01, 0x11}; // come when the next transfer has begun
    EXPECT_EQ(readByte(peer.fd, 0x4B), 0x22);
    EXPECT_EQ(peer.greetingNumbers, (Bytes_t{0x81, 0x83}));
}

TEST(BridgeNumbers, AReplyOfTheWrongLengthOrKindOrThatStopsHalfWayFailsTheTransfer) {
    NumberingPeer_t peer({{0x61, 0x82},
                          {0x61, 0x81, 0x02, 0x61},
                          {0x61, 0x86, 0x02, 0x01, 0x02},
                          {0x41, 0x1C},
                          {0x00, 0x8A},
                          {0x61, 0x8C, 0x01, 0x09}});
    for (const int error : {ETIMEDOUT, ETIMEDOUT, EPROTO, EPROTO, EPROTO}) {
        EXPECT_EQ(readByte(peer.fd), -error) << peer.greetings;
    }
    EXPECT_EQ(readByte(peer.fd), 0x09);
    EXPECT_EQ(peer.greetingNumbers, (Bytes_t{0x81, 0x83, 0x85, 0x87, 0x89, 0x8B}));
}

TEST(BridgeNumbers, AFarEndThatUsedToAnswerGetsNoRequestBeforeItAnswersAgain) {
    NumberingPeer_t peer({{0x61, 0x82, 0x01, 0x01}, {}});
    ASSERT_EQ(readByte(peer.fd), 0x01);
    ASSERT_LT(bridgeByte(peer.fd), 0);
    const auto answering = peer.afterGreeting;
    peer.afterGreeting = [](U8_t) -> ssize_t { return 2; };
    EXPECT_EQ(bridgeByte(peer.fd), -ETIMEDOUT);
    EXPECT_EQ(peer.greetings, 4);
    EXPECT_EQ(peer.writes.size(), 2U);
    peer.afterGreeting = answering;
    peer.replies.push_back({0x61, 0x86, 0x01, 0x33});
    EXPECT_EQ(bridgeByte(peer.fd), 0x33);
}

TEST(BridgeNumbers, AFarEndThatMissedTenGreetingsInARowIsTakenForAnotherOne) {
    NumberingPeer_t peer({{0x61, 0x82, 0x01, 0x01}, {}, {0x41, 0x44}});
    ASSERT_EQ(readByte(peer.fd), 0x01);
    ASSERT_LT(bridgeByte(peer.fd), 0);
    peer.afterGreeting = [](U8_t) -> ssize_t { return 2; };
    for (int i = 1; i <= 9; ++i) {
        EXPECT_LT(bridgeByte(peer.fd), 0) << i;
    }
    EXPECT_EQ(bridgeByte(peer.fd), 0x44);
    EXPECT_EQ(peer.writes.back(), (Bytes_t{0x52, 0x4C, 0x00, 0x01}));
}

TEST(BridgeNumbers, AGreetingThatCannotBeSentFailsTheTransfer) {
    NumberingPeer_t peer({});
    peer.afterGreeting = [](U8_t) -> ssize_t {
        errno = EBADMSG;
        return -1;
    };
    EXPECT_EQ(readByte(peer.fd), -EBADMSG);
    EXPECT_TRUE(peer.writes.empty());
}

} // namespace
