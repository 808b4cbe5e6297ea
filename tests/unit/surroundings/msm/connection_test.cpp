#include "connection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <sys/socket.h>

#include "stream.h"
#include "test_message.h"

namespace {

using msmtest::Bytes_t;

void feed(InStream_t& stream, const Bytes_t& bytes) {
    const std::span<U8_t> space = stream.space();
    ASSERT_GE(space.size(), bytes.size());
    std::copy(bytes.begin(), bytes.end(), space.begin());
    stream.filled(bytes.size());
}

Frame_e next(InStream_t& stream) {
    std::span<const U8_t> message;
    return stream.next(message);
}

Bytes_t nextMessage(InStream_t& stream) {
    std::span<const U8_t> message;
    EXPECT_EQ(stream.next(message), Frame_e::MESSAGE);
    return {message.begin(), message.end()};
}

TEST(InStreamTest, SeveralMessagesOfOneReadComeOutInOrderAndTheRestWaits) {
    InStream_t stream;
    const Bytes_t first = msmtest::message(33, 1, 64);
    const Bytes_t second = msmtest::message(33, 2, 4064);
    const Bytes_t third = msmtest::message(33, 3, 100);
    Bytes_t all = first;
    all.insert(all.end(), second.begin(), second.end());
    all.insert(all.end(), third.begin(), third.begin() + 99);
    feed(stream, all);
    EXPECT_EQ(nextMessage(stream), first);
    EXPECT_EQ(nextMessage(stream), second);
    EXPECT_EQ(next(stream), Frame_e::INCOMPLETE);
    feed(stream, {third.back()});
    EXPECT_EQ(nextMessage(stream), third);
}

TEST(InStreamTest, ThereIsAlwaysRoomForAGreatestMessage) {
    InStream_t stream;
    const Bytes_t bytes = msmtest::message(33, 1, 4064);
    for (int round = 0; round < 100; ++round) {
        feed(stream, Bytes_t(bytes.begin(), bytes.begin() + 4063));
        ASSERT_EQ(next(stream), Frame_e::INCOMPLETE);
        ASSERT_GE(stream.space().size(), 4064U);
        feed(stream, {bytes.back()});
        ASSERT_EQ(nextMessage(stream), bytes);
    }
}

TEST(InStreamTest, LengthsOf64To4064AreMessagesAndAllOthersNonsense) {
    const std::vector<std::pair<unsigned, Frame_e>> cases = {
        {0, Frame_e::NONSENSE},    {1, Frame_e::NONSENSE},      {63, Frame_e::NONSENSE},   {64, Frame_e::INCOMPLETE},
        {65, Frame_e::INCOMPLETE}, {4064, Frame_e::INCOMPLETE}, {4065, Frame_e::NONSENSE}, {65535, Frame_e::NONSENSE},
    };
    for (const auto& [length, expected] : cases) {
        InStream_t stream;
        Bytes_t bytes(12, 0);
        bytes[10] = static_cast<std::uint8_t>(length >> 8);
        bytes[11] = static_cast<std::uint8_t>(length);
        feed(stream, Bytes_t(bytes.begin(), bytes.begin() + 11));
        EXPECT_EQ(next(stream), Frame_e::INCOMPLETE) << length;
        feed(stream, {bytes[11]});
        EXPECT_EQ(next(stream), expected) << length;
        EXPECT_EQ(stream.announcedLength(), length);
    }
}

class OutStreamTest : public testing::Test {
protected:
    OutStreamTest() {
        const int size = 4096;
        EXPECT_EQ(::setsockopt(writer(), SOL_SOCKET, SO_SNDBUF, &size, sizeof size), 0);
    }
    int writer() const { return writer_.fd(); }

    /** Sends messages until the kernel does not take one whole. */
    void fillKernel(OutStream_t& stream) const {
        while (stream.send(writer(), msmtest::message(33, 0, 1000)) == Send_e::SENT) {
        }
    }

    std::array<int, 2> ends_ = testsupport::connectedPair();
    testsupport::Stream_t writer_{ends_[0]};
    testsupport::Stream_t reader_{ends_[1]};
};

TEST_F(OutStreamTest, WhatTheKernelDoesNotTakeWaitsAndFollowsInOrder) {
    OutStream_t stream(100000);
    Bytes_t expected;
    for (std::uint32_t number = 0; number < 20; ++number) {
        const Bytes_t bytes = msmtest::message(33, number, 4064);
        EXPECT_EQ(stream.send(writer(), bytes), number == 0 ? Send_e::SENT : Send_e::BUFFERED);
        expected.insert(expected.end(), bytes.begin(), bytes.end());
    }
    EXPECT_NE(stream.waiting() % 4064, 0U) << "the kernel has taken a part of a message";
    EXPECT_EQ(stream.flush(writer()), Send_e::BUFFERED);
    Bytes_t all;
    while (all.size() < expected.size()) {
        Bytes_t some(65536);
        const ssize_t count = ::recv(reader_.fd(), some.data(), some.size(), MSG_DONTWAIT);
        ASSERT_GT(count, 0);
        all.insert(all.end(), some.begin(), some.begin() + count);
        (void)stream.flush(writer());
    }
    EXPECT_EQ(all, expected);
    EXPECT_EQ(stream.flush(writer()), Send_e::SENT);
}

TEST_F(OutStreamTest, AMessageThatWouldExceedTheLimitIsDroppedWhole) {
    OutStream_t stream(4000);
    fillKernel(stream);
    while (stream.waiting() + 1000 <= 4000) {
        ASSERT_EQ(stream.send(writer(), msmtest::message(33, 0, 1000)), Send_e::BUFFERED);
    }
    const std::size_t waiting = stream.waiting();
    EXPECT_EQ(stream.send(writer(), msmtest::message(33, 0, 1000)), Send_e::DROPPED);
    EXPECT_EQ(stream.waiting(), waiting);
    const std::size_t room = 4000 - waiting;
    if (room >= 64) {
        EXPECT_EQ(stream.send(writer(), msmtest::message(33, 0, room)), Send_e::BUFFERED);
        EXPECT_EQ(stream.waiting(), 4000U);
    }
}

TEST_F(OutStreamTest, APeerThatHasGoneShowsAndNothingWaitsForItAnyMore) {
    OutStream_t stream(100000);
    fillKernel(stream);
    reader_.close();
    EXPECT_EQ(stream.flush(writer()), Send_e::GONE);
    EXPECT_EQ(stream.waiting(), 0U);
    EXPECT_EQ(stream.send(writer(), msmtest::message(33, 0)), Send_e::GONE);
}

} // namespace
