/** Transfers over the serial I2C bridge, against a scripted far end. */
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <numeric>

#include <gtest/gtest.h>
#include <unistd.h>

#include "platform.h"
#include "scripted_peer.h"
#include "transfers.h"

namespace {

/** `count` bytes from `first` on: 'first', first + 1, ... */
Bytes_t counting(U8_t first, std::size_t count) {
    Bytes_t bytes(count);
    std::iota(bytes.begin(), bytes.end(), first);
    return bytes;
}

Bytes_t operator+(Bytes_t left, const Bytes_t& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/** Milliseconds that `transfer` takes. */
template <typename F>
long long millisecondsOf(F transfer) {
    const auto start = std::chrono::steady_clock::now();
    transfer();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
}

TEST(BridgeRead, TakesEveryLengthFrom1To255) {
    std::vector<Turn_t> turns;
    Bytes_t requests;
    for (std::size_t length = 1; length <= 255; ++length) {
        turns.push_back({4, {{0, Bytes_t{0x41} + counting(0x80, length)}}});
        requests = requests + Bytes_t{0x52, 0x63, 0x10, static_cast<U8_t>(length)};
    }
    ScriptedPeer_t peer(turns);
    for (int length = 1; length <= 255; ++length) {
        const auto count = static_cast<std::size_t>(length);
        Bytes_t data(count + 1, 0xEE);
        EXPECT_EQ(read_i2c_data(peer.line(), 0x63, 0x10, data.data(), length), length);
        EXPECT_EQ(data, counting(0x80, count) + Bytes_t{0xEE}) << "nothing is stored beyond the length";
    }
    EXPECT_EQ(peer.received(), requests);
}

TEST(BridgeRead, CarriesEveryByteValueUnchanged) {
    // XON, XOFF, carriage return, interrupt and the protocol's own letters are data like any other.
    ScriptedPeer_t peer({{4, {{0, Bytes_t{0x41} + counting(0x00, 255)}}}, {4, {{0, {0x41, 0xFF}}}}});
    Bytes_t data(255);
    EXPECT_EQ(read_i2c_data(peer.line(), 0x00, 0xFF, data.data(), 255), 255);
    EXPECT_EQ(data, counting(0x00, 255));
    EXPECT_EQ(readByte(peer.line(), 0x7F), 0xFF);
    EXPECT_EQ(peer.received(), (Bytes_t{0x52, 0x00, 0xFF, 0xFF, 0x52, 0x7F, 0x00, 0x01}));
}

TEST(BridgeWrite, TakesEveryLengthFrom1To255) {
    std::vector<Turn_t> turns;
    Bytes_t requests;
    for (std::size_t length = 1; length <= 255; ++length) {
        turns.push_back({4 + length, {{0, {0x41}}}});
        requests = requests + Bytes_t{0x57, 0x41, 0x98, static_cast<U8_t>(length)} + counting(0x01, length);
    }
    ScriptedPeer_t peer(turns);
    for (int length = 1; length <= 255; ++length) {
        const Bytes_t data = counting(0x01, static_cast<std::size_t>(length));
        EXPECT_EQ(write_i2c_data(peer.line(), 0x41, 0x98, data.data(), length), length);
    }
    EXPECT_EQ(peer.received(), requests);
}

TEST(BridgeReply, MayComeInPieces) {
    ScriptedPeer_t peer({{4, {{30, {0x41}}, {30, {0x11}}, {30, {0x22, 0x33}}, {30, {0x44}}}}, {5, {{60, {0x41}}}}});
    Bytes_t data(4);
    EXPECT_EQ(read_i2c_data(peer.line(), 0x63, 0x20, data.data(), 4), 4);
    EXPECT_EQ(data, (Bytes_t{0x11, 0x22, 0x33, 0x44}));
    EXPECT_EQ(writeByte(peer.line()), 1);
}

TEST(BridgeFailure, ARefusalFailsTheTransferAtOnceAndTheNextOneIsGood) {
    ScriptedPeer_t peer({{4, {{0, {0x4E}}}}, {5, {{0, {0x4E}}}}, {4, {{0, {0x41, 0x05}}}}});
    EXPECT_EQ(readByte(peer.line(), 0x2D), -ENXIO);
    EXPECT_EQ(writeByte(peer.line(), 0x2D), -ENXIO);
    EXPECT_EQ(readByte(peer.line(), 0x28), 0x05);
    EXPECT_EQ(peer.received(), (Bytes_t{0x52, 0x2D, 0x00, 0x01, 0x57, 0x2D, 0x01, 0x01, 0x99, 0x52, 0x28, 0x00, 0x01}));
}

TEST(BridgeFailure, SilenceOrAReplyThatStopsHalfWayFailsTheTransferAfter500Milliseconds) {
    ScriptedPeer_t peer({{4, {}}, {5, {}}});
    EXPECT_GE(millisecondsOf([&] { EXPECT_EQ(readByte(peer.line()), -ETIMEDOUT); }), 490);
    EXPECT_GE(millisecondsOf([&] { EXPECT_EQ(writeByte(peer.line()), -ETIMEDOUT); }), 490);
    ScriptedPeer_t stopping({{4, {{0, {0x41, 0x01, 0x02}}}}});
    Bytes_t data(4);
    EXPECT_GE(millisecondsOf([&] { EXPECT_EQ(read_i2c_data(stopping.line(), 0x63, 0x00, data.data(), 4), -1); }), 490);
    EXPECT_EQ(errno, ETIMEDOUT);
}

TEST(BridgeFailure, TheLimitHoldsForTheWholeReplyNotForEachPiece) {
    std::vector<Piece_t> trickle(8, Piece_t{200, {0x41}});
    ScriptedPeer_t peer({{4, trickle}});
    Bytes_t data(7);
    EXPECT_EQ(read_i2c_data(peer.line(), 0x63, 0x00, data.data(), 7), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
}

TEST(BridgeFailure, InputLeftOverFromATimedOutTransferIsThrownAwayHoweverMuchItIs) {
    for (const std::size_t late : {2U, 1000U}) { // more than one read takes
        ScriptedPeer_t peer({{4, {}}, {4, {{0, {0x41, 0x22}}}}, {5, {{0, {0x41}}}}});
        EXPECT_EQ(readByte(peer.line()), -ETIMEDOUT);
        peer.sendNow(Bytes_t(late, 0x41));
        EXPECT_EQ(readByte(peer.line(), 0x4B), 0x22);
        EXPECT_EQ(writeByte(peer.line(), 0x4B), 1);
        EXPECT_EQ(peer.received(),
                  (Bytes_t{0x52, 0x4C, 0x00, 0x01, 0x52, 0x4B, 0x00, 0x01, 0x57, 0x4B, 0x01, 0x01, 0x99}));
    }
}

TEST(BridgeFailure, AReplyThatComesAt530MillisecondsIsNotTheNextRequestsNorThatOfAnyLaterOne) {
    ScriptedPeer_t peer(
        {{4, {{530, {0x41, 0x11}}}}, {4, {{0, {0x41, 0x22}}}}, {4, {{0, {0x41, 0x33}}}}, {4, {{0, {0x41, 0x44}}}}});
    for (const int expected : {-ETIMEDOUT, 0x22, 0x33, 0x44}) {
        EXPECT_EQ(readByte(peer.line()), expected);
    }
}

TEST(BridgeFailure, ALineThatTimedOutThreeTimesFailsFastAndIsTriedOnceASecond) {
    ScriptedPeer_t peer({{4, {}}, {4, {}}, {4, {}}, {4, {{0, {0x41, 0x22}}}}, {4, {{0, {0x41, 0x33}}}}});
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(readByte(peer.line()), -ETIMEDOUT);
    }
    EXPECT_LT(millisecondsOf([&] {
                  for (int i = 0; i < 100; ++i) {
                      EXPECT_EQ(readByte(peer.line()), -ETIMEDOUT);
                  }
              }),
              400);
    usleep(1000000);
    EXPECT_EQ(readByte(peer.line()), 0x22);
    EXPECT_EQ(readByte(peer.line()), 0x33);
}

TEST(BridgeFailure, BytesBeyondAGoodReplyAreNotTakenForTheNextOne) {
    ScriptedPeer_t peer({{4, {{0, {0x41, 0x01, 0x41, 0x02}}}}, {4, {{0, {0x41, 0x03}}}}});
    EXPECT_EQ(readByte(peer.line()), 0x01);
    EXPECT_EQ(readByte(peer.line()), 0x03);
}

TEST(BridgeFailure, AStatusByteThatIsNoneFailsTheTransfer) {
    for (U8_t status : Bytes_t{0x00, 0x42, 0x52, 0x57, 0x61, 0x6E, 0xC1, 0xFF}) {
        ScriptedPeer_t peer({{4, {{0, {status, 0x41, 0x12}}}}, {4, {{0, {0x41, 0x34}}}}});
        EXPECT_EQ(readByte(peer.line()), -EPROTO) << "status " << int{status};
        EXPECT_EQ(readByte(peer.line()), 0x34);
    }
}

TEST(BridgeFailure, APeerThatHangsUpFailsThisTransferAndAllLaterOnesAtOnce) {
    ScriptedPeer_t peer({{4, {{0, {0x41}}}, true}});
    EXPECT_EQ(readByte(peer.line()), -EIO);
    EXPECT_EQ(readByte(peer.line()), -EIO);
    EXPECT_EQ(writeByte(peer.line()), -EIO);
    ScriptedPeer_t gone({{0, {}, true}});
    gone.received();
    EXPECT_LT(readByte(gone.line()), 0);
    EXPECT_LT(writeByte(gone.line()), 0);
}

TEST(TransferArguments, ALengthOutside1To255OrAnAddressOfMoreThan7BitsIsRefusedAndNothingIsSent) {
    ScriptedPeer_t peer({});
    Bytes_t data(512);
    for (int length : {0, -1, 256, 257, 65536 + 1, -2147483647 - 1}) {
        EXPECT_EQ(read_i2c_data(peer.line(), 0x4C, 0x00, data.data(), length), -1) << length;
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(write_i2c_data(peer.line(), 0x4C, 0x00, data.data(), length), -1) << length;
        EXPECT_EQ(errno, EINVAL);
    }
    for (U8_t address : Bytes_t{0x80, 0xC6, 0xFF}) {
        EXPECT_EQ(readByte(peer.line(), address), -EINVAL);
        EXPECT_EQ(writeByte(peer.line(), address), -EINVAL);
    }
    EXPECT_EQ(peer.received(), Bytes_t{});
}

TEST(TransferDescriptor, OneThatIsNoBusFailsAndStaysAsItIs) {
    EXPECT_EQ(readByte(-1), -EBADF);
    EXPECT_EQ(writeByte(999), -EBADF);
    std::FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(writeByte(fileno(file)), -ENOTTY);
    EXPECT_EQ(readByte(fileno(file)), -ENOTTY);
    EXPECT_EQ(lseek(fileno(file), 0, SEEK_END), 0);
    std::fclose(file);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    EXPECT_LT(writeByte(ends[1]), 0);
    close(ends[0]);
    close(ends[1]);
    std::FILE* null = std::fopen("/dev/null", "r+");
    ASSERT_NE(null, nullptr);
    EXPECT_LT(readByte(fileno(null)), 0);
    EXPECT_LT(writeByte(fileno(null)), 0);
    std::fclose(null);
}

TEST(TransferDescriptor, ANumberThatIsOpenedAgainIsLookedAtAgain) {
    int number = -1;
    {
        ScriptedPeer_t peer({{4, {{0, {0x41, 0x01}}}}});
        number = dup(peer.line());
        EXPECT_EQ(readByte(number), 0x01);
        close(number);
    }
    std::FILE* null = std::fopen("/dev/null", "r+");
    ASSERT_NE(null, nullptr);
    ASSERT_EQ(dup2(fileno(null), number), number);
    const int result = readByte(number);
    EXPECT_LT(result, 0);
    EXPECT_NE(result, -ETIMEDOUT);
    close(number);
    std::fclose(null);
}

} // namespace
