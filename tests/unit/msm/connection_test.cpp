#include "connection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sys/socket.h>
#include <unistd.h>

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

TEST(InStreamTest, AMessageThatArrivesByteByByteIsCutOutOnceItIsWhole) {
    InStream_t stream;
    const Bytes_t bytes = msmtest::message(33, 0x01020304, 67);
    for (std::size_t i = 0; i + 1 < bytes.size(); ++i) {
        feed(stream, {bytes[i]});
        ASSERT_EQ(next(stream), Frame_e::INCOMPLETE) << "after byte " << i;
    }
    EXPECT_EQ(stream.pending(), 66U);
    feed(stream, {bytes.back()});
    EXPECT_EQ(nextMessage(stream), bytes);
    EXPECT_EQ(next(stream), Frame_e::INCOMPLETE);
    EXPECT_EQ(stream.pending(), 0U);
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
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_), 0);
        const int size = 4096;
        EXPECT_EQ(::setsockopt(ends_[0], SOL_SOCKET, SO_SNDBUF, &size, sizeof size), 0);
    }
    ~OutStreamTest() override {
        closeReader();
        (void)::close(ends_[0]);
    }

    void closeReader() {
        if (ends_[1] >= 0) {
            (void)::close(ends_[1]);
            ends_[1] = -1;
        }
    }
    int writer() const { return ends_[0]; }

    /** Sends numbered messages until one is not taken whole by the kernel; the number of messages sent. */
    std::uint32_t fillKernel(OutStream_t& stream) {
        std::uint32_t number = 0;
        while (stream.send(writer(), msmtest::message(33, number, 1000)) == Send_e::SENT) {
            ++number;
        }
        return number + 1;
    }

    Bytes_t readAvailable() const {
        Bytes_t bytes(65536);
        const ssize_t count = ::recv(ends_[1], bytes.data(), bytes.size(), MSG_DONTWAIT);
        bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return bytes;
    }

private:
    int ends_[2] = {-1, -1};
};

TEST_F(OutStreamTest, AMessageGoesToTheSocketAtOnceWhenNothingWaits) {
    OutStream_t stream(100000);
    const Bytes_t bytes = msmtest::message(33, 1, 80);
    EXPECT_EQ(stream.send(writer(), bytes), Send_e::SENT);
    EXPECT_EQ(stream.waiting(), 0U);
    EXPECT_EQ(readAvailable(), bytes);
}

TEST_F(OutStreamTest, WhatTheKernelDoesNotTakeWaitsAndFollowsInOrder) {
    OutStream_t stream(100000);
    std::uint32_t sent = fillKernel(stream);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(stream.send(writer(), msmtest::message(33, sent++, 1000)), Send_e::BUFFERED);
    }
    EXPECT_EQ(stream.flush(writer()), Send_e::BUFFERED);
    Bytes_t all;
    while (stream.waiting() != 0) {
        const Bytes_t some = readAvailable();
        ASSERT_FALSE(some.empty());
        all.insert(all.end(), some.begin(), some.end());
        (void)stream.flush(writer());
    }
    for (Bytes_t some = readAvailable(); !some.empty(); some = readAvailable()) {
        all.insert(all.end(), some.begin(), some.end());
    }
    ASSERT_EQ(all.size(), std::size_t{sent} * 1000);
    for (std::uint32_t number = 0; number < sent; ++number) {
        const auto at = all.begin() + static_cast<std::ptrdiff_t>(number) * 1000;
        ASSERT_EQ(Bytes_t(at, at + 1000), msmtest::message(33, number, 1000));
    }
    EXPECT_EQ(stream.flush(writer()), Send_e::SENT);
}

TEST_F(OutStreamTest, AMessageThatWouldExceedTheLimitIsDroppedWhole) {
    OutStream_t stream(4000);
    (void)fillKernel(stream);
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
    (void)fillKernel(stream);
    closeReader();
    EXPECT_EQ(stream.flush(writer()), Send_e::GONE);
    EXPECT_EQ(stream.waiting(), 0U);
    EXPECT_EQ(stream.send(writer(), msmtest::message(33, 0)), Send_e::GONE);
}

} // namespace
