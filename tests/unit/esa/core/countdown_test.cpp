/** The countdown to the next hardware poll, and a pass of the main loop around it. */
#include <gmock/gmock.h>

#include <cerrno>

#include "core_test.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Countdown : public CoreTest {
protected:
    void setTimes(MPU_TIME_t poll, MPU_TIME_t select) {
        esaControl.pollTimeout = poll;
        esaControl.selectTimeout = select;
    }

    /** Whether the hardware is polled by one step of the countdown. */
    static bool polls() {
        (void)fakeBus.takeTransfers();
        esaProcessPollTimeout();
        return !fakeBus.takeTransfers().empty();
    }

    static std::string left() {
        return std::to_string(esaControl.pollTimeout.sec) + "." + std::to_string(esaControl.pollTimeout.usec);
    }
};

class LoopPass : public Countdown {
protected:
    LoopPass() { setTimes({10, 0}, {1, 0}); }

    /** A message that says no more than which one it is: an unknown type from Startup. */
    void sendMessage(int command) {
        request(12, static_cast<U32_t>(command), 20, 64);
        ASSERT_EQ(write(switchFd, esaControl.esaInMsg, 64), 64);
        std::memset(esaControl.esaInMsg, 0, 64);
    }
};

} // namespace

TEST_F(Countdown, EveryEleventhPassPollsOnEveryChassis) {
    for (int type = 2; type <= 6; ++type) {
        SCOPED_TRACE(type);
        startChassis(type);
        setTimes({10, 0}, {1, 0});
        for (int round = 0; round < 3; ++round) {
            for (int pass = 1; pass <= 10; ++pass) {
                EXPECT_FALSE(polls()) << pass;
                EXPECT_EQ(left(), std::to_string(10 - pass) + ".0");
            }
            EXPECT_TRUE(polls());
            EXPECT_EQ(left(), "10.0");
        }
        EXPECT_EQ(esaControl.selectTimeout.sec, 1U);
        (void)takeMessages();
    }
}

TEST_F(Countdown, ComparesSecondsThenMicrosecondsAndBorrowsASecond) {
    struct {
        MPU_TIME_t poll;
        MPU_TIME_t select;
        const char* left; // "poll": it ran out
    } const cases[] = {
        {{1, 0}, {1, 0}, "0.0"},
        {{0, 999999}, {1, 0}, "poll"},
        {{1, 0}, {1, 1}, "poll"},
        {{1, 1}, {1, 1}, "0.0"},
        {{1, 2}, {1, 1}, "0.1"},
        {{2, 0}, {1, 1}, "0.999999"},
        {{2, 0}, {0, 1}, "1.999999"},
        {{2, 250000}, {0, 500000}, "1.750000"},
        {{2, 250000}, {1, 250000}, "1.0"},
        {{2, 499999}, {1, 500000}, "0.999999"},
        {{0, 5}, {0, 4}, "0.1"},
        {{0, 3}, {0, 4}, "poll"},
        {{0, 0}, {0, 0}, "0.0"},
        {{4000000000U, 0}, {1, 0}, "3999999999.0"}, // unsigned
        {{1, 0}, {4000000000U, 0}, "poll"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(testing::Message() << test.poll.sec << "." << test.poll.usec << " - " << test.select.sec << "."
                                        << test.select.usec);
        startChassis(6);
        setTimes(test.poll, test.select);
        const bool runsOut = std::string(test.left) == "poll";
        EXPECT_EQ(polls(), runsOut);
        EXPECT_EQ(left(), runsOut ? "10.0" : test.left);
        (void)takeMessages();
    }
}
