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

TEST_F(Countdown, BusThatIsNotUsableIsCountedDownButNotPolled) {
    for (int type = 2; type <= 6; ++type) {
        startChassis(type);
        for (int connected : {0, 2}) { // any other value than 1 is no usable bus
            SCOPED_TRACE(testing::Message() << type << " " << connected);
            esaControl.i2cConnected = static_cast<U8_t>(connected);
            setTimes({0, 0}, {1, 0});
            EXPECT_FALSE(polls());
            EXPECT_EQ(left(), "10.0");
            EXPECT_FALSE(polls());
            EXPECT_EQ(left(), "9.0");
        }
    }
    EXPECT_THAT(takeMessages(), IsEmpty());
}

TEST_F(Countdown, NoneAndUnknownTypesAreCountedDownButNotPolled) {
    for (int type : {0, 1, 7, 255}) {
        SCOPED_TRACE(type);
        startChassis(5);
        esaControl.enclosureType = static_cast<U8_t>(type);
        setTimes({0, 0}, {1, 0});
        EXPECT_FALSE(polls());
        EXPECT_EQ(left(), "10.0");
        EXPECT_THAT(takeMessages(), IsEmpty());
        EXPECT_THAT(takeTrace(), IsEmpty());
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

TEST_F(LoopPass, WithoutInputWaitsASecondAndCountsDown) {
    std::vector<long> waits;
    systemCalls.onSelect = [&](long seconds, long microseconds) {
        waits.push_back(seconds);
        waits.push_back(microseconds);
    };
    esaMainLoopPass();
    esaMainLoopPass();
    EXPECT_THAT(waits, ElementsAre(1, 0, 1, 0)) << "what the wait leaves of its time never comes back";
    const std::string call = "select " + std::to_string(esaControl.socketFdMSM + 1);
    EXPECT_THAT(systemCalls.calls, ElementsAre(call, call));
    EXPECT_EQ(left(), "8.0");
    EXPECT_EQ(esaControl.selectTimeout.sec, 1U);
    EXPECT_EQ(esaControl.selectTimeout.usec, 0U);
    EXPECT_THAT(takeTrace(), IsEmpty());
}

TEST_F(LoopPass, HandlesOneMessageAndCountsAWholeWaitAllTheSame) {
    sendMessage(101);
    sendMessage(102);
    esaMainLoopPass();
    EXPECT_THAT(verdicts(), ElementsAre("Un-supported SES Command [101]."));
    EXPECT_EQ(left(), "9.0");
    esaMainLoopPass();
    EXPECT_THAT(verdicts(), ElementsAre("Un-supported SES Command [102]."));
    EXPECT_EQ(left(), "8.0");
    esaMainLoopPass();
    EXPECT_THAT(verdicts(), IsEmpty());
    EXPECT_EQ(left(), "7.0");
}

TEST_F(LoopPass, EleventhMessageMakesTheHardwareBePolled) {
    startChassis(2);
    for (int i = 1; i <= 11; ++i) {
        EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty()) << i;
        sendMessage(i);
        esaMainLoopPass();
    }
    EXPECT_THAT(fakeBus.takeTransfers(), testing::Not(IsEmpty()));
}

TEST_F(LoopPass, FailedWaitIsACriticalErrorAndTheLoopGoesOn) {
    for (int error : {EINTR, EBADF, ENOMEM}) {
        SCOPED_TRACE(error);
        fakeEventLog.clear();
        systemCalls.selectError = error;
        esaControl.pollTimeout = {10, 0};
        sendMessage(103);
        esaMainLoopPass();
        ASSERT_EQ(fakeEventLog.size(), 4U);
        EXPECT_EQ(errorMessage(0), "Linux select function fails");
        EXPECT_EQ(errorFunction(0), "main()");
        EXPECT_EQ(textAt(fakeEventLog[0].bytes, 152), "esamain.cpp");
        EXPECT_EQ(left(), "9.0");
        EXPECT_THAT(verdicts(), IsEmpty()) << "a failed wait says nothing about the socket";
        systemCalls.selectError = 0;
        esaMainLoopPass();
        EXPECT_THAT(verdicts(), ElementsAre("Un-supported SES Command [103]."));
    }
}

TEST_F(LoopPass, SocketThatNoSetCanHoldIsNeverReadable) {
    for (int fd : {-1, -100, 1024, 5000}) {
        SCOPED_TRACE(fd);
        systemCalls.calls.clear();
        esaControl.pollTimeout = {10, 0};
        const int own = esaControl.socketFdMSM;
        esaControl.socketFdMSM = fd;
        esaMainLoopPass();
        esaControl.socketFdMSM = own;
        EXPECT_THAT(systemCalls.calls, ElementsAre("select 0"));
        EXPECT_EQ(left(), "9.0");
    }
    EXPECT_THAT(fakeEventLog, IsEmpty());
}

TEST_F(LoopPass, LastSocketThatASetCanHoldIsRead) {
    const int own = esaControl.socketFdMSM;
    ASSERT_EQ(dup2(own, 1023), 1023);
    esaControl.socketFdMSM = 1023;
    sendMessage(104);
    esaMainLoopPass();
    esaControl.socketFdMSM = own;
    close(1023);
    EXPECT_EQ(systemCalls.calls.front(), "select 1024");
    EXPECT_THAT(verdicts(), ElementsAre("Un-supported SES Command [104]."));
}
