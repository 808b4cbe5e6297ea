/** The poll of the Xyratex enclosure: supplies, fans, temperatures and the alarm that the enclosure runs itself. */
#include "driver_test.h"
#include "enclosures/xyratex.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const Lines SUPPLIES = {"R 63 04", "R 63 04"};
const Lines ALARM = {"W 63 05 00", "R 63 05", "W 63 05 01", "R 63 05", "W 63 05 02", "R 63 05"};
const Lines FANS = {"R 63 32", "R 63 36", "R 63 3A", "R 63 3E", "R 63 42", "R 63 46", "R 63 4A", "R 63 4E"};
const Lines TEMPERATURES = {"R 4C 00", "R 4C 00", "R 4D 00", "R 4D 00"};
const Lines SET_IDLE = {"W 63 05 08", "W 63 05 00"};
const Lines FULL_SPEED = {"W 63 98 3F", "W 63 99 3F"};
/** The alarm is read once for its reminder, while redundancy stays good, and once at the end. */
const Lines HEALTHY = join({SUPPLIES, ALARM, FANS, TEMPERATURES, ALARM});

class XyratexPoll : public DriverTest {
protected:
    XyratexPoll() { start(); }

    /** A healthy enclosure at 30 and 32 degrees as its initialisation leaves it, alarm idle. */
    void start() {
        startCold(2);
        startChassis(2, 0);
        esaControl.vitesse.vsc055GPD[6] = 0x2F;
        esaControl.vitesse.vsc055GPD[7] = 0xFF;
        std::memset(esaControl.fanPwmLoad, 25, 2);
        fakeBus.set(0x63, 0x04, 0x30);
        fakeBus.set(0x63, 0x05, 0x00);
        for (int fan = 0; fan < 8; ++fan) {
            fakeBus.set(0x63, 0x32 + 4 * fan, 200);
        }
        fakeBus.set(0x4C, 0x00, 30);
        fakeBus.set(0x4D, 0x00, 32);
        discard();
    }

    /** What the next read-backs of the alarm's three bits give. */
    static void alarms(const std::vector<int>& states) {
        for (int state : states) {
            fakeBus.queue(0x63, 0x05,
                          {(state & 1) != 0 ? 0x10 : 0, (state & 2) != 0 ? 0x10 : 0, (state & 4) != 0 ? 0x10 : 0});
        }
    }
};

} // namespace

TEST_F(XyratexPoll, HealthyPollWritesOnlyTheAlarmSelection) {
    EXPECT_EQ(xyratexEsaProcessPollTimeout(), 0);
    EXPECT_EQ(fakeBus.takeTransfers(), HEALTHY);
    EXPECT_THAT(takeReports(), IsEmpty());
    EXPECT_EQ(esaControl.temperatureSensor[0], 30);
    EXPECT_EQ(esaControl.temperatureSensor[1], 32);
    EXPECT_EQ(esaControl.temperatureSensorAverage, 31);
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x3U);
    EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
    EXPECT_EQ(esaControl.alarmState, 0U);
    EXPECT_EQ(esaControl.vitesse.vsc055GPD[6], 0x2F);
}

TEST_F(XyratexPoll, TracesEveryStepInOrder) {
    (void)xyratexEsaProcessPollTimeout();
    const Lines supplies = {"This Fault bit is [POWER_SUPPLY_VOLTAGE_TOLERANCE]",
                            "This Fault bit [0x1] does NOT exist currently.",
                            "The Fault bit [0x1] is already clear.",
                            "Return Power Redundancy Fail Status [OK].",
                            "This Fault bit is [POWER_SUPPLY_REDUNDANCY]",
                            "This Fault bit [0x2] does NOT exist currently.",
                            "The Fault bit [0x2] is already clear.",
                            "Read the Alarm State as [IDEL_S0]."};
    Lines fans;
    for (int fan = 0; fan < 8; ++fan) {
        fans.push_back(text("Fan [%d] has Vitesse Fan Speed value = [200].", fan));
        fans.push_back(text("Fan [%d] has speed [6000] RPM.", fan));
        fans.push_back(text("Already marked OK on Fan [%d].", fan));
    }
    const Lines rest = {"This Fault bit is [FAN]",
                        "This Fault bit [0x4] does NOT exist currently.",
                        "The Fault bit [0x4] is already clear.",
                        "FAN Fail LED already [OFF].",
                        "temperatureSensor[ESA_K_TEMPERATURE_SENSOR_LHS] = [30] degrees Celsius.",
                        "temperatureSensor[ESA_K_TEMPERATURE_SENSOR_RHS] = [32] degrees Celsius.",
                        "temperatureSensorAverage = [31] degrees Celsius.",
                        "This Fault bit is [TEMPERATURE_OVERHEAT]",
                        "This Fault bit [0x8] does NOT exist currently.",
                        "The Fault bit [0x8] is already clear.",
                        "Read the Alarm State as [IDEL_S0]."};
    EXPECT_EQ(takeTrace(), join({supplies, fans, rest}));
}

TEST_F(XyratexPoll, VoltagesLostAndFoundSwitchThePsuOkLed) {
    fakeBus.set(0x63, 0x04, 0x20);
    (void)xyratexEsaProcessPollTimeout();
    EXPECT_EQ(fakeBus.takeTransfers(), join({{"R 63 04", "W 63 06 0F", "R 63 04"}, ALARM, FANS, TEMPERATURES, ALARM}));
    EXPECT_THAT(takeReports(), ElementsAre("led-on", "email", "event 6/2 chassis 2 supplies 2 power 2"));
    EXPECT_THAT(takeTrace(), Contains("Turn [OFF] PSU_OK LED."));
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x2U);
    EXPECT_EQ(esaControl.compositeFaultStatus, 0x80000001U);
    EXPECT_EQ(esaControl.alarmState, 0U) << "the enclosure runs its alarm itself";

    (void)xyratexEsaProcessPollTimeout();
    EXPECT_EQ(fakeBus.takeTransfers(), HEALTHY);
    EXPECT_THAT(takeReports(), IsEmpty());

    fakeBus.set(0x63, 0x04, 0x30);
    (void)xyratexEsaProcessPollTimeout();
    EXPECT_EQ(fakeBus.takeTransfers(), join({{"R 63 04", "W 63 06 2F", "R 63 04"}, ALARM, FANS, TEMPERATURES, ALARM}));
    EXPECT_THAT(takeReports(), ElementsAre("led-off", "event 6/1 chassis 2 supplies 2 power 3"));
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x3U);
    EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
}

TEST_F(XyratexPoll, RedundancyLostAndFoundSwitchesItsLed) {
    fakeBus.set(0x63, 0x04, 0x10);
    (void)xyratexEsaProcessPollTimeout();
    EXPECT_EQ(fakeBus.takeTransfers(), join({SUPPLIES, {"W 63 06 6F"}, FANS, TEMPERATURES, ALARM}));
    EXPECT_THAT(takeReports(), ElementsAre("led-on", "email", "event 6/2 chassis 2 supplies 2 power 1"));
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x1U);
    EXPECT_EQ(esaControl.compositeFaultStatus, 0x80000002U);

    (void)xyratexEsaProcessPollTimeout();
    EXPECT_EQ(fakeBus.takeTransfers(), join({SUPPLIES, FANS, TEMPERATURES, ALARM}));
    EXPECT_THAT(takeReports(), IsEmpty());

    fakeBus.set(0x63, 0x04, 0x30);
    alarms({2}); // the reminder is not looked at in the poll that finds redundancy again
    (void)xyratexEsaProcessPollTimeout();
    EXPECT_EQ(fakeBus.takeTransfers(), join({SUPPLIES, {"W 63 06 2F"}, FANS, TEMPERATURES, ALARM}));
    EXPECT_THAT(takeReports(), ElementsAre("led-off", "event 6/1 chassis 2 supplies 2 power 3",
                                           "event 9/1 chassis 2 alarms 1 alarm 2"));
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x3U);
    EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
}

TEST_F(XyratexPoll, BothInputsLostAndFoundAreReportedOneAfterTheOther) {
    fakeBus.set(0x63, 0x04, 0xCF);
    (void)xyratexEsaProcessPollTimeout();
    EXPECT_EQ(fakeBus.takeTransfers(),
              join({{"R 63 04", "W 63 06 0F", "R 63 04", "W 63 06 4F"}, FANS, TEMPERATURES, ALARM}));
    EXPECT_THAT(takeReports(), ElementsAre("led-on", "email", "event 6/2 chassis 2 supplies 2 power 2", "email",
                                           "event 6/2 chassis 2 supplies 2"));
    fakeBus.set(0x63, 0x04, 0x30);
    (void)xyratexEsaProcessPollTimeout();
    EXPECT_THAT(takeReports(), ElementsAre("event 6/1 chassis 2 supplies 2 power 1", "led-off",
                                           "event 6/1 chassis 2 supplies 2 power 3"));
}

TEST_F(XyratexPoll, OtherBitsOfTheSupplyStatusAreKept) {
    esaControl.powerSupplyStatus = 0x7;
    fakeBus.set(0x63, 0x04, 0x00);
    (void)xyratexEsaProcessPollTimeout();
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x4U);
    fakeBus.set(0x63, 0x04, 0xFF);
    (void)xyratexEsaProcessPollTimeout();
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x7U);
}

TEST_F(XyratexPoll, ReminderIsEndedOnceRedundancyIsGood) {
    esaControl.alarmState = 2;
    alarms({2, 0});
    EXPECT_EQ(xyratexEsaProcessPollTimeout(), 0);
    EXPECT_EQ(fakeBus.takeTransfers(), join({SUPPLIES, ALARM, SET_IDLE, FANS, TEMPERATURES, ALARM}));
    EXPECT_THAT(takeReports(), ElementsAre("event 9/1 chassis 2 alarms 1"));
    EXPECT_EQ(esaControl.alarmState, 0U);
    EXPECT_EQ(xyratexEsaProcessPollTimeout(), 0);
    EXPECT_EQ(fakeBus.takeTransfers(), HEALTHY);
    EXPECT_THAT(takeReports(), IsEmpty()) << "reported once";
}

TEST_F(XyratexPoll, ReminderThatWasNeverNoticedIsEndedWithoutAnEvent) {
    alarms({2, 0});
    EXPECT_EQ(xyratexEsaProcessPollTimeout(), 0);
    EXPECT_EQ(fakeBus.takeTransfers(), join({SUPPLIES, ALARM, SET_IDLE, FANS, TEMPERATURES, ALARM}));
    EXPECT_THAT(takeReports(), IsEmpty());
}

TEST_F(XyratexPoll, OnlyTheReminderIsEnded) {
    for (int state : {0, 1, 3, 4, 5, 6, 7}) {
        SCOPED_TRACE(state);
        start();
        esaControl.alarmState = static_cast<U32_t>(state);
        alarms({state, state});
        EXPECT_EQ(xyratexEsaProcessPollTimeout(), state);
        EXPECT_EQ(fakeBus.takeTransfers(), HEALTHY);
        EXPECT_THAT(takeReports(), IsEmpty());
    }
}

TEST_F(XyratexPoll, ReminderWithoutRedundancyStays) {
    esaControl.alarmState = 2;
    esaControl.powerSupplyStatus = 0x1;
    fakeBus.set(0x63, 0x04, 0x10);
    alarms({2});
    EXPECT_EQ(xyratexEsaProcessPollTimeout(), 2);
    EXPECT_EQ(fakeBus.takeTransfers(), join({SUPPLIES, FANS, TEMPERATURES, ALARM}));
}

TEST_F(XyratexPoll, EveryNewAlarmStateIsReportedOnceAsWarningOrInformation) {
    const int types[] = {1, 2, 1, 1, 2, 1, 1, 1};
    for (int state = 0; state < 8; ++state) {
        SCOPED_TRACE(state);
        start();
        esaControl.alarmState = state == 7 ? 6 : 7;
        alarms({0, state, 0, state});
        EXPECT_EQ(xyratexEsaProcessPollTimeout(), 300) << "what the send returned";
        EXPECT_EQ(esaControl.alarmState, static_cast<U32_t>(state));
        EXPECT_THAT(takeReports(), ElementsAre(text("event 9/%d chassis 2 alarms 1", types[state]) +
                                               (state == 0 ? std::string() : text(" alarm %d", state))));
        EXPECT_EQ(xyratexEsaProcessPollTimeout(), state);
        EXPECT_THAT(takeReports(), IsEmpty());
    }
}

TEST_F(XyratexPoll, AlarmStateOfAControlPageThatTheControllerDoesNotShowIsCorrected) {
    esaControl.alarmState = 0x100; // the whole word is compared
    EXPECT_EQ(xyratexEsaProcessPollTimeout(), 300);
    EXPECT_EQ(esaControl.alarmState, 0U);
}

TEST_F(XyratexPoll, AllEightTachometersSwitchTheFanFailLed) {
    for (int fan = 0; fan < 8; ++fan) {
        SCOPED_TRACE(fan);
        start();
        fakeBus.set(0x63, 0x32 + 4 * fan, 255);
        (void)xyratexEsaProcessPollTimeout();
        EXPECT_EQ(fakeBus.takeTransfers(),
                  join({SUPPLIES, ALARM, FANS, {"W 63 06 AF"}, TEMPERATURES, FULL_SPEED, ALARM}));
        EXPECT_THAT(takeReports(),
                    ElementsAre(text("event 7/2 chassis 2 fans 8 faults %d", 1 << fan), "led-on", "email"));
        EXPECT_THAT(takeTrace(), Contains("Turn [ON] FAN Fail LED."));
        EXPECT_EQ(esaControl.compositeFaultStatus, 0x80000004U);
        EXPECT_EQ(hex(esaControl.fanPwmLoad, 8), "64 64 00 00 00 00 00 00") << "two groups are driven";

        (void)xyratexEsaProcessPollTimeout();
        EXPECT_EQ(fakeBus.takeTransfers(), HEALTHY);
        EXPECT_THAT(takeReports(), IsEmpty());
        EXPECT_THAT(takeTrace(), Contains("FAN Fail LED already [ON]."));

        fakeBus.set(0x63, 0x32 + 4 * fan, 200);
        (void)xyratexEsaProcessPollTimeout();
        const Lines slower = {"W 63 98 37", "W 63 99 37"};
        EXPECT_EQ(fakeBus.takeTransfers(), join({SUPPLIES, ALARM, FANS, {"W 63 06 2F"}, TEMPERATURES, slower, ALARM}));
        EXPECT_THAT(takeReports(), ElementsAre("event 7/2 chassis 2 fans 8", "led-off"));
        EXPECT_THAT(takeTrace(), Contains("Turn [OFF] FAN Fail LED."));
    }
}

TEST_F(XyratexPoll, FailedSupplyReadCountsAsBad) {
    fakeBus.failTransfer(0);
    (void)xyratexEsaProcessPollTimeout();
    EXPECT_EQ(fakeBus.takeTransfers(),
              join({{"R 63 04 !", "W 63 06 0F", "R 63 04"}, ALARM, FANS, TEMPERATURES, ALARM}));
    EXPECT_THAT(takeReports(), ElementsAre("led-on", "email", "event 6/2 chassis 2 supplies 2 power 2"));
    start();
    fakeBus.failTransfer(1);
    (void)xyratexEsaProcessPollTimeout();
    EXPECT_EQ(fakeBus.takeTransfers(), join({{"R 63 04", "R 63 04 !", "W 63 06 6F"}, FANS, TEMPERATURES, ALARM}));
    EXPECT_THAT(takeReports(), ElementsAre("led-on", "email", "event 6/2 chassis 2 supplies 2 power 1"));
    EXPECT_EQ(esaControl.i2cConnected, 1);
}

TEST_F(XyratexPoll, AlarmTransferThatFailsIsNoStateOfItsOwn) {
    for (std::size_t i : {2U, 3U, 4U, 5U, 6U, 7U, 20U, 21U, 22U, 23U, 24U, 25U}) {
        SCOPED_TRACE(i);
        start();
        fakeBus.failTransfer(static_cast<unsigned>(i));
        EXPECT_EQ(xyratexEsaProcessPollTimeout(), 0);
        EXPECT_EQ(fakeBus.takeTransfers(), failedWithin(HEALTHY, i));
        EXPECT_THAT(takeReports(), IsEmpty());
    }
}

TEST_F(XyratexPoll, FanThatCannotBeReadIsFaulty) {
    for (std::size_t fan = 0; fan < 8; ++fan) {
        SCOPED_TRACE(fan);
        start();
        fakeBus.failTransfer(8 + static_cast<unsigned>(fan));
        (void)xyratexEsaProcessPollTimeout();
        EXPECT_EQ(fakeBus.takeTransfers(),
                  join({SUPPLIES, ALARM, failedWithin(FANS, fan), {"W 63 06 AF"}, TEMPERATURES, FULL_SPEED, ALARM}));
        EXPECT_THAT(takeReports(),
                    ElementsAre(text("event 7/2 chassis 2 fans 8 faults %d", 1 << fan), "led-on", "email"));
    }
}

TEST_F(XyratexPoll, SensorThatCannotBeReadIsLeftOutOfTheAverage) {
    struct {
        std::size_t transfer;
        int left;
        int right;
        int average;
        Lines reads;
    } const failures[] = {
        {16, 32767, 32, 32, {"R 4C 00 !", "R 4D 00", "R 4D 00"}},
        {17, 32767, 32, 32, {"R 4C 00", "R 4C 00 !", "R 4D 00", "R 4D 00"}},
        {18, 30, 32767, 30, {"R 4C 00", "R 4C 00", "R 4D 00 !"}},
        {19, 30, 32767, 30, {"R 4C 00", "R 4C 00", "R 4D 00", "R 4D 00 !"}},
    };
    for (const auto& failure : failures) {
        SCOPED_TRACE(failure.transfer);
        start();
        fakeBus.failTransfer(static_cast<unsigned>(failure.transfer));
        (void)xyratexEsaProcessPollTimeout();
        EXPECT_EQ(fakeBus.takeTransfers(), join({SUPPLIES, ALARM, FANS, failure.reads, ALARM}));
        EXPECT_EQ(esaControl.temperatureSensor[0], failure.left);
        EXPECT_EQ(esaControl.temperatureSensor[1], failure.right);
        EXPECT_EQ(esaControl.temperatureSensorAverage, failure.average);
        EXPECT_THAT(takeReports(), IsEmpty());
        EXPECT_THAT(takeTrace(),
                    Contains(text("temperatureSensor[ESA_K_TEMPERATURE_SENSOR_%s] = [32767] degrees Celsius.",
                                  failure.transfer < 18 ? "LHS" : "RHS")));
    }
}

TEST_F(XyratexPoll, WritesThatFailStopNothingAndKeepTheShadows) {
    // Everything bad at once: both supply LEDs, the fan LED and the two fan groups are written.
    const Lines expected = join(
        {{"R 63 04", "W 63 06 0F", "R 63 04", "W 63 06 4F"}, FANS, {"W 63 06 CF"}, TEMPERATURES, FULL_SPEED, ALARM});
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (expected[i][0] == 'R') {
            continue;
        }
        SCOPED_TRACE(expected[i]);
        start();
        fakeBus.set(0x63, 0x04, 0x00);
        fakeBus.set(0x63, 0x32, 255);
        fakeBus.failTransfer(static_cast<unsigned>(i));
        EXPECT_EQ(xyratexEsaProcessPollTimeout(), 0);
        EXPECT_EQ(fakeBus.takeTransfers(), failedWithin(expected, i));
        EXPECT_EQ(esaControl.vitesse.vsc055GPD[6], 0xCF);
        EXPECT_EQ(hex(esaControl.fanPwmLoad, 2), "64 64");
        EXPECT_EQ(esaControl.compositeFaultStatus, 0x80000007U);
        EXPECT_THAT(takeReports(),
                    ElementsAre("led-on", "email", "event 6/2 chassis 2 supplies 2 power 2", "email",
                                "event 6/2 chassis 2 supplies 2", "event 7/2 chassis 2 fans 8 faults 1", "email"));
    }
}

TEST_F(XyratexPoll, UnusableBusChangesNoSupplyAndMarksTheFans) {
    esaControl.i2cConnected = 0;
    EXPECT_EQ(xyratexEsaProcessPollTimeout(), 0);
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x3U);
    EXPECT_THAT(takeReports(), ElementsAre("event 7/2 chassis 2 fans 8 faults 255", "led-on", "email"));
    EXPECT_EQ(esaControl.vitesse.vsc055GPD[6], 0xAF);
    esaControl.powerSupplyStatus = 0;
    EXPECT_EQ(xyratexEsaProcessPollTimeout(), 0);
    EXPECT_EQ(esaControl.powerSupplyStatus, 0U);
    EXPECT_EQ(esaControl.compositeFaultStatus, 0x80000004U);
}

TEST_F(XyratexPoll, HeatIsFollowedByPolicyEventsOverheatRuleAndAlarmInThisOrder) {
    fakeBus.set(0x4C, 0x00, 61);
    fakeBus.set(0x4D, 0x00, 62);
    alarms({0, 1});
    (void)xyratexEsaProcessPollTimeout();
    EXPECT_EQ(fakeBus.takeTransfers(),
              join({SUPPLIES, ALARM, FANS, TEMPERATURES, {"W 63 98 2F", "W 63 99 2F"}, ALARM}));
    EXPECT_THAT(takeReports(),
                ElementsAre("event 8/2 chassis 2 sensors 2 band 4 degrees 61",
                            "event 8/2 chassis 2 sensors 2 band 4 position 1 degrees 62", "led-on", "email",
                            "event 10/3 chassis 2 info 1", "shutdown", "event 9/2 chassis 2 alarms 1 alarm 1"));
}
