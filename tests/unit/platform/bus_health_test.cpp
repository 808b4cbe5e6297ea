/** When a transfer is worth its time: chips and whole buses that let transfers time out. */
#include <gtest/gtest.h>

#include "bus_health.h"

namespace {

class BusHealth : public testing::Test {
protected:
    BusHealth() { busForgetHealth(); }

    static void timeOut(U8_t address, int times, std::int64_t nowMs) {
        for (int i = 0; i < times; ++i) {
            (void)busNoteOutcome(address, true, nowMs);
        }
    }
};

TEST_F(BusHealth, AChipThatTimedOutThreeTimesInARowIsTriedOnceASecondUntilItAnswers) {
    timeOut(0x4C, 2, 5000);
    EXPECT_TRUE(busMayTry(0x4C, 5000));
    timeOut(0x4C, 1, 5000);
    EXPECT_FALSE(busMayTry(0x4C, 5999));
    EXPECT_TRUE(busMayTry(0x4C, 6000));
    timeOut(0x4C, 1, 6500);
    EXPECT_FALSE(busMayTry(0x4C, 7499));
    EXPECT_TRUE(busMayTry(0x4C, 7500));
    (void)busNoteOutcome(0x4C, false, 7500);
    EXPECT_TRUE(busMayTry(0x4C, 7500));
    timeOut(0x4C, 2, 7500);
    EXPECT_TRUE(busMayTry(0x4C, 7500));
}

TEST_F(BusHealth, OneHungChipLeavesTheOthersAlone) {
    for (int round = 0; round < 5; ++round) {
        timeOut(0x28, 3, 1000);
        EXPECT_FALSE(busMayTry(0x28, 1000));
        EXPECT_TRUE(busMayTry(0x29, 1000)) << "it has not had its chance yet";
        (void)busNoteOutcome(0x29, false, 1000);
        EXPECT_TRUE(busMayTry(0x29, 1000));
        EXPECT_FALSE(busMayTry(0x28, 1999)) << "the answer was another chip's";
        EXPECT_TRUE(busMayTry(0x28, 2000));
    }
}

TEST_F(BusHealth, OnADeadBusEveryChipIsTriedOnceAndThenAllShareOneTryASecond) {
    timeOut(0x41, 3, 1000);
    EXPECT_TRUE(busIsDead());
    EXPECT_TRUE(busMayTry(0x4C, 1000));
    timeOut(0x4C, 1, 1500);
    EXPECT_FALSE(busMayTry(0x4C, 2499));
    EXPECT_FALSE(busMayTry(0x41, 2499));
    EXPECT_TRUE(busMayTry(0x4C, 2500));
    timeOut(0x4C, 1, 3000);
    EXPECT_FALSE(busMayTry(0x41, 3999));
}

TEST_F(BusHealth, TimeoutsOfSeveralChipsInARowMakeADeadBus) {
    timeOut(0x41, 1, 1000);
    timeOut(0x4A, 1, 1000);
    EXPECT_TRUE(busMayTry(0x41, 1000));
    timeOut(0x4B, 1, 1000);
    EXPECT_FALSE(busMayTry(0x41, 1000));
    EXPECT_FALSE(busMayTry(0x4B, 1000));
}

TEST_F(BusHealth, TheOutcomeThatEndsOrRevivesTheBusIsTold) {
    EXPECT_FALSE(busNoteOutcome(0x41, true, 0));
    EXPECT_FALSE(busNoteOutcome(0x41, true, 0));
    EXPECT_TRUE(busNoteOutcome(0x41, true, 0));
    EXPECT_FALSE(busNoteOutcome(0x41, true, 0));
    EXPECT_TRUE(busNoteOutcome(0x41, false, 0));
    EXPECT_FALSE(busNoteOutcome(0x41, false, 0));
}

TEST_F(BusHealth, HundredsOfTimeoutsAreNotForgottenUntilThereIsANewDevice) {
    timeOut(0x7F, 513, 1000); // a byte that wraps would stand at one
    EXPECT_TRUE(busIsDead());
    EXPECT_FALSE(busMayTry(0x7F, 1999));
    busForgetHealth();
    EXPECT_FALSE(busIsDead());
    EXPECT_TRUE(busMayTry(0x7F, 1000));
}

} // namespace
