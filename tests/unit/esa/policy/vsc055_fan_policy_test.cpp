/** The VSC055 backplane's own fan policy, and the rule for an enclosure that is too hot. */
#include <gmock/gmock.h>

#include "event_message.h"
#include "policy/fans.h"
#include "policy/temperatures.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

using Lines = std::vector<std::string>;
using Loads = std::vector<int>;

class Vsc055FanPolicy : public EsaTest {
protected:
    int poll(int degC) {
        for (S16_t& sensor : esaControl.temperatureSensor) {
            sensor = static_cast<S16_t>(degC);
        }
        esaVsc055TemperatureFanPolicy();
        return esaControl.fanPwmLoad[0];
    }

    void setLoads(int percent) {
        for (U8_t& load : esaControl.fanPwmLoad) {
            load = static_cast<U8_t>(percent);
        }
    }
};

int nextLoad(int load, int degC) {
    switch (load) {
    case 50:
        return degC > 44 ? 75 : 50;
    case 75:
        return degC > 54 ? 100 : degC < 45 ? 50 : 75;
    default:
        return degC < 55 ? 75 : 100;
    }
}

using Overheat = EsaTest;

} // namespace

TEST_F(Vsc055FanPolicy, EveryLoadAtEveryAverageTakesAtMostOneStep) {
    const char* const codes[] = {"", "2F", "37", "3F"};
    for (int type : {3, 5}) {
        for (int load : {50, 75, 100}) {
            for (int degC = -45; degC <= 75; ++degC) {
                SCOPED_TRACE(testing::Message() << "type " << type << ", " << load << " %, " << degC);
                startChassis(type);
                (void)takeTrace();
                setLoads(load);
                const int next = nextLoad(load, degC);
                EXPECT_EQ(poll(degC), next);

                Lines writes;
                Lines trace = {"temperatureSensorAverage = [" + std::to_string(degC) + "] degrees Celsius."};
                for (int fan = 0; fan < 3 && next != load; ++fan) {
                    writes.push_back("W 41 9" + std::string(1, "89A"[fan]) + " " + codes[next / 25 - 1]);
                    trace.push_back("Load PWM [" + std::to_string(next) + "] Percent to Fan [" + std::to_string(fan) +
                                    "]");
                    trace.push_back("Temperature = [" + std::to_string(degC) + "], Fan [" + std::to_string(fan) +
                                    "] set to " + std::to_string(next) + " percent PWM");
                }
                EXPECT_EQ(fakeBus.takeTransfers(), writes);
                EXPECT_EQ(takeTrace(), trace);
                EXPECT_EQ(esaControl.fanPwmLoad[3], load) << "the chassis has three fans";
            }
        }
    }
}

TEST_F(Vsc055FanPolicy, BandEdgesWalkedUpAndDownOverSeveralPolls) {
    struct {
        const char* name;
        int start;
        std::vector<int> degC;
        Loads loads;
    } const walks[] = {
        {"up one band a poll", 50, {70, 70, 70}, {75, 100, 100}},
        {"down one band a poll and never below 50", 100, {10, 10, 10, 10}, {75, 50, 50, 50}},
        {"50 to 75 at 45", 50, {44, 45, 45, 54}, {50, 75, 75, 75}},
        {"75 to 100 at 55", 75, {54, 55, 55}, {75, 100, 100}},
        {"100 to 75 one degree below", 100, {55, 54, 54}, {100, 75, 75}},
        {"75 to 50 at 44", 75, {46, 45, 44, 44}, {75, 75, 50, 50}},
        {"to and fro around 55", 75, {55, 54, 55, 54}, {100, 75, 100, 75}},
        {"to and fro around 45", 50, {45, 44, 45, 44}, {75, 50, 75, 50}},
    };
    for (int type : {3, 5}) {
        for (const auto& walk : walks) {
            SCOPED_TRACE(testing::Message() << "type " << type << ": " << walk.name);
            startChassis(type);
            setLoads(walk.start);
            Loads loads;
            for (int degC : walk.degC) {
                loads.push_back(poll(degC));
            }
            EXPECT_EQ(loads, walk.loads);
        }
    }
}

TEST_F(Vsc055FanPolicy, AnyOtherLoadIsTracedAndLeftAloneEvenTwentyFive) {
    startChassis(5);
    const U8_t loads[] = {0, 25, 60};
    std::copy(std::begin(loads), std::end(loads), esaControl.fanPwmLoad);
    for (int degC : {10, 70}) {
        (void)takeTrace();
        (void)poll(degC);
        EXPECT_THAT(Loads(esaControl.fanPwmLoad, esaControl.fanPwmLoad + 3), ElementsAre(0, 25, 60));
        EXPECT_THAT(takeTrace(),
                    ElementsAre("temperatureSensorAverage = [" + std::to_string(degC) + "] degrees Celsius.",
                                "ESA never set this PWM Load [0] on Fan [0]?",
                                "ESA never set this PWM Load [25] on Fan [1]?",
                                "ESA never set this PWM Load [60] on Fan [2]?"));
        EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    }
}

TEST_F(Vsc055FanPolicy, FanFaultsDoNotOverrideTheTemperature) {
    startChassis(3);
    setLoads(50);
    esaControl.fanFaultStatus = 0x7;
    EXPECT_EQ(poll(30), 50);
    EXPECT_EQ(esaControl.temperatureSensorAverage, 30);
    EXPECT_EQ(poll(45), 75);
}

TEST_F(Vsc055FanPolicy, LoadIsRecordedEvenWhenItCouldNotBeWritten) {
    startChassis(3);
    setLoads(50);
    fakeBus.failDevice(0x41);
    EXPECT_EQ(poll(45), 75);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 41 98 37 !", "W 41 99 37 !", "W 41 9A 37 !"));
}

TEST_F(Overheat, SixtyIsNotTooHotAndSixtyOneIs) {
    for (int type : {2, 3, 4, 5, 6}) {
        SCOPED_TRACE(type);
        startChassis(type, 0);
        esaControl.compositeFaultStatus = 0;
        esaControl.temperatureSensorAverage = 60;
        EXPECT_EQ(esaTemperatureOverheatCheck(), 0);
        EXPECT_THAT(takeMessageNames(), IsEmpty());
        EXPECT_THAT(takeTrace(), Not(Contains("Temperature average over 60 degrees!")));
        EXPECT_EQ(esaControl.compositeFaultStatus, 0U);

        esaControl.temperatureSensorAverage = 61;
        EXPECT_EQ(esaTemperatureOverheatCheck(), 64);
        EXPECT_THAT(takeMessageNames(), ElementsAre("led-on", "email", "event 10/3", "shutdown"));
        EXPECT_EQ(esaControl.compositeFaultStatus, 0x80000008U);
        EXPECT_EQ(takeTrace().at(0), "Temperature average over 60 degrees!");
    }
}

TEST_F(Overheat, EveryPollAboveSixtySendsTheEventAndTheShutdownAgainButNoMail) {
    startChassis(5, 0);
    esaControl.temperatureSensorAverage = 80;
    (void)esaTemperatureOverheatCheck();
    (void)takeMessages();
    for (int poll = 0; poll < 3; ++poll) {
        EXPECT_EQ(esaTemperatureOverheatCheck(), 64);
        EXPECT_THAT(takeMessageNames(), ElementsAre("event 10/3", "shutdown"));
    }
    esaControl.temperatureSensorAverage = 60;
    EXPECT_EQ(esaTemperatureOverheatCheck(), 64);
    EXPECT_THAT(takeMessageNames(), ElementsAre("led-off"));
    EXPECT_EQ(esaTemperatureOverheatCheck(), 0);
    EXPECT_THAT(takeMessageNames(), IsEmpty());
    EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
}

TEST_F(Overheat, MessagesByteForByte) {
    startChassis(6, 0);
    esaControl.compositeFaultStatus = 0x80000008;
    esaControl.temperatureSensorAverage = 32766;
    (void)esaTemperatureOverheatCheck();
    const std::vector<Bytes> messages = takeMessages();
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(behindLinks(messages[0]), eventBytes("03", "0A", {0x06000000, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}));
    EXPECT_EQ(behindLinks(messages[1]), "0E 01 00 40 0D 00 00 01 21 00 00 00 00 04 00 00 "
                                        "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                                        "00 00 00 00 00 00 00 00 00 00 00 01 00 00 00 00 "
                                        "00 00 00 00 00 00 00 00");
}

TEST_F(Overheat, ColdEnclosuresOnlyClearTheCause) {
    startChassis(5, 0);
    for (S16_t degC : {S16_t{-128}, S16_t{0}, S16_t{59}}) {
        esaControl.temperatureSensorAverage = degC;
        EXPECT_EQ(esaTemperatureOverheatCheck(), 0);
        EXPECT_THAT(takeMessageNames(), IsEmpty());
    }
}
