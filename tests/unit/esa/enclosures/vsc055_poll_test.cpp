/** The poll of the VSC055 backplane: every transfer in order, each of them failing, and what is reported. */
#include <gmock/gmock.h>

#include <cstring>

#include "enclosures/vsc055.h"
#include "esa_fixture.h"
#include "policy/temperatures.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Lines = std::vector<std::string>;

class Vsc055Poll : public EsaTest {
protected:
    /** A healthy enclosure at 30, 31 and 32 degrees. */
    void start(int type, U32_t alarmState = 3) {
        startChassis(type, alarmState);
        wireClear(esaControl.vitesse);
        esaControl.vitesse.vsc055GPD[4] = 0x50;
        esaControl.compositeFaultStatus = 0;
        esaControl.fanFaultStatus = 0;
        esaControl.temperatureSensorAverage = 0;
        std::memset(esaControl.temperatureReportStatus, 0, sizeof(esaControl.temperatureReportStatus));
        std::memset(esaControl.fanPwmLoad, 50, 3);
        fakeBus.heal();
        fakeBus.queues.clear();
        fakeBus.set(0x41, 0x04, 0x80);
        for (int reg : {0x32, 0x36, 0x3A}) {
            fakeBus.set(0x41, reg, 100);
        }
        heat(30, 31, 32);
        (void)takeTrace();
    }

    /** Whole degrees of the three sensors. Both reads of a sensor give the same byte, whose high bit is clear. */
    static void heat(int first, int second, int third) {
        fakeBus.set(0x4C, 0x00, first);
        fakeBus.set(0x4B, 0x00, second);
        fakeBus.set(0x4A, 0x00, third);
    }
};

const Lines HEALTHY = {"R 41 04", "R 41 32", "R 41 36", "R 41 3A", "R 4C 00",
                       "R 4C 00", "R 4B 00", "R 4B 00", "R 4A 00", "R 4A 00"};

} // namespace

TEST_F(Vsc055Poll, HealthyEnclosureIsReadAndNothingIsWrittenOrSent) {
    for (int type : {3, 5}) {
        SCOPED_TRACE(type);
        start(type);
        esaVsc055ProcessPollTimeout();
        EXPECT_EQ(fakeBus.takeTransfers(), HEALTHY);
        EXPECT_THAT(takeMessages(), IsEmpty());
        EXPECT_EQ(esaControl.temperatureSensor[0], 30);
        EXPECT_EQ(esaControl.temperatureSensor[1], 31);
        EXPECT_EQ(esaControl.temperatureSensor[2], 32);
        EXPECT_EQ(esaControl.temperatureSensorAverage, 31);
        EXPECT_EQ(esaControl.powerSupplyStatus, 0x3U);
        EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
    }
}

TEST_F(Vsc055Poll, TracesEveryStepInOrder) {
    start(5);
    esaVsc055ProcessPollTimeout();
    Lines expected = {"Return Power Fail Status [OK].", "This Fault bit is [POWER_SUPPLY_REDUNDANCY]",
                      "This Fault bit [0x2] does NOT exist currently.", "The Fault bit [0x2] is already clear.",
                      "Power Redundancy Status already [OK]."};
    for (const char* fan : {"0", "1", "2"}) {
        const std::string name = std::string("Fan [") + fan + "]";
        expected.push_back(name + " has Vitesse Fan Speed value = [100].");
        expected.push_back(name + " has speed [6000] RPM.");
        expected.push_back("Already marked OK on " + name + ".");
    }
    const Lines rest = {"This Fault bit is [FAN]",
                        "This Fault bit [0x4] does NOT exist currently.",
                        "The Fault bit [0x4] is already clear.",
                        "temperatureSensor[0] = [30] degrees Celsius.",
                        "temperatureSensor[1] = [31] degrees Celsius.",
                        "temperatureSensor[2] = [32] degrees Celsius.",
                        "temperatureSensorAverage = [31] degrees Celsius.",
                        "This Fault bit is [TEMPERATURE_OVERHEAT]",
                        "This Fault bit [0x8] does NOT exist currently.",
                        "The Fault bit [0x8] is already clear.",
                        "Read the Alarm State as [MUTE_S3].",
                        "Alarm State is set to [MUTE_S3]."};
    expected.insert(expected.end(), rest.begin(), rest.end());
    EXPECT_EQ(takeTrace(), expected);
}

TEST_F(Vsc055Poll, RedundancyLostAndFoundIsReportedOnce) {
    for (int type : {3, 5}) {
        SCOPED_TRACE(type);
        start(type);
        fakeBus.set(0x41, 0x04, 0x7F);
        esaVsc055ProcessPollTimeout();
        std::vector<Bytes> messages = takeMessages();
        ASSERT_EQ(messages.size(), 3U);
        EXPECT_EQ(hex(&messages[0][12], 4), "0C 00 00 0E");                              // LED on
        EXPECT_EQ(hex(&messages[1][12], 4), "0C 00 00 10");                              // e-mail
        EXPECT_EQ(hex(&messages[2][211], 5), "02 03 01 00 06");                          // warning 6
        EXPECT_EQ(messages[2][216], type);                                               // chassis
        EXPECT_EQ(hex(&messages[2][224], 4), type == 3 ? "00 00 00 03" : "00 00 00 02"); // supplies
        EXPECT_EQ(hex(&messages[2][248], 4), "00 00 00 01");                             // status
        EXPECT_EQ(esaControl.powerSupplyStatus, 0x1U);
        EXPECT_EQ(esaControl.compositeFaultStatus, 0x80000002U);
        EXPECT_EQ(fakeBus.takeTransfers()[1], "W 41 04 58") << "the alarm sounds";
        (void)takeTrace();

        esaVsc055ProcessPollTimeout();
        EXPECT_THAT(takeMessages(), IsEmpty());
        EXPECT_THAT(takeTrace(), Contains("Power Redundancy Status already [NOT OK]."));
        EXPECT_EQ(fakeBus.takeTransfers(), HEALTHY);

        fakeBus.set(0x41, 0x04, 0x80);
        esaVsc055ProcessPollTimeout();
        messages = takeMessages();
        ASSERT_EQ(messages.size(), 2U);
        EXPECT_EQ(hex(&messages[0][12], 4), "0C 00 00 0E");     // LED off
        EXPECT_EQ(hex(&messages[0][48], 4), "00 00 00 01");     //
        EXPECT_EQ(hex(&messages[1][211], 5), "01 03 01 00 06"); // information 6
        EXPECT_EQ(hex(&messages[1][248], 4), "00 00 00 03");    // status
        EXPECT_EQ(esaControl.powerSupplyStatus, 0x3U);
        EXPECT_EQ(fakeBus.takeTransfers()[1], "W 41 04 50") << "the alarm falls silent";
    }
}

TEST_F(Vsc055Poll, OtherBitsOfTheSupplyStatusAreKept) {
    start(5);
    esaControl.powerSupplyStatus = 0x7;
    fakeBus.set(0x41, 0x04, 0x00);
    esaVsc055ProcessPollTimeout();
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x5U);
    fakeBus.set(0x41, 0x04, 0xFF);
    esaVsc055ProcessPollTimeout();
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x7U);
}

TEST_F(Vsc055Poll, EveryTransferFailingInTurn) {
    struct {
        unsigned failing;
        Lines messages;
        U32_t faults;
        U32_t fans;
        U32_t supplies;
        S16_t sensors[3];
        S16_t average;
    } const cases[] = {
        {0, {"led-on", "email", "event 6/2"}, 0x80000002, 0, 1, {30, 31, 32}, 31},
        {1, {"event 7/2", "led-on", "email"}, 0x80000004, 1, 3, {30, 31, 32}, 31},
        {2, {"event 7/2", "led-on", "email"}, 0x80000004, 2, 3, {30, 31, 32}, 31},
        {3, {"event 7/2", "led-on", "email"}, 0x80000004, 4, 3, {30, 31, 32}, 31},
        {4, {}, 0, 0, 3, {32767, 31, 32}, 31},
        {5, {}, 0, 0, 3, {32767, 31, 32}, 31},
        {6, {}, 0, 0, 3, {30, 32767, 32}, 31},
        {7, {}, 0, 0, 3, {30, 32767, 32}, 31},
        {8, {}, 0, 0, 3, {30, 31, 32767}, 30},
        {9, {}, 0, 0, 3, {30, 31, 32767}, 30},
    };
    for (int type : {3, 5}) {
        for (const auto& one : cases) {
            SCOPED_TRACE(testing::Message() << "type " << type << " transfer " << one.failing);
            start(type, 0);
            fakeBus.failTransfer(one.failing);
            esaVsc055ProcessPollTimeout();

            Lines transfers = HEALTHY;
            transfers[one.failing] += " !";
            if (one.failing >= 4 && one.failing % 2 == 0) {
                transfers.erase(transfers.begin() + one.failing + 1); // no second read behind a failed first
            }
            EXPECT_EQ(fakeBus.takeTransfers(), transfers);
            EXPECT_EQ(takeMessageNames(), one.messages);
            EXPECT_EQ(esaControl.compositeFaultStatus, one.faults);
            EXPECT_EQ(esaControl.fanFaultStatus, one.fans);
            EXPECT_EQ(esaControl.powerSupplyStatus, one.supplies);
            for (int sensor = 0; sensor < 3; ++sensor) {
                EXPECT_EQ(esaControl.temperatureSensor[sensor], one.sensors[sensor]);
            }
            EXPECT_EQ(esaControl.temperatureSensorAverage, one.average);
        }
    }
}

TEST_F(Vsc055Poll, UnusableBusLeavesTheSuppliesAndStopsTheFans) {
    for (U32_t supplies : {0x1U, 0x3U}) {
        start(5, 0);
        esaControl.i2cConnected = 0;
        esaControl.powerSupplyStatus = supplies;
        esaControl.temperatureSensorAverage = 42;
        esaVsc055ProcessPollTimeout();
        EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
        EXPECT_THAT(takeMessageNames(), ElementsAre("event 7/2", "led-on", "email"));
        EXPECT_EQ(esaControl.powerSupplyStatus, supplies);
        EXPECT_EQ(esaControl.compositeFaultStatus, 0x80000004U);
        EXPECT_EQ(esaControl.temperatureSensor[0], 32767);
        EXPECT_EQ(esaControl.temperatureSensorAverage, 42);
    }
}

TEST_F(Vsc055Poll, BusDyingInTheMiddleOfAPollAndComingBack) {
    start(5, 0);
    for (unsigned transfer = 2; transfer < 10; ++transfer) {
        fakeBus.failTransfer(transfer);
    }
    esaVsc055ProcessPollTimeout();
    EXPECT_THAT(fakeBus.takeTransfers(),
                ElementsAre("R 41 04", "R 41 32", "R 41 36 !", "R 41 3A !", "R 4C 00 !", "R 4B 00 !", "R 4A 00 !"));
    EXPECT_THAT(takeMessageNames(), ElementsAre("event 7/2", "led-on", "email"));
    EXPECT_EQ(esaControl.fanFaultStatus, 0x6U);
    fakeBus.heal();
    esaVsc055ProcessPollTimeout();
    EXPECT_THAT(takeMessageNames(), ElementsAre("event 7/2", "led-off"));
    EXPECT_EQ(esaControl.fanFaultStatus, 0U);
    EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
}

TEST_F(Vsc055Poll, StoppedAndSilentFansAreFaultyWithoutForcingTheLoads) {
    for (int value : {0x00, 0xFF}) {
        start(3, 0);
        fakeBus.set(0x41, 0x36, value);
        esaVsc055ProcessPollTimeout();
        EXPECT_THAT(takeMessageNames(), ElementsAre("event 7/2", "led-on", "email"));
        EXPECT_EQ(fakeBus.takeTransfers(), HEALTHY);
        EXPECT_EQ(hex(esaControl.fanPwmLoad, 3), "32 32 32");
        fakeBus.set(0x41, 0x36, 100);
        esaVsc055ProcessPollTimeout();
        EXPECT_THAT(takeMessageNames(), ElementsAre("event 7/2", "led-off"));
        (void)fakeBus.takeTransfers();
    }
}

TEST_F(Vsc055Poll, OverheatingAndCoolingDown) {
    start(5, 0);
    heat(61, 62, 63);
    esaVsc055ProcessPollTimeout();
    Lines transfers = HEALTHY;
    transfers.insert(transfers.end(), {"W 41 98 37", "W 41 99 37", "W 41 9A 37"});
    EXPECT_EQ(fakeBus.takeTransfers(), transfers);
    EXPECT_THAT(takeMessageNames(),
                ElementsAre("event 8/2", "event 8/2", "event 8/2", "led-on", "email", "event 10/3", "shutdown"));
    esaVsc055ProcessPollTimeout();
    EXPECT_EQ(hex(esaControl.fanPwmLoad, 3), "64 64 64");
    EXPECT_THAT(takeMessageNames(), ElementsAre("event 10/3", "shutdown"));
    heat(30, 30, 30);
    esaVsc055ProcessPollTimeout();
    EXPECT_THAT(takeMessageNames(), ElementsAre("event 8/1", "event 8/1", "event 8/1", "led-off"));
    EXPECT_EQ(hex(esaControl.fanPwmLoad, 3), "4B 4B 4B");
}

TEST_F(Vsc055Poll, AlarmStateIsTracedLastAndTouchesNothing) {
    struct {
        U32_t state;
        const char* text;
    } const states[] = {
        {0, "Alarm State is set to [IDEL_S0]."},
        {1, "Alarm State is set to [FAULT_S1]."},
        {2, "Alarm State is set to [REMIND_S2]."},
        {3, "Alarm State is set to [MUTE_S3]."},
        {4, "Alarm State is set to [CRITICAL_S4]."},
        {5, "Alarm State is set to [STATE_S5]."},
        {6, "Alarm State is set to [STATE_S6]."},
        {7, "Alarm State is set to [STATE_S7]."},
        {8, "Alarm State is set to un-supported value [8]."},
        {0x105, "Alarm State is set to [STATE_S5]."},
        {0x1FF, "Alarm State is set to un-supported value [255]."},
    };
    for (const auto& one : states) {
        SCOPED_TRACE(one.state);
        start(5, one.state);
        esaVsc055ProcessPollTimeout();
        EXPECT_EQ(takeTrace().back(), one.text);
        EXPECT_EQ(fakeBus.takeTransfers(), HEALTHY);
        EXPECT_THAT(takeMessages(), IsEmpty());
        EXPECT_EQ(esaControl.alarmState, one.state);
    }
}

TEST_F(Vsc055Poll, StatusPagesSensorsAreReadTheSameWay) {
    start(3);
    esaReadTemperatures(true);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 4C 00", "R 4C 00", "R 4B 00", "R 4B 00", "R 4A 00", "R 4A 00"));
    EXPECT_EQ(esaControl.temperatureSensor[2], 32);
}
