/** The countdown to the next hardware poll: with parts of a second, and with marks of a bus, that no life has. */
#include <gtest/gtest.h>

#include "core/operation.h"
#include "esa_fixture.h"

namespace {

class Countdown : public EsaTest {
protected:
    /** What one step leaves of the countdown; "poll" when it polls the hardware. */
    static std::string step(MPU_TIME_t poll, MPU_TIME_t select) {
        esaControl.pollTimeout = poll;
        esaControl.selectTimeout = select;
        (void)fakeBus.takeTransfers();
        esaProcessPollTimeout();
        return fakeBus.takeTransfers().empty()
                   ? std::to_string(esaControl.pollTimeout.sec) + "." + std::to_string(esaControl.pollTimeout.usec)
                   : "poll";
    }
};

} // namespace

TEST_F(Countdown, ComparesSecondsThenMicrosecondsAndBorrowsASecond) {
    struct {
        MPU_TIME_t poll, select;
        const char* left;
    } const cases[] = {
        {{1, 0}, {1, 0}, "0.0"},           {{0, 999999}, {1, 0}, "poll"},
        {{1, 0}, {1, 1}, "poll"},          {{1, 1}, {1, 1}, "0.0"},
        {{1, 2}, {1, 1}, "0.1"},           {{2, 0}, {1, 1}, "0.999999"},
        {{2, 0}, {0, 1}, "1.999999"},      {{2, 250000}, {0, 500000}, "1.750000"},
        {{2, 250000}, {1, 250000}, "1.0"}, {{2, 499999}, {1, 500000}, "0.999999"},
        {{0, 5}, {0, 4}, "0.1"},           {{0, 3}, {0, 4}, "poll"},
        {{0, 256}, {0, 1}, "0.255"},       {{256, 0}, {1, 0}, "255.0"},
        {{257, 0}, {1, 1}, "255.999999"},
    };
    for (const auto& one : cases) {
        startChassis(5);
        EXPECT_EQ(step(one.poll, one.select), one.left) << one.poll.sec << "." << one.poll.usec;
    }
}

TEST_F(Countdown, OnlyABusMarkedByOneIsPolled) {
    for (int connected : {0, 2}) {
        startChassis(5);
        esaControl.i2cConnected = static_cast<U8_t>(connected);
        EXPECT_EQ(step({0, 0}, {1, 0}), "10.0") << connected;
    }
}

TEST(Operation, IsMainOutsideOfAll) {
    EXPECT_STREQ(esaOperation, "main");
}
