#include "mailbox.h"

#include <gtest/gtest.h>

#include "test_message.h"

namespace {

using msmtest::messageTo;
using namespace std::chrono_literals;

constexpr MsmClock_t::time_point NOW = MsmClock_t::time_point(5000s);

LetterPtr_t letter(std::uint64_t connection, Visitor_t visitor, std::uint32_t handle, std::uint8_t sender = 34,
                   std::size_t length = 64) {
    return std::make_shared<const Letter_t>(
        Letter_t{messageTo({33}, sender, handle, length), sender, {connection, visitor}, {}});
}

/** Puts `count` letters of a process, numbered from `first` on, into the mailbox; how many had to go for them. */
std::size_t push(Mailbox_t& mailbox, std::uint64_t connection, Visitor_t visitor, std::uint32_t first,
                 std::uint32_t count = 1) {
    std::size_t gone = 0;
    for (std::uint32_t handle = first; handle < first + count; ++handle) {
        gone += mailbox.push(letter(connection, visitor, handle));
    }
    return gone;
}

using Handles_t = std::vector<std::int64_t>;

/** Handles of all letters that may go now, in their order; -1 ends what does not end by itself. */
Handles_t drain(Mailbox_t& mailbox, MsmClock_t::time_point now = NOW) {
    Handles_t handles;
    while (const LetterPtr_t next = mailbox.next(now)) {
        handles.push_back(msmtest::get32(next->bytes, 40));
        if (handles.size() > 10000) {
            handles.push_back(-1);
            break;
        }
    }
    return handles;
}

TEST(MailboxTest, ConnectionsTakeTurnsAndEachKeepsItsOrder) {
    Mailbox_t mailbox(100000, nullptr);
    EXPECT_EQ(push(mailbox, 1, {0, 1}, 10, 4), 0U);
    EXPECT_EQ(push(mailbox, 2, {0, 1}, 20, 2), 0U);
    EXPECT_EQ(push(mailbox, 3, {0, 1}, 30), 0U);
    EXPECT_EQ(drain(mailbox), (Handles_t{10, 20, 30, 11, 21, 12, 13}));
    EXPECT_TRUE(mailbox.empty());
}

TEST(MailboxTest, WithoutRoomTheNewestLettersOfTheGreatestCrowdGo) {
    Mailbox_t mailbox(320, nullptr); // five letters
    EXPECT_EQ(push(mailbox, 1, {0, 1}, 10, 4), 0U);
    EXPECT_EQ(push(mailbox, 2, {0, 2}, 20), 0U);
    EXPECT_EQ(push(mailbox, 2, {0, 2}, 21), 1U);
    EXPECT_EQ(push(mailbox, 1, {0, 1}, 14), 1U);
    EXPECT_EQ(drain(mailbox), (Handles_t{10, 20, 11, 21, 12}));
    Mailbox_t great(4064 + 64, nullptr);
    (void)push(great, 1, {0, 1}, 0, 64);
    EXPECT_EQ(great.push(letter(2, {0, 2}, 100, 33, 4064)), 63U);
    EXPECT_EQ(drain(great), (Handles_t{0, 100}));
}

TEST(MailboxTest, ThePaceBoundsOneProcessAndLetsItGoOnInTime) {
    Pace_t pace(2);
    Mailbox_t mailbox(100000, &pace);
    for (std::uint32_t handle = 0; handle < 12; ++handle) {
        (void)push(mailbox, handle % 3, {0, 1}, handle);
    }
    EXPECT_EQ(drain(mailbox).size(), 8U); // four seconds' worth at once
    EXPECT_EQ(mailbox.ready(NOW), NOW + 500ms);
    EXPECT_FALSE(mailbox.isOpen({9, {0, 2}}, NOW)) << "others wait";
    (void)push(mailbox, 9, {0, 2}, 99);
    EXPECT_EQ(drain(mailbox), Handles_t{99}) << "another process is not held up";
    EXPECT_EQ(drain(mailbox, NOW + 400ms).size(), 0U);
    EXPECT_EQ(drain(mailbox, NOW + 600ms).size(), 1U);
    EXPECT_EQ(drain(mailbox, NOW + 1100ms).size(), 1U);
    EXPECT_EQ(drain(mailbox, NOW + 100s).size(), 2U);
}

TEST(MailboxTest, WithAPaceTheUserThatHasWaitedLongestIsNext) {
    Pace_t pace(1000);
    Mailbox_t mailbox(100000, &pace);
    for (unsigned process = 1; process <= 4; ++process) {
        (void)push(mailbox, process, {1000, static_cast<int>(process)}, 10 * process, 3);
    }
    EXPECT_NE(mailbox.next(NOW + 1ms), nullptr);
    EXPECT_NE(mailbox.next(NOW + 2ms), nullptr);
    (void)push(mailbox, 9, {1001, 9}, 90, 2);
    Handles_t handles;
    for (auto now = NOW + 3ms; !mailbox.empty(); now += 1ms) {
        handles.push_back(msmtest::get32(mailbox.next(now)->bytes, 40));
    }
    handles.resize(4);
    EXPECT_EQ(handles, (Handles_t{90, 30, 91, 40}));
}

TEST(MailboxTest, WithinOneProcessTheConnectionWithTheFewestLettersIsFirst) {
    Pace_t pace(1000);
    Mailbox_t mailbox(100000, &pace);
    (void)push(mailbox, 1, {0, 1}, 0, 60);
    (void)push(mailbox, 2, {0, 1}, 100);
    EXPECT_EQ(msmtest::get32(mailbox.next(NOW)->bytes, 40), 100U);
}

TEST(MailboxTest, AllProcessesTogetherAreBoundedTooAndNoneByRateZero) {
    Pace_t pace(2);
    Mailbox_t mailbox(1000000, &pace);
    Pace_t boundless(0);
    Mailbox_t free(1000000, &boundless);
    for (unsigned process = 1; process <= 20; ++process) {
        (void)push(mailbox, process, {0, static_cast<int>(process)}, 0, 10);
    }
    EXPECT_EQ(drain(mailbox).size(), 16U); // eight times the rate of one
    EXPECT_EQ(drain(mailbox, NOW + 1010ms).size(), 16U);
    (void)push(free, 1, {0, 1}, 0, 5000);
    EXPECT_EQ(drain(free).size(), 5000U);
    EXPECT_TRUE(free.isOpen({1, {0, 1}}, NOW));
}

} // namespace
