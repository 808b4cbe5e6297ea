/** Fans and their policies with loads, limits, counts and types that no enclosure has. */
#include "policy/fans.h"

#include "enclosures/vsc055.h"
#include "esa_fixture.h"

namespace {

using Loads_t = std::vector<int>;

class Fans : public EsaTest {
protected:
    static void setAll(int degC, int percent) {
        std::fill(std::begin(esaControl.temperatureSensor), std::end(esaControl.temperatureSensor),
                  static_cast<S16_t>(degC));
        std::fill(std::begin(esaControl.fanPwmLoad), std::end(esaControl.fanPwmLoad), static_cast<U8_t>(percent));
    }

    static Loads_t loads(std::size_t count) { return {esaControl.fanPwmLoad, esaControl.fanPwmLoad + count}; }

    /** A Quadra whose fans run at 2000 RPM, of those that a count can tell. */
    void startFans() {
        startChassis(3);
        esaControl.fanFaultStatus = 0;
        for (int fan = 0; fan < 8; ++fan) {
            fakeBus.set(0x41, 0x32 + 4 * fan, 150);
        }
    }
};

} // namespace

TEST_F(Fans, XyratexDrivesItsTwoGroupsWhateverTheNumberOfFans) {
    for (const U8_t coolings : {U8_t{1}, U8_t{2}, U8_t{3}, U8_t{8}}) {
        SCOPED_TRACE(int{coolings});
        startChassis(2);
        esaControl.coolingMaxNumber = coolings;
        setAll(50, 25);
        esaTemperatureFanPolicy();
        EXPECT_EQ(fakeBus.takeTransfers(), (Lines_t{"W 63 98 2F", "W 63 99 2F"}));
        EXPECT_EQ(loads(8), (Loads_t{50, 50, 25, 25, 25, 25, 25, 25}));
    }
}

TEST_F(Fans, AverageIsOfThePresentSensorsAndTruncatesTowardZero) {
    struct {
        U8_t sensors;
        S16_t readings[4];
        S16_t average;
    } const cases[] = {
        {2, {-1, -2, 0, 0}, -1},
        {3, {-36, -37, -36, 0}, -36},
        {2, {-3, 2, 0, 0}, 0},
        {1, {25, 99, 99, 99}, 25},
        {4, {32767, 32767, 32767, 12}, 12},
        {2, {32766, 0, 0, 0}, 16383},
        {4, {-128, -128, -128, -128}, -128},
        {5, {30, 30, 30, 30}, 30}, // no more than four are looked at
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(testing::PrintToString(one.readings));
        for (void (*policy)() : {+[] { esaTemperatureFanPolicy(); }, +[] { esaVsc055TemperatureFanPolicy(); }}) {
            startChassis(5);
            setAll(0, 0);
            esaControl.temperatureSensorMaxNumber = one.sensors;
            esaControl.temperatureReportStatus[0] = 0x7F7F7F7F; // lies behind the sensors
            std::copy(std::begin(one.readings), std::end(one.readings), esaControl.temperatureSensor);
            esaControl.temperatureSensorAverage = one.average + 1;
            policy();
            EXPECT_EQ(esaControl.temperatureSensorAverage, one.average);
        }
    }
}

TEST_F(Fans, LimitIsComparedAsAnUnsignedNumberAndNoMoreThanEightAreRead) {
    startFans();
    esaControl.fanFaultRpmLimit = 0xFFFFFFFF;
    EXPECT_EQ(esaReadFanFailStatus(), -1);
    (void)fakeBus.takeTransfers();
    esaControl.fanFaultRpmLimit = 0;
    esaControl.coolingMaxNumber = 9;
    EXPECT_EQ(esaReadFanFailStatus(), 0);
    EXPECT_EQ(fakeBus.takeTransfers().size(), 8U);
}

TEST_F(Fans, EnclosureOfNoKnownTypeIsFaultyAsSoonAsItHasAFanAndDrivesNone) {
    for (const int type : {0, 1, 7, 255}) {
        SCOPED_TRACE(type);
        startFans();
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
        EXPECT_EQ(loads(3), (Loads_t{50, 50, 50}));
        EXPECT_EQ(esaControl.temperatureSensorAverage, 12);
    }
    EXPECT_EQ(fakeBus.takeTransfers(), Lines_t{});
    EXPECT_EQ(takeMessageNames(), Lines_t{});
    EXPECT_EQ(takeTrace(), Lines_t{});
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
        const std::size_t fans = esaControl.coolingMaxNumber;
        EXPECT_EQ(fakeBus.takeTransfers().size(), fans - 1);
        Loads_t expected(8, 50);
        std::fill_n(expected.begin(), fans, 100);
        EXPECT_EQ(loads(8), expected);
        const Lines_t lines = takeTrace();
        ASSERT_GE(lines.size(), 2U);
        EXPECT_EQ(lines[0], "At least 1 Fan Fault, FanFaultStatus = [0x2]");
        EXPECT_EQ(lines[1], "Fan [0] sets to 100 percent PWM Load");
    }
}

TEST_F(Fans, PageTakesExactlyTwoThousandRpmForAFaultWhateverThePollsLimit) {
    for (const U32_t limit : {0U, 2000U, 3000U}) {
        for (const U16_t rpm : {U16_t{0}, U16_t{1999}, U16_t{2000}, U16_t{2001}, U16_t{65535}}) {
            SCOPED_TRACE(testing::Message() << rpm << " RPM, limit " << limit);
            const bool healthy = rpm == 2001 || rpm == 65535;
            startChassis(2);
            esaControl.fanFaultRpmLimit = limit;
            esaControl.fanFaultStatus = 0;
            CoolingElementStat_t status;
            wireClear(status);
            EXPECT_EQ(esaMarkCoolingFault(status, 5, rpm), !healthy);
            EXPECT_EQ(status.fail, healthy ? 0 : 1);
            EXPECT_EQ(esaControl.fanFaultStatus, healthy ? 0x00U : 0x20U);
        }
    }
}
