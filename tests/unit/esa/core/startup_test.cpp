/** The steps between initialisation and the main loop: the notice, the wait, the chassis. */
#include <gmock/gmock.h>

#include <cerrno>

#include "../policy/event_message.h"
#include "core_test.h"

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using StartupNotice = CoreTest;

class RcpWait : public CoreTest {
protected:
    /** Raises the flag in the n-th sleep, counted from 1. */
    void raiseFlagInSleep(unsigned n) {
        onFakeSleep = [this, n](unsigned long long) {
            if (fakeSleeps.size() == n) {
                params.flags |= 0x80;
            }
        };
    }
};

/** How the first transfer of a chassis' initialiser tells whether the chassis is there. */
struct ChassisCase {
    int type;
    const char* done;
    const char* failed;
};

const ChassisCase CHASSIS[] = {
    {2, "Finish initializing for the Xyratex Enclosure.", "Initializing for the Xyratex Enclosure fails."},
    {3, "Finish initializing for the Vsc055 based Enclosure.", "Initializing for the Vsc055 based Enclosure fails."},
    {4, "Finish initializing for the Chenbro Enclosure.", "Initializing for the Chenbro Enclosure fails."},
    {5, "Finish initializing for the Vsc055 based Enclosure.", "Initializing for the Vsc055 based Enclosure fails."},
    {6, "Finish initializing for the W83782d based Enclosure.", "Initializing for the W83782d based Enclosure fails."},
};

using ChassisDispatch = CoreTest;

} // namespace

TEST_F(StartupNotice, IsThisMessage) {
    std::memset(esaControl.esaWorkSpace, 0xEE, 128);
    esaSendStartupNotice();
    const std::vector<Bytes> messages = takeMessages();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(behindLinks(messages[0]), "0E 01 00 40 0C 00 00 01 21 00 00 00 00 04 00 00 "
                                        "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                                        "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
    const auto own = static_cast<U32_t>(reinterpret_cast<std::uintptr_t>(esaControl.esaWorkSpace));
    EXPECT_EQ(wordAt(messages[0], 0), own);
    EXPECT_EQ(wordAt(messages[0], 4), own);
    EXPECT_EQ(esaControl.esaWorkSpace[64], 0xEE) << "a header is all that is built";
    EXPECT_THAT(takeTrace(), ElementsAre("ESA finishes initialization and sends the message to the Startup process."));
}

TEST_F(StartupNotice, FailedSendIsACriticalErrorAndStartUpGoesOn) {
    esaControl.socketFdMSM = -1;
    esaSendStartupNotice();
    ASSERT_EQ(fakeEventLog.size(), 4U);
    EXPECT_EQ(errorMessage(0), "Linux send function fails, sendSize = [64] is wrong");
    EXPECT_EQ(errorFunction(0), "main()");
    EXPECT_EQ(textAt(fakeEventLog[0].bytes, 152), "esamain.cpp");
    EXPECT_THAT(takeTrace(), Contains("ESA finishes initialization and sends the message to the Startup process."));
}

TEST_F(RcpWait, FlagThatIsSetAlreadyEndsItAtOnce) {
    params.flags = 0x80;
    esaWaitForRcp();
    EXPECT_THAT(fakeSleeps, IsEmpty());
    EXPECT_THAT(takeTrace(), ElementsAre("RCP Complete flag is marked now.", "rcpWaitRetryCount = [0]"));
}

TEST_F(RcpWait, FlagThatComesInAnySleepEndsItThere) {
    for (unsigned n = 1; n <= 17; ++n) {
        SCOPED_TRACE(n);
        params.flags = 0;
        fakeSleeps.clear();
        raiseFlagInSleep(n);
        esaWaitForRcp();
        EXPECT_EQ(fakeSleeps.size(), n);
        EXPECT_THAT(fakeSleeps, Each(10000000ULL));
        EXPECT_THAT(takeTrace(),
                    ElementsAre("RCP Complete flag is marked now.", "rcpWaitRetryCount = [" + std::to_string(n) + "]"));
    }
}

TEST_F(RcpWait, FlagThatComesInTheLastSleepIsNotLookedAtAnyMore) {
    raiseFlagInSleep(18);
    esaWaitForRcp();
    EXPECT_EQ(fakeSleeps.size(), 18U);
    EXPECT_THAT(takeTrace(), ElementsAre("rcpWaitRetryCount = [18]"));
}

TEST_F(RcpWait, FlagThatNeverComesIsWaitedForThreeMinutesAndIsNoError) {
    params.flags = ~0x80U; // every other flag
    esaWaitForRcp();
    EXPECT_EQ(fakeSleeps, std::vector<unsigned long long>(18, 10000000ULL));
    EXPECT_THAT(takeTrace(), ElementsAre("rcpWaitRetryCount = [18]"));
    EXPECT_THAT(fakeEventLog, IsEmpty());
    EXPECT_THAT(takeMessages(), IsEmpty());
}

TEST_F(ChassisDispatch, InitialisesTheHardwareOfEachChassisAndTracesTheOutcome) {
    for (const ChassisCase& test : CHASSIS) {
        SCOPED_TRACE(test.type);
        startChassis(test.type);
        esaControl.i2cConnected = 0;
        esaInitChassis();
        EXPECT_EQ(esaControl.i2cConnected, 1);
        EXPECT_THAT(fakeBus.takeTransfers(), testing::Not(IsEmpty()));
        std::vector<std::string> lines = takeTrace();
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines.back(), test.done);
        EXPECT_THAT(lines, testing::Not(Contains(test.failed)));
        (void)takeMessages();
    }
}

TEST_F(ChassisDispatch, HardwareThatDoesNotAnswerIsOnlyTraced) {
    for (const ChassisCase& test : CHASSIS) {
        SCOPED_TRACE(test.type);
        startChassis(test.type);
        esaControl.i2cConnected = 0;
        for (int device = 0; device < 128; ++device) {
            fakeBus.failDevice(device);
        }
        esaInitChassis();
        EXPECT_EQ(esaControl.i2cConnected, 0);
        std::vector<std::string> lines = takeTrace();
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines.back(), test.failed);
        EXPECT_THAT(lines, testing::Not(Contains(test.done)));
        (void)takeMessages();
    }
    EXPECT_THAT(fakeEventLog, IsEmpty());
}

TEST_F(ChassisDispatch, NoneIsAnInformationEventAndAnUnknownTypeAWarning) {
    struct {
        int type;
        const char* eventType;
    } const cases[] = {{0, "02"}, {1, "01"}, {7, "02"}, {8, "02"}, {200, "02"}, {255, "02"}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.type);
        esaControl.enclosureType = static_cast<U8_t>(test.type);
        std::memset(esaControl.esaWorkSpace, 0xEE, 400);
        esaInitChassis();
        const std::vector<Bytes> messages = takeMessages();
        ASSERT_EQ(messages.size(), 1U);
        std::array<U32_t, 21> record = {};
        record[0] = static_cast<U32_t>(test.type) << 24;
        record[14] = 2;
        EXPECT_EQ(behindLinks(messages[0]), eventBytes(test.eventType, "0A", record));
        EXPECT_THAT(takeTrace(), IsEmpty());
        EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
        EXPECT_EQ(esaControl.i2cConnected, 0);
    }
}
