/** Initialisation of the Xyratex enclosure: every transfer in order, the LED test's pauses, each transfer failing. */
#include "driver_test.h"
#include "enclosures/xyratex.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const Lines TRANSFERS = {
    "R 63 10",                                              // 0: probe
    "W 63 10 FF", "R 63 10",    "W 63 11 00", "R 63 11",    // 1: data directions
    "W 63 12 FF", "R 63 12",    "W 63 13 0F", "R 63 13",    //
    "W 63 14 30", "R 63 14",    "W 63 15 10", "R 63 15",    //
    "W 63 16 00", "R 63 16",    "W 63 17 00", "R 63 17",    //
    "W 63 98 27", "W 63 99 27",                             // 17: front and back fans
    "W 63 04 FC", "W 63 06 0F", "W 63 07 FF",               // 19: LED test
    "W 63 04 FE", "W 63 06 F0", "W 63 07 00",               // 22: after a pause
    "W 63 04 FC", "W 63 06 2F", "W 63 07 FF",               // 25: after another
    "W 63 30 80", "W 63 34 80", "W 63 38 80", "W 63 3C 80", // 28: tachometers
    "W 63 40 80", "W 63 44 80", "W 63 48 80", "W 63 4C 80", //
    "W 63 05 08", "W 63 05 00",                             // 36: alarm
};

class XyratexInit : public DriverTest {
protected:
    void start() {
        startCold(2);
        const int directions[] = {0xFF, 0x00, 0xFF, 0x0F, 0x30, 0x10, 0x00, 0x00};
        for (int port = 0; port < 8; ++port) {
            fakeBus.set(0x63, 0x10 + port, directions[port]);
        }
    }
    static void expectDone() {
        EXPECT_EQ(dimensions(), "05 0C 02 08 02 01");
        EXPECT_EQ(esaControl.i2cConnected, 1);
        EXPECT_EQ(esaControl.fanFaultRpmLimit, 2000U);
        EXPECT_EQ(esaControl.powerSupplyStatus, 0x3U);
        EXPECT_EQ(esaControl.alarmState, 0U);
        EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
        EXPECT_EQ(hex(esaControl.fanPwmLoad, 8), "19 19 00 00 00 00 00 00");
        EXPECT_EQ(hex(esaControl.coolingElementOnOff, 8), "00 00 00 00 00 00 00 00");
        EXPECT_EQ(hex(esaControl.vitesse.vsc055GPD, 8), "00 00 00 00 FC 00 2F FF");
        EXPECT_EQ(hex(esaControl.vitesse.vsc055DDP, 8), "FF 00 FF 0F 30 10 00 00");
        EXPECT_EQ(hex(esaControl.vitesse.vsc055FSC, 8), "80 80 80 80 80 80 80 80");
        EXPECT_EQ(hex(esaControl.vitesse.vsc055PWMC, 8), "27 27 00 00 00 00 00 00");
    }
};

} // namespace

TEST_F(XyratexInit, TransfersInOrderAndTheStateTheyLeave) {
    start();
    EXPECT_EQ(xyratexInit(), 0);
    EXPECT_EQ(fakeBus.takeTransfers(), TRANSFERS);
    EXPECT_THAT(takeReports(), IsEmpty());
    expectDone();
}

TEST_F(XyratexInit, LedTestPausesThreeSecondsBeforeEachChange) {
    start();
    std::vector<std::size_t> pauses;
    onFakeSleep = [&pauses](unsigned long long) { pauses.push_back(fakeBus.transfers.size()); };
    EXPECT_EQ(xyratexInit(), 0);
    EXPECT_THAT(fakeSleeps, ElementsAre(3000000U, 3000000U));
    EXPECT_THAT(pauses, ElementsAre(22U, 25U)) << "transfers made before";
}

TEST_F(XyratexInit, TracesEveryStepInOrder) {
    start();
    (void)xyratexInit();
    Lines expected = {"Read I2C succeeds. I2C cable is connected", "Setup the data direction for all VSC055 ports."};
    const char* const directions[] = {"ff", "0", "ff", "f", "30", "10", "0", "0"};
    for (int port = 0; port < 8; ++port) {
        expected.push_back(
            text("ESA internal database, esaControl.vitesse.vsc055DDP[%d] = [0x%s]", port, directions[port]));
        expected.push_back(text("Read VSC055_DDP[%d] Register, returned value = [0x%s]", port, directions[port]));
    }
    expected.push_back("Load PWM [25] Percent to Fan [0]");
    expected.push_back("Load PWM [25] Percent to Fan [1]");
    for (int fan = 0; fan < 8; ++fan) {
        expected.push_back(text("Initialize VSC055_FSC[%d] Register with value = [0x80]", fan));
    }
    expected.push_back("Set the Alarm State to [IDEL_S0].");
    EXPECT_EQ(takeTrace(), expected);
}

TEST_F(XyratexInit, OtherBitsOfTheSupplyStatusAndOfTheAlarmPortAreKept) {
    start();
    esaControl.powerSupplyStatus = 0x4;
    esaControl.vitesse.vsc055GPD[5] = 0xE7;
    EXPECT_EQ(xyratexInit(), 0);
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x7U);
    const Lines transfers = fakeBus.takeTransfers();
    EXPECT_THAT(Lines(transfers.end() - 2, transfers.end()), ElementsAre("W 63 05 E8", "W 63 05 E0"));
}

TEST_F(XyratexInit, AbsentControllerIsReportedAndNothingElseIsDone) {
    start();
    fakeBus.failDevice(0x63);
    EXPECT_EQ(xyratexInit(), 1);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 63 10 !"));
    EXPECT_THAT(takeReports(), ElementsAre("event 10/2 chassis 2 info 2", "led-on", "email"));
    EXPECT_EQ(takeTrace()[0], "Read I2C fails. I2C cable is not connected or wrong enclosure type.");
    EXPECT_EQ(esaControl.compositeFaultStatus, 0x80000010U);
    EXPECT_EQ(esaControl.i2cConnected, 0);
    EXPECT_EQ(dimensions(), "05 10 03 08 04 01");
    EXPECT_EQ(esaControl.fanFaultRpmLimit, 0U);
    EXPECT_EQ(esaControl.powerSupplyStatus, 0U);
    EXPECT_EQ(hex(esaControl.vitesse.vsc055DDP, 8), "00 00 00 00 00 00 00 00");
    EXPECT_THAT(fakeSleeps, IsEmpty());
}

TEST_F(XyratexInit, FailedReadBackOfADirectionEndsIt) {
    for (std::size_t port = 0; port < 8; ++port) {
        SCOPED_TRACE(port);
        start();
        fakeBus.failTransfer(static_cast<unsigned>(2 + 2 * port));
        EXPECT_EQ(xyratexInit(), -1);
        EXPECT_EQ(fakeBus.takeTransfers(), failedAt(TRANSFERS, 2 + 2 * port));
        EXPECT_EQ(takeTrace().size(), 3 + 2 * port);
        EXPECT_THAT(takeReports(), IsEmpty());
        EXPECT_EQ(esaControl.i2cConnected, 1);
        EXPECT_EQ(dimensions(), "05 0C 02 08 02 01");
        EXPECT_EQ(esaControl.fanFaultRpmLimit, 2000U);
        EXPECT_EQ(esaControl.powerSupplyStatus, 0U);
        EXPECT_EQ(esaControl.fanPwmLoad[0], 0);
        EXPECT_THAT(fakeSleeps, IsEmpty());
    }
}

TEST_F(XyratexInit, FailedWritesAreNotNoticed) {
    for (std::size_t i = 1; i < TRANSFERS.size(); ++i) {
        if (TRANSFERS[i][0] == 'R') {
            continue;
        }
        SCOPED_TRACE(TRANSFERS[i]);
        start();
        fakeBus.failTransfer(static_cast<unsigned>(i));
        EXPECT_EQ(xyratexInit(), 0);
        EXPECT_EQ(fakeBus.takeTransfers(), failedWithin(TRANSFERS, i));
        EXPECT_THAT(takeReports(), IsEmpty());
        EXPECT_EQ(fakeSleeps.size(), 2U);
        expectDone();
    }
}
