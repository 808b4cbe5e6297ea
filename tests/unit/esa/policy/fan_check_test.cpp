/** The check of every fan's speed, once per poll. */
#include <gmock/gmock.h>

#include "event_message.h"
#include "fans_of_chassis.h"
#include "policy/fans.h"

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

class FanCheck : public EsaTest {
protected:
    void start(const ChassisFans& fans) {
        startChassis(fans.type);
        esaControl.fanFaultStatus = 0;
        for (const Tachometer& tachometer : fans.tachometers) {
            fakeBus.set(tachometer.address, tachometer.reg, fans.good);
        }
    }

    /** Lines of the trace about fans' health, without the drivers' own. */
    std::vector<std::string> takeMarks() {
        std::vector<std::string> marks;
        for (const std::string& line : takeTrace()) {
            if (line.find("mark") != std::string::npos || line.find("Status [ERROR]") != std::string::npos ||
                line.find("has speed [") != std::string::npos) {
                marks.push_back(line);
            }
        }
        return marks;
    }
};

std::string fanLine(const char* format, std::size_t fan, int rpm = 0) {
    char text[96];
    std::snprintf(text, sizeof(text), format, static_cast<int>(fan), rpm);
    return text;
}

} // namespace

TEST_F(FanCheck, EveryFanIsReadOnceAndHealthyFansSendNothing) {
    for (const ChassisFans& fans : FANS_OF_CHASSIS) {
        SCOPED_TRACE(fans.type);
        start(fans);
        EXPECT_EQ(esaReadFanFailStatus(), 0);
        std::vector<std::string> reads;
        std::vector<std::string> marks;
        for (std::size_t fan = 0; fan < fans.tachometers.size(); ++fan) {
            char read[16];
            std::snprintf(read, sizeof(read), "R %02X %02X", static_cast<unsigned>(fans.tachometers[fan].address),
                          static_cast<unsigned>(fans.tachometers[fan].reg));
            reads.push_back(read);
            marks.push_back(fanLine("Fan [%d] has speed [%d] RPM.", fan, fans.goodRpm));
            marks.push_back(fanLine("Already marked OK on Fan [%d].", fan));
        }
        EXPECT_EQ(fakeBus.takeTransfers(), reads);
        EXPECT_EQ(takeMarks(), marks);
        EXPECT_EQ(esaControl.fanFaultStatus, 0U);
        EXPECT_THAT(takeMessages(), IsEmpty());
    }
}

TEST_F(FanCheck, SlowFanIsMarkedOnceAndClearedByOneGoodReading) {
    for (const ChassisFans& fans : FANS_OF_CHASSIS) {
        for (std::size_t fan = 0; fan < fans.tachometers.size(); ++fan) {
            SCOPED_TRACE(testing::Message() << "type " << fans.type << " fan " << fan);
            start(fans);
            (void)takeTrace();
            const Tachometer& tachometer = fans.tachometers[fan];
            fakeBus.set(tachometer.address, tachometer.reg, fans.slow);

            EXPECT_EQ(esaReadFanFailStatus(), -1);
            EXPECT_EQ(esaControl.fanFaultStatus, 1U << fan);
            EXPECT_THAT(takeMessageNames(), ElementsAre("event 7/2"));
            std::vector<std::string> marks = takeMarks();
            EXPECT_THAT(marks, Contains(fanLine("Fan [%d] has speed [%d] RPM.", fan, fans.slowRpm)));
            EXPECT_THAT(marks, Contains("Return Fans Status [ERROR]."));
            EXPECT_THAT(marks, Contains(fanLine("Now marking Fault on Fan [%d].", fan)));

            EXPECT_EQ(esaReadFanFailStatus(), -1);
            EXPECT_EQ(esaControl.fanFaultStatus, 1U << fan);
            EXPECT_THAT(takeMessages(), IsEmpty());
            EXPECT_THAT(takeMarks(), Contains(fanLine("Already marked Fault on Fan [%d].", fan)));

            fakeBus.set(tachometer.address, tachometer.reg, fans.good);
            EXPECT_EQ(esaReadFanFailStatus(), 0);
            EXPECT_EQ(esaControl.fanFaultStatus, 0U);
            EXPECT_THAT(takeMessageNames(), ElementsAre("event 7/2"));
            marks = takeMarks();
            EXPECT_THAT(marks, Contains(fanLine("Now marking OK on Fan [%d].", fan)));
            EXPECT_THAT(marks, Not(Contains("Return Fans Status [ERROR].")));
        }
    }
}

TEST_F(FanCheck, FanThatCannotBeReadCountsAsStopped) {
    for (const ChassisFans& fans : FANS_OF_CHASSIS) {
        for (std::size_t fan = 0; fan < fans.tachometers.size(); ++fan) {
            SCOPED_TRACE(testing::Message() << "type " << fans.type << " fan " << fan);
            start(fans);
            (void)takeTrace();
            fakeBus.failRegister(fans.tachometers[fan].address, fans.tachometers[fan].reg);
            EXPECT_EQ(esaReadFanFailStatus(), -1);
            EXPECT_EQ(esaControl.fanFaultStatus, 1U << fan);
            EXPECT_THAT(takeMessageNames(), ElementsAre("event 7/2"));
            EXPECT_THAT(takeMarks(), Contains(fanLine("Fan [%d] has speed [%d] RPM.", fan, 0)));
            fakeBus.heal();
        }
    }
}

TEST_F(FanCheck, AllFansAreStoppedWhileTheBusIsUnusable) {
    for (const ChassisFans& fans : FANS_OF_CHASSIS) {
        SCOPED_TRACE(fans.type);
        start(fans);
        esaControl.i2cConnected = 0;
        EXPECT_EQ(esaReadFanFailStatus(), -1);
        EXPECT_EQ(esaControl.fanFaultStatus, (1U << fans.tachometers.size()) - 1);
        EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
        EXPECT_THAT(takeMessageNames(), ElementsAre("event 7/2"));
    }
}

TEST_F(FanCheck, SpeedAtTheLimitIsHealthyAndOneBelowIsNot) {
    for (const ChassisFans& fans : FANS_OF_CHASSIS) {
        SCOPED_TRACE(fans.type);
        start(fans);
        esaControl.fanFaultRpmLimit = static_cast<U32_t>(fans.goodRpm);
        EXPECT_EQ(esaReadFanFailStatus(), 0);
        esaControl.fanFaultRpmLimit = static_cast<U32_t>(fans.goodRpm + 1);
        EXPECT_EQ(esaReadFanFailStatus(), -1);
        EXPECT_EQ(esaControl.fanFaultStatus, (1U << fans.tachometers.size()) - 1);
    }
}

TEST_F(FanCheck, LimitIsComparedAsAnUnsignedNumber) {
    start(FANS_OF_CHASSIS[1]);
    esaControl.fanFaultRpmLimit = 0xFFFFFFFF;
    EXPECT_EQ(esaReadFanFailStatus(), -1);
    esaControl.fanFaultRpmLimit = 0;
    EXPECT_EQ(esaReadFanFailStatus(), 0);
}

TEST_F(FanCheck, ManyChangesAtOnceSendOneEventWithTheNewMarks) {
    const ChassisFans& fans = FANS_OF_CHASSIS[2];
    start(fans);
    esaControl.fanFaultStatus = 0x12; // fans 1 and 4 were faulty and recover
    for (std::size_t fan : {0U, 3U, 5U}) {
        fakeBus.set(fans.tachometers[fan].address, fans.tachometers[fan].reg, 255);
    }
    EXPECT_EQ(esaReadFanFailStatus(), -1);
    EXPECT_EQ(esaControl.fanFaultStatus, 0x29U);
    const std::vector<Bytes> messages = takeMessages();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(behindLinks(messages[0]), eventBytes("02", "07", {0x04000000, 0, 0, 6, 0, 0, 0, 0, 0, 0x29}));
}

TEST_F(FanCheck, RecoveryIsAWarningToo) {
    start(FANS_OF_CHASSIS[3]);
    esaControl.fanFaultStatus = 0x4;
    EXPECT_EQ(esaReadFanFailStatus(), 0);
    EXPECT_EQ(behindLinks(takeMessages().at(0)), eventBytes("02", "07", {0x05000000, 0, 0, 3}));
}

TEST_F(FanCheck, MarksOfFansThatTheChassisDoesNotHaveAreLeftAlone) {
    start(FANS_OF_CHASSIS[4]);
    esaControl.fanFaultStatus = 0x80;
    EXPECT_EQ(esaReadFanFailStatus(), 0);
    EXPECT_EQ(esaControl.fanFaultStatus, 0x80U);
    EXPECT_THAT(takeMessages(), IsEmpty());
}

TEST_F(FanCheck, UnknownChassisIsFaultyAsSoonAsThereIsAFanToCheck) {
    for (int type : {0, 1, 7, 255}) {
        SCOPED_TRACE(type);
        esaControl.enclosureType = static_cast<VORAN_E_CHASSIS_t>(type);
        esaControl.coolingMaxNumber = 1;
        EXPECT_EQ(esaReadFanFailStatus(), -1);
        esaControl.coolingMaxNumber = 0;
        EXPECT_EQ(esaReadFanFailStatus(), 0);
        EXPECT_EQ(esaControl.fanFaultStatus, 0U);
        EXPECT_THAT(takeMessages(), IsEmpty());
        EXPECT_THAT(takeTrace(), IsEmpty());
    }
}

TEST_F(FanCheck, CountsAboveEightFansReadEight) {
    start(FANS_OF_CHASSIS[0]);
    esaControl.coolingMaxNumber = 9;
    EXPECT_EQ(esaReadFanFailStatus(), 0);
    EXPECT_EQ(fakeBus.takeTransfers().size(), 8U);
}
