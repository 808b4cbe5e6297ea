/** The four-step fan policy, on every chassis that uses it, and the average that it goes by. */
#include <gmock/gmock.h>

#include "fans_of_chassis.h"
#include "policy/fans.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Lines = std::vector<std::string>;
using Loads = std::vector<int>;

class FanPolicy : public EsaTest {
protected:
    void setAll(int degC, int percent) {
        for (S16_t& sensor : esaControl.temperatureSensor) {
            sensor = static_cast<S16_t>(degC);
        }
        for (U8_t& load : esaControl.fanPwmLoad) {
            load = static_cast<U8_t>(percent);
        }
    }

    /** One poll of the policy with every sensor at `degC`; the load of fan 0 after it. */
    int poll(int degC) {
        for (S16_t& sensor : esaControl.temperatureSensor) {
            sensor = static_cast<S16_t>(degC);
        }
        esaTemperatureFanPolicy();
        return esaControl.fanPwmLoad[0];
    }

    /** Lines of the trace about the policy, without the drivers' own. */
    Lines takePolicyTrace() {
        Lines lines;
        for (const std::string& line : takeTrace()) {
            if (line.rfind("Load PWM", 0) != 0) {
                lines.push_back(line);
            }
        }
        return lines;
    }

    static std::string line(const char* format, int a, int b = 0) {
        char text[128];
        std::snprintf(text, sizeof(text), format, a, b);
        return text;
    }
};

/** What becomes of a fan at `load` with an average of `degC`. */
int nextLoad(int load, int degC) {
    switch (load) {
    case 25:
        return degC > 35 ? 50 : 25;
    case 50:
        return degC > 38 ? 75 : degC < 32 ? 25 : 50;
    case 75:
        return degC > 40 ? 100 : degC < 34 ? 50 : 75;
    default:
        return degC < 35 ? 75 : 100;
    }
}

} // namespace

TEST_F(FanPolicy, EveryLoadAtEveryAverageTakesAtMostOneStepOnEveryChassis) {
    for (const ChassisFans& fans : FANS_OF_CHASSIS) {
        for (int load : {25, 50, 75, 100}) {
            for (int degC = -45; degC <= 70; ++degC) {
                SCOPED_TRACE(testing::Message() << "type " << fans.type << ", " << load << " %, " << degC);
                startChassis(fans.type);
                (void)takeTrace();
                setAll(degC, load);
                esaTemperatureFanPolicy();

                const int next = nextLoad(load, degC);
                Lines writes;
                Lines trace = {line("temperatureSensorAverage = [%d] degrees Celsius.", degC)};
                for (std::size_t fan = 0; fan < fans.loads.size(); ++fan) {
                    EXPECT_EQ(esaControl.fanPwmLoad[fan], next);
                    if (next != load) {
                        writes.push_back(fans.loads[fan] + fans.duties[dutyIndex(next)]);
                        trace.push_back(line("Temperature = [%d], Fan [%d] set to ", degC, static_cast<int>(fan)) +
                                        std::to_string(next) + " percent PWM");
                    }
                }
                EXPECT_EQ(fakeBus.takeTransfers(), writes);
                EXPECT_EQ(takePolicyTrace(), trace);
                EXPECT_EQ(esaControl.fanPwmLoad[7], load) << "no chassis drives a fan 7";
            }
        }
    }
}

TEST_F(FanPolicy, BandEdgesWalkedUpAndDownOverSeveralPolls) {
    struct {
        const char* name;
        int start;
        std::vector<int> degC;
        Loads loads;
    } const walks[] = {
        {"up one band a poll", 25, {50, 50, 50, 50}, {50, 75, 100, 100}},
        {"down one band a poll", 100, {20, 20, 20, 20}, {75, 50, 25, 25}},
        {"25 to 50 at 36 and no further", 25, {35, 36, 36, 38}, {25, 50, 50, 50}},
        {"50 to 75 at 39", 50, {38, 39, 39, 40}, {50, 75, 75, 75}},
        {"75 to 100 at 41", 75, {40, 41, 41}, {75, 100, 100}},
        {"100 to 75 at 34, then to 50 at 33", 100, {36, 35, 34, 34, 33}, {100, 100, 75, 75, 50}},
        {"50 to 25 at 31", 50, {33, 32, 31, 31, 35}, {50, 50, 25, 25, 25}},
        {"hysteresis around 36", 25, {36, 35, 32, 36, 31, 36}, {50, 50, 50, 50, 25, 50}},
        {"hysteresis around 39", 50, {39, 38, 34, 39, 33, 39}, {75, 75, 75, 75, 50, 75}},
        {"hysteresis around 41", 75, {41, 40, 35, 34, 40, 41}, {100, 100, 100, 75, 75, 100}},
        {"below zero", 100, {-1, -20, -40, -40}, {75, 50, 25, 25}},
    };
    for (const ChassisFans& fans : FANS_OF_CHASSIS) {
        for (const auto& walk : walks) {
            SCOPED_TRACE(testing::Message() << "type " << fans.type << ": " << walk.name);
            startChassis(fans.type);
            setAll(0, walk.start);
            Loads loads;
            for (int degC : walk.degC) {
                loads.push_back(poll(degC));
            }
            EXPECT_EQ(loads, walk.loads);
        }
    }
}

TEST_F(FanPolicy, FansMoveEachFromItsOwnLoad) {
    startChassis(4);
    setAll(39, 0);
    const U8_t loads[] = {25, 50, 75, 100, 0, 60};
    std::copy(std::begin(loads), std::end(loads), esaControl.fanPwmLoad);
    esaTemperatureFanPolicy();
    EXPECT_THAT(Loads(esaControl.fanPwmLoad, esaControl.fanPwmLoad + 6), ElementsAre(50, 75, 75, 100, 0, 60));
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 28 5B 80", "W 28 5A C0"));
    EXPECT_THAT(takePolicyTrace(), ElementsAre("temperatureSensorAverage = [39] degrees Celsius.",
                                               "Temperature = [39], Fan [0] set to 50 percent PWM",
                                               "Temperature = [39], Fan [1] set to 75 percent PWM",
                                               "ESA never set this PWM Load [0] on Fan [4]?",
                                               "ESA never set this PWM Load [60] on Fan [5]?"));
}

TEST_F(FanPolicy, FanThatWasSwitchedOffStaysOffUntilAFanFails) {
    for (const ChassisFans& fans : FANS_OF_CHASSIS) {
        SCOPED_TRACE(fans.type);
        startChassis(fans.type);
        esaControl.fanFaultStatus = 0;
        setAll(20, 25);
        esaControl.fanPwmLoad[1] = 0;
        for (int degC : {20, 50, 50}) {
            (void)takeTrace();
            (void)poll(degC);
            EXPECT_EQ(esaControl.fanPwmLoad[1], 0);
            EXPECT_THAT(takeTrace(), Contains("ESA never set this PWM Load [0] on Fan [1]?"));
        }
        (void)fakeBus.takeTransfers();
        esaControl.fanFaultStatus = 1;
        esaTemperatureFanPolicy();
        EXPECT_EQ(esaControl.fanPwmLoad[1], 100);
        EXPECT_THAT(fakeBus.takeTransfers(), Contains(fans.loads[1] + fans.duties[3]));
    }
}

TEST_F(FanPolicy, FanFaultDrivesEveryFanThatIsNotAtFullLoadAndSkipsTheTemperature) {
    for (const ChassisFans& fans : FANS_OF_CHASSIS) {
        SCOPED_TRACE(fans.type);
        startChassis(fans.type);
        (void)takeTrace();
        setAll(20, 25);
        esaControl.temperatureSensorAverage = 47;
        esaControl.fanPwmLoad[0] = 100;
        esaControl.fanFaultStatus = 0x80;
        esaTemperatureFanPolicy();

        Lines writes;
        Lines trace;
        for (std::size_t fan = 1; fan < fans.loads.size(); ++fan) {
            writes.push_back(fans.loads[fan] + fans.duties[3]);
            trace.push_back("At least 1 Fan Fault, FanFaultStatus = [0x80]");
            trace.push_back(line("Fan [%d] sets to 100 percent PWM Load", static_cast<int>(fan)));
            EXPECT_EQ(esaControl.fanPwmLoad[fan], 100);
        }
        EXPECT_EQ(fakeBus.takeTransfers(), writes);
        EXPECT_EQ(takePolicyTrace(), trace);
        EXPECT_EQ(esaControl.temperatureSensorAverage, 47);

        esaTemperatureFanPolicy();
        EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
        EXPECT_THAT(takeTrace(), IsEmpty());
        EXPECT_EQ(esaControl.temperatureSensorAverage, 47);
    }
}

TEST_F(FanPolicy, FansStepDownOneBandAPollAfterTheFaultHasGone) {
    startChassis(6);
    setAll(20, 25);
    esaControl.fanFaultStatus = 0x2;
    EXPECT_EQ(poll(20), 100);
    EXPECT_EQ(poll(20), 100);
    esaControl.fanFaultStatus = 0;
    EXPECT_EQ(poll(20), 75);
    EXPECT_EQ(poll(20), 50);
    EXPECT_EQ(poll(20), 25);
    EXPECT_EQ(poll(20), 25);
}

TEST_F(FanPolicy, XyratexDrivesItsTwoGroupsWhateverTheNumberOfFans) {
    for (int coolings : {1, 2, 3, 8}) {
        SCOPED_TRACE(coolings);
        startChassis(2);
        esaControl.coolingMaxNumber = static_cast<U8_t>(coolings);
        setAll(50, 25);
        esaTemperatureFanPolicy();
        EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 63 98 2F", "W 63 99 2F"));
        EXPECT_THAT(Loads(esaControl.fanPwmLoad, esaControl.fanPwmLoad + 8),
                    ElementsAre(50, 50, 25, 25, 25, 25, 25, 25));
    }
}

TEST_F(FanPolicy, OtherChassisDriveAsManyFansAsTheyCount) {
    startChassis(4);
    esaControl.coolingMaxNumber = 2;
    setAll(50, 25);
    esaTemperatureFanPolicy();
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 28 5B 80", "W 28 5A 80"));
}

TEST_F(FanPolicy, LoadIsRecordedEvenWhenItCouldNotBeWritten) {
    for (const ChassisFans& fans : FANS_OF_CHASSIS) {
        SCOPED_TRACE(fans.type);
        startChassis(fans.type);
        esaControl.fanFaultStatus = 0;
        setAll(50, 25);
        for (int address : {0x28, 0x29, 0x2A, 0x2B, 0x41, 0x63}) {
            fakeBus.failDevice(address);
        }
        esaTemperatureFanPolicy();
        EXPECT_THAT(fakeBus.takeTransfers(), Contains(fans.loads[0] + fans.duties[1] + " !"));
        EXPECT_EQ(esaControl.fanPwmLoad[0], 50);
        esaControl.fanFaultStatus = 1;
        esaTemperatureFanPolicy();
        EXPECT_EQ(esaControl.fanPwmLoad[1], 100);
        fakeBus.heal();
    }
}

TEST_F(FanPolicy, UnknownChassisDrivesNothingAndAveragesNothing) {
    for (int type : {0, 1, 7, 255}) {
        SCOPED_TRACE(type);
        startChassis(5);
        esaControl.enclosureType = static_cast<VORAN_E_CHASSIS_t>(type);
        esaControl.temperatureSensorAverage = 7;
        for (U32_t faults : {0U, 1U}) {
            esaControl.fanFaultStatus = faults;
            setAll(50, 25);
            esaTemperatureFanPolicy();
            esaVsc055TemperatureFanPolicy();
            EXPECT_EQ(esaControl.temperatureSensorAverage, 7);
            EXPECT_EQ(esaControl.fanPwmLoad[0], 25);
        }
        EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
        EXPECT_THAT(takeTrace(), IsEmpty());
    }
}

TEST_F(FanPolicy, AverageIsOfThePresentSensorsAndTruncatesTowardZero) {
    struct {
        U8_t sensors;
        S16_t readings[4];
        S16_t average;
    } const cases[] = {
        {2, {36, 37, 99, 99}, 36},       {3, {40, 32767, 32767, 99}, 40},
        {2, {40, 32767, 0, 0}, 40},      {2, {32767, 40, 0, 0}, 40},
        {3, {36, 36, 38, 99}, 36},       {3, {36, 37, 38, 99}, 37},
        {2, {-1, 0, 0, 0}, 0},           {2, {-1, -2, 0, 0}, -1},
        {3, {-36, -37, -36, 0}, -36},    {3, {-7, -7, -6, 0}, -6},
        {2, {-3, 2, 0, 0}, 0},           {4, {1, 2, 3, 4}, 2},
        {4, {127, 127, 127, 127}, 127},  {4, {-128, -128, -128, -128}, -128},
        {1, {25, 99, 99, 99}, 25},       {4, {32767, 32767, 32767, 12}, 12},
        {4, {10, 20, 32767, 32767}, 15}, {2, {32766, 0, 0, 0}, 16383},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(testing::PrintToString(one.readings));
        for (auto policy : {esaTemperatureFanPolicy, esaVsc055TemperatureFanPolicy}) {
            startChassis(5);
            (void)takeTrace();
            setAll(0, 0);
            esaControl.temperatureSensorMaxNumber = one.sensors;
            std::copy(std::begin(one.readings), std::end(one.readings), esaControl.temperatureSensor);
            esaControl.temperatureSensorAverage = 55;
            policy();
            EXPECT_EQ(esaControl.temperatureSensorAverage, one.average);
            EXPECT_EQ(takeTrace().at(0), line("temperatureSensorAverage = [%d] degrees Celsius.", one.average));
        }
    }
}

TEST_F(FanPolicy, CountsAboveFourSensorsAverageFour) {
    startChassis(5);
    setAll(30, 50);
    esaControl.temperatureSensorMaxNumber = 5;
    esaControl.temperatureReportStatus[0] = 0x7F7F7F7F; // lies behind the sensors
    esaTemperatureFanPolicy();
    EXPECT_EQ(esaControl.temperatureSensorAverage, 30);
}

TEST_F(FanPolicy, WithEverySensorAbsentLoadsAndAverageStayAndTheTraceSaysSo) {
    for (const ChassisFans& fans : FANS_OF_CHASSIS) {
        SCOPED_TRACE(fans.type);
        for (auto policy : {esaTemperatureFanPolicy, esaVsc055TemperatureFanPolicy}) {
            startChassis(fans.type);
            (void)takeTrace();
            setAll(32767, 100);
            esaControl.temperatureSensorAverage = 58;
            policy();
            EXPECT_EQ(esaControl.temperatureSensorAverage, 58);
            EXPECT_EQ(esaControl.fanPwmLoad[0], 100);
            EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
            EXPECT_THAT(takeTrace(),
                        ElementsAre("No temperature sensor gave a reading, fan loads and average stay as they are."));
        }
    }
}
