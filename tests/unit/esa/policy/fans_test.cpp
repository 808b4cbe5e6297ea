/** Fans: the limit of a healthy one, and the loads that follow from the average temperature, band by band. */
#include <gmock/gmock.h>

#include "event_message.h"
#include "policy/fans.h"

using testing::ElementsAre;

namespace {

using Loads_t = std::vector<int>;

class Fans : public EsaTest {
protected:
    static void setAll(int degC, int percent) {
        for (S16_t& sensor : esaControl.temperatureSensor) {
            sensor = static_cast<S16_t>(degC);
        }
        for (U8_t& load : esaControl.fanPwmLoad) {
            load = static_cast<U8_t>(percent);
        }
    }

    /** A Quadra whose fans run at `rpm`, of those that a count can tell. */
    void startFans(int count) {
        startChassis(3);
        esaControl.fanFaultStatus = 0;
        for (int fan = 0; fan < 8; ++fan) {
            fakeBus.set(0x41, 0x32 + 4 * fan, count);
        }
    }
};

struct Policy_t {
    const char* name;
    std::vector<int> types;
    void (*run)();
    struct Walk_t {
        const char* name;
        int start;
        std::vector<int> degC;
        Loads_t loads;
    };
    std::vector<Walk_t> walks;
};

const Policy_t POLICIES[] = {
    {"four steps",
     {2, 3, 4, 5, 6},
     [] { esaTemperatureFanPolicy(); },
     {{"up one band a poll", 25, {50, 50, 50, 50}, {50, 75, 100, 100}},
      {"down one band a poll", 100, {20, 20, 20, 20}, {75, 50, 25, 25}},
      {"25 to 50 at 36 and no further", 25, {35, 36, 36, 38}, {25, 50, 50, 50}},
      {"50 to 75 at 39", 50, {38, 39, 39, 40}, {50, 75, 75, 75}},
      {"75 to 100 at 41", 75, {40, 41, 41}, {75, 100, 100}},
      {"100 to 75 at 34, then to 50 at 33", 100, {36, 35, 34, 34, 33}, {100, 100, 75, 75, 50}},
      {"50 to 25 at 31", 50, {33, 32, 31, 31, 35}, {50, 50, 25, 25, 25}},
      {"hysteresis around 36", 25, {36, 35, 32, 36, 31, 36}, {50, 50, 50, 50, 25, 50}},
      {"hysteresis around 39", 50, {39, 38, 34, 39, 33, 39}, {75, 75, 75, 75, 50, 75}},
      {"hysteresis around 41", 75, {41, 40, 35, 34, 40, 41}, {100, 100, 100, 75, 75, 100}},
      {"below zero", 100, {-1, -20, -40, -40}, {75, 50, 25, 25}}}},
    {"the VSC055 backplane's own",
     {3, 5},
     [] { esaVsc055TemperatureFanPolicy(); },
     {{"up one band a poll", 50, {70, 70, 70}, {75, 100, 100}},
      {"down one band a poll and never below 50", 100, {10, 10, 10, 10}, {75, 50, 50, 50}},
      {"50 to 75 at 45", 50, {44, 45, 45, 54}, {50, 75, 75, 75}},
      {"75 to 100 at 55", 75, {54, 55, 55}, {75, 100, 100}},
      {"100 to 75 one degree below", 100, {55, 54, 54}, {100, 75, 75}},
      {"75 to 50 at 44", 75, {46, 45, 44, 44}, {75, 75, 50, 50}},
      {"to and fro around 55", 75, {55, 54, 55, 54}, {100, 75, 100, 75}},
      {"to and fro around 45", 50, {45, 44, 45, 44}, {75, 50, 75, 50}}}},
};

} // namespace

TEST_F(Fans, BandEdgesWalkedUpAndDownOverSeveralPolls) {
    for (const Policy_t& policy : POLICIES) {
        for (int type : policy.types) {
            for (const Policy_t::Walk_t& walk : policy.walks) {
                SCOPED_TRACE(testing::Message() << policy.name << ", type " << type << ": " << walk.name);
                startChassis(type);
                setAll(0, walk.start);
                Loads_t loads;
                for (int degC : walk.degC) {
                    setAll(degC, esaControl.fanPwmLoad[0]);
                    policy.run();
                    loads.push_back(esaControl.fanPwmLoad[0]);
                }
                EXPECT_EQ(loads, walk.loads);
            }
        }
    }
}

TEST_F(Fans, EachMovesFromItsOwnLoad) {
    startChassis(4);
    setAll(39, 0);
    const U8_t loads[] = {25, 50, 75, 100, 0, 60};
    std::copy(std::begin(loads), std::end(loads), esaControl.fanPwmLoad);
    (void)takeTrace();
    esaTemperatureFanPolicy();
    EXPECT_THAT(Loads_t(esaControl.fanPwmLoad, esaControl.fanPwmLoad + 6), ElementsAre(50, 75, 75, 100, 0, 60));
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 28 5B 80", "W 28 5A C0"));
    EXPECT_THAT(takeTrace(), testing::IsSupersetOf({"temperatureSensorAverage = [39] degrees Celsius.",
                                                    "Temperature = [39], Fan [0] set to 50 percent PWM",
                                                    "Temperature = [39], Fan [1] set to 75 percent PWM",
                                                    "ESA never set this PWM Load [0] on Fan [4]?",
                                                    "ESA never set this PWM Load [60] on Fan [5]?"}));
}

TEST_F(Fans, XyratexDrivesItsTwoGroupsWhateverTheNumberOfFans) {
    for (int coolings : {1, 2, 3, 8}) {
        SCOPED_TRACE(coolings);
        startChassis(2);
        esaControl.coolingMaxNumber = static_cast<U8_t>(coolings);
        setAll(50, 25);
        esaTemperatureFanPolicy();
        EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 63 98 2F", "W 63 99 2F"));
        EXPECT_THAT(Loads_t(esaControl.fanPwmLoad, esaControl.fanPwmLoad + 8),
                    ElementsAre(50, 50, 25, 25, 25, 25, 25, 25));
    }
}

TEST_F(Fans, AverageIsOfThePresentSensorsAndTruncatesTowardZero) {
    struct {
        U8_t sensors;
        S16_t readings[4];
        S16_t average;
    } const cases[] = {
        {2, {36, 37, 99, 99}, 36},    {3, {40, 32767, 32767, 99}, 40},
        {2, {32767, 40, 0, 0}, 40},   {3, {36, 36, 38, 99}, 36},
        {2, {-1, 0, 0, 0}, 0},        {2, {-1, -2, 0, 0}, -1},
        {3, {-36, -37, -36, 0}, -36}, {2, {-3, 2, 0, 0}, 0},
        {4, {1, 2, 3, 4}, 2},         {4, {127, 127, 127, 127}, 127},
        {1, {25, 99, 99, 99}, 25},    {4, {32767, 32767, 32767, 12}, 12},
        {2, {32766, 0, 0, 0}, 16383}, {4, {-128, -128, -128, -128}, -128},
        {5, {30, 30, 30, 30}, 30}, // no more than four are looked at
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(testing::PrintToString(one.readings));
        for (const Policy_t& policy : POLICIES) {
            startChassis(5);
            setAll(0, 0);
            esaControl.temperatureSensorMaxNumber = one.sensors;
            esaControl.temperatureReportStatus[0] = 0x7F7F7F7F; // lies behind the sensors
            std::copy(std::begin(one.readings), std::end(one.readings), esaControl.temperatureSensor);
            policy.run();
            EXPECT_EQ(esaControl.temperatureSensorAverage, one.average);
        }
    }
}

TEST_F(Fans, TwoThousandRpmAreHealthyAndOneStepBelowIsNot) {
    startFans(150);
    EXPECT_EQ(esaReadFanFailStatus(), 0);
    startFans(151); // 1986
    EXPECT_EQ(esaReadFanFailStatus(), -1);
    EXPECT_EQ(esaControl.fanFaultStatus, 7U);
}

TEST_F(Fans, LimitIsComparedAsAnUnsignedNumber) {
    startFans(150);
    esaControl.fanFaultRpmLimit = 0xFFFFFFFF;
    EXPECT_EQ(esaReadFanFailStatus(), -1);
    esaControl.fanFaultRpmLimit = 0;
    EXPECT_EQ(esaReadFanFailStatus(), 0);
}

TEST_F(Fans, ManyChangesAtOnceSendOneEventWithTheNewMarks) {
    startFans(150);
    esaControl.fanFaultStatus = 0x2; // fan 1 was faulty and recovers
    fakeBus.set(0x41, 0x32, 255);
    fakeBus.set(0x41, 0x3A, 255);
    EXPECT_EQ(esaReadFanFailStatus(), -1);
    EXPECT_EQ(esaControl.fanFaultStatus, 0x5U);
    const std::vector<Bytes_t> messages = takeMessages();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(behindLinks(messages[0]), eventBytes("02", "07", {0x03000000, 0, 0, 3, 0, 0, 0, 0, 0, 0x5}));
}

TEST_F(Fans, NoMoreThanEightAreRead) {
    startFans(150);
    esaControl.coolingMaxNumber = 9;
    EXPECT_EQ(esaReadFanFailStatus(), 0);
    EXPECT_EQ(fakeBus.takeTransfers().size(), 8U);
}

TEST_F(Fans, EnclosureOfNoKnownTypeIsFaultyAsSoonAsItHasAFanAndDrivesNone) {
    for (const int type : {0, 1, 7, 255}) {
        SCOPED_TRACE(type);
        startFans(150);
        setAll(70, 50);
        esaControl.temperatureSensorAverage = 12;
        esaControl.enclosureType = static_cast<VORAN_E_CHASSIS_t>(type);
        EXPECT_EQ(esaReadFanFailStatus(), -1);
        esaControl.coolingMaxNumber = 0;
        EXPECT_EQ(esaReadFanFailStatus(), 0);
        esaControl.coolingMaxNumber = 3;
        for (const U32_t faults : {0U, 1U}) {
            esaControl.fanFaultStatus = faults;
            esaTemperatureFanPolicy();
        }
        EXPECT_THAT(Loads_t(esaControl.fanPwmLoad, esaControl.fanPwmLoad + 3), ElementsAre(50, 50, 50));
        EXPECT_EQ(esaControl.temperatureSensorAverage, 12);
    }
    EXPECT_THAT(fakeBus.takeTransfers(), testing::IsEmpty());
    EXPECT_THAT(takeMessageNames(), testing::IsEmpty());
    EXPECT_THAT(takeTrace(), testing::IsEmpty());
}

TEST_F(Fans, FaultForcesEveryFanOfTheFourStepPolicyWhateverTheChassisRunsInItsPolls) {
    for (const int type : {3, 4, 5, 6}) {
        SCOPED_TRACE(type);
        startChassis(type);
        setAll(20, 50);
        esaControl.fanPwmLoad[1] = 100;
        esaControl.fanFaultStatus = 2;
        (void)takeTrace();
        (void)fakeBus.takeTransfers();
        esaTemperatureFanPolicy();
        const int fans = esaControl.coolingMaxNumber;
        EXPECT_EQ(fakeBus.takeTransfers().size(), static_cast<std::size_t>(fans) - 1);
        for (int fan = 0; fan < 8; ++fan) {
            EXPECT_EQ(esaControl.fanPwmLoad[fan], fan < fans ? 100 : 50) << fan;
        }
        const Lines_t lines = takeTrace();
        ASSERT_GE(lines.size(), 2U);
        EXPECT_EQ(lines[0], "At least 1 Fan Fault, FanFaultStatus = [0x2]");
        EXPECT_EQ(lines[1], "Fan [0] sets to 100 percent PWM Load");
    }
}

TEST_F(Fans, PageTakesExactlyTwoThousandRpmForAFaultWhateverThePollsLimit) {
    struct {
        U16_t rpm;
        bool healthy;
    } const speeds[] = {{0, false}, {1999, false}, {2000, false}, {2001, true}, {65535, true}};
    for (const U32_t limit : {0U, 2000U, 3000U}) {
        for (const auto& speed : speeds) {
            SCOPED_TRACE(testing::Message() << speed.rpm << " RPM, limit " << limit);
            startChassis(2);
            esaControl.fanFaultRpmLimit = limit;
            esaControl.fanFaultStatus = 0;
            esaControl.vitesse.vsc055GPD[6] = 0x2F;
            (void)takeTrace();
            CoolingElementStat_t status;
            wireClear(status);
            EXPECT_EQ(esaMarkCoolingFault(status, 5, speed.rpm), !speed.healthy);
            EXPECT_EQ(status.fail, speed.healthy ? 0 : 1);
            EXPECT_EQ(esaControl.fanFaultStatus, speed.healthy ? 0x00U : 0x20U);
            if (speed.healthy) {
                EXPECT_THAT(takeTrace(), ElementsAre("Already marked OK on Fan [5].", "FAN Fail LED already [OFF]."));
            } else {
                EXPECT_THAT(takeTrace(), ElementsAre("Now marking Fault on Fan [5].", "Turn [ON] FAN_FAIL LED.",
                                                     "Turn [ON] FAN Fail LED."));
            }
        }
    }
}

TEST_F(Fans, PageMarksNoFanOfABackplane) {
    for (const int type : {3, 4, 5, 6}) {
        startChassis(type);
        CoolingElementStat_t status;
        wireClear(status);
        EXPECT_FALSE(esaMarkCoolingFault(status, 0, 0));
        EXPECT_EQ(status.fail, 0);
        EXPECT_EQ(esaControl.fanFaultStatus, 0U);
    }
}
