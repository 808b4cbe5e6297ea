#include "mailbox.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "test_message.h"

namespace {

using msmtest::messageTo;
using testing::ElementsAre;
using namespace std::chrono_literals;

constexpr MsmClock_t::time_point NOW = MsmClock_t::time_point(5000s);

LetterPtr_t letter(std::uint64_t connection, Visitor_t visitor, std::uint32_t handle, std::uint8_t sender = 34,
                   std::size_t length = 64) {
    return std::make_shared<const Letter_t>(
        Letter_t{messageTo({33}, sender, handle, length), sender, {connection, visitor}, {}});
}

/** Handles of all letters that may go now, in their order; -1 ends what does not end by itself. */
std::vector<std::int64_t> drain(Mailbox_t& mailbox, MsmClock_t::time_point now = NOW) {
    std::vector<std::int64_t> handles;
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
    for (std::uint32_t handle = 10; handle < 14; ++handle) {
        EXPECT_EQ(mailbox.push(letter(1, {0, 1}, handle)), 0U);
    }
    EXPECT_EQ(mailbox.push(letter(2, {0, 1}, 20)), 0U);
    EXPECT_EQ(mailbox.push(letter(2, {0, 1}, 21)), 0U);
    EXPECT_EQ(mailbox.push(letter(3, {0, 1}, 30)), 0U);
    EXPECT_THAT(drain(mailbox), ElementsAre(10, 20, 30, 11, 21, 12, 13));
    EXPECT_TRUE(mailbox.empty());
}

TEST(MailboxTest, WithoutRoomTheNewestLetterOfTheGreatestCrowdGoes) {
    Mailbox_t mailbox(320, nullptr); // five letters
    for (std::uint32_t handle = 10; handle < 14; ++handle) {
        EXPECT_EQ(mailbox.push(letter(1, {0, 1}, handle)), 0U);
    }
    EXPECT_EQ(mailbox.push(letter(2, {0, 2}, 20)), 0U);
    EXPECT_EQ(mailbox.push(letter(2, {0, 2}, 21)), 1U);
    EXPECT_EQ(mailbox.push(letter(1, {0, 1}, 14)), 1U);
    EXPECT_THAT(drain(mailbox), ElementsAre(10, 20, 11, 21, 12));
}

TEST(MailboxTest, ManyLettersGoForOneThatIsGreat) {
    Mailbox_t mailbox(4064 + 64, nullptr);
    for (std::uint32_t handle = 0; handle < 64; ++handle) {
        (void)mailbox.push(letter(1, {0, 1}, handle));
    }
    EXPECT_EQ(mailbox.push(letter(2, {0, 2}, 100, 33, 4064)), 63U);
    EXPECT_THAT(drain(mailbox), ElementsAre(0, 100));
}

TEST(MailboxTest, ThePaceBoundsOneProcessAndLetsItGoOnInTime) {
    Pace_t pace(2);
    Mailbox_t mailbox(100000, &pace);
    for (std::uint32_t handle = 0; handle < 12; ++handle) {
        (void)mailbox.push(letter(handle % 3, {0, 1}, handle));
    }
    EXPECT_EQ(drain(mailbox).size(), 8U); // four seconds' worth at once
    EXPECT_EQ(mailbox.ready(NOW), NOW + 500ms);
    EXPECT_EQ(drain(mailbox, NOW + 400ms).size(), 0U);
    EXPECT_EQ(drain(mailbox, NOW + 600ms).size(), 1U);
    EXPECT_EQ(drain(mailbox, NOW + 1100ms).size(), 1U);
    EXPECT_EQ(drain(mailbox, NOW + 100s).size(), 2U);
}

TEST(MailboxTest, AnotherProcessIsNotHeldUpByThePaceOfTheFirst) {
    Pace_t pace(2);
    Mailbox_t mailbox(100000, &pace);
    for (std::uint32_t handle = 0; handle < 50; ++handle) {
        (void)mailbox.push(letter(1, {0, 1}, handle));
    }
    EXPECT_EQ(drain(mailbox).size(), 8U);
    EXPECT_FALSE(mailbox.isOpen({2, {0, 2}}, NOW)) << "others wait";
    (void)mailbox.push(letter(2, {0, 2}, 99));
    EXPECT_THAT(drain(mailbox), ElementsAre(99));
}

TEST(MailboxTest, WithAPaceTheUserThatHasWaitedLongestIsNext) {
    Pace_t pace(1000);
    Mailbox_t mailbox(100000, &pace);
    for (int process = 1; process <= 4; ++process) {
        for (std::uint32_t handle = 0; handle < 3; ++handle) {
            (void)mailbox.push(
                letter(static_cast<std::uint64_t>(process), {1000, process}, 10U * unsigned(process) + handle));
        }
    }
    EXPECT_NE(mailbox.next(NOW + 1ms), nullptr);
    EXPECT_NE(mailbox.next(NOW + 2ms), nullptr);
    (void)mailbox.push(letter(9, {1001, 9}, 90));
    (void)mailbox.push(letter(9, {1001, 9}, 91));
    std::vector<std::int64_t> handles;
    for (auto now = NOW + 3ms; !mailbox.empty(); now += 1ms) {
        handles.push_back(msmtest::get32(mailbox.next(now)->bytes, 40));
    }
    EXPECT_THAT(std::vector(handles.begin(), handles.begin() + 4), ElementsAre(90, 30, 91, 40));
}

TEST(MailboxTest, WithinOneProcessTheConnectionWithTheFewestLettersIsFirst) {
    Pace_t pace(1000);
    Mailbox_t mailbox(100000, &pace);
    for (std::uint32_t handle = 0; handle < 60; ++handle) {
        (void)mailbox.push(letter(1, {0, 1}, handle));
    }
    (void)mailbox.push(letter(2, {0, 1}, 100));
    EXPECT_EQ(msmtest::get32(mailbox.next(NOW)->bytes, 40), 100U);
}

TEST(MailboxTest, AllProcessesTogetherAreBoundedToo) {
    Pace_t pace(2);
    Mailbox_t mailbox(1000000, &pace);
    for (int process = 1; process <= 20; ++process) {
        for (std::uint32_t handle = 0; handle < 10; ++handle) {
            (void)mailbox.push(letter(static_cast<std::uint64_t>(process), {0, process}, handle));
        }
    }
    EXPECT_EQ(drain(mailbox).size(), 16U); // eight times the rate of one
    EXPECT_EQ(drain(mailbox, NOW + 1010ms).size(), 16U);
}

TEST(MailboxTest, RateZeroIsNoBound) {
    Pace_t pace(0);
    Mailbox_t mailbox(1000000, &pace);
    for (std::uint32_t handle = 0; handle < 5000; ++handle) {
        (void)mailbox.push(letter(1, {0, 1}, handle));
    }
    EXPECT_EQ(drain(mailbox).size(), 5000U);
    EXPECT_TRUE(mailbox.isOpen({1, {0, 1}}, NOW));
}

} // namespace
