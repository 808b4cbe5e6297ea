/** Initialisation of the W83782D backplane: every transfer in order, and each of them failing. */
#include "driver_test.h"
#include "enclosures/w83782d.h"

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const Lines TRANSFERS = {
    "R 28 48",                                                            // probe
    "W 28 2B FF", "W 28 2C 01", "W 28 2D FF", "W 28 2E 01", "W 28 2F FF", // voltage limits
    "W 28 30 01", "W 28 31 FF", "W 28 32 01", "W 28 33 FF", "W 28 34 01", //
    "W 28 35 FF", "W 28 36 01", "W 28 37 FF", "W 28 38 01",               //
    "W 28 5B FF", "W 28 5E FF", "W 28 5F FF",                             // fans
    "W 28 39 3C", "W 28 3A 7F", "R 28 4D",    "W 28 4D 95", "W 28 40 40", // temperature, beep, alarm
};

class W83782dInit : public DriverTest {
protected:
    void start(int type = 6) {
        startCold(type);
        esaControl.i2cAddressW83782d = 0x28;
        fakeBus.set(0x28, 0x48, 0x2D);
        fakeBus.set(0x28, 0x4D, 0x15);
    }
};

} // namespace

TEST_F(W83782dInit, TransfersInOrderAndTheStateTheyLeave) {
    start();
    EXPECT_EQ(esaW83782dInit(), 0);
    EXPECT_EQ(fakeBus.takeTransfers(), TRANSFERS);
    EXPECT_EQ(dimensions(), "05 10 02 03 03 01");
    EXPECT_EQ(esaControl.i2cConnected, 1);
    EXPECT_EQ(esaControl.fanFaultRpmLimit, 2000U);
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x1U);
    EXPECT_EQ(esaControl.alarmState, 3U);
    EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
    EXPECT_EQ(hex(esaControl.fanPwmLoad, 8), "64 64 64 00 00 00 00 00");
    EXPECT_EQ(hex(esaControl.coolingElementOnOff, 8), "02 02 02 00 00 00 00 00");
    EXPECT_EQ(hex(&esaControl.winbond[0], 23), "FF 01 FF 01 FF 01 FF 01 FF 01 FF 01 FF 01 3C 7F 40 2D 95 FF FF FF 00");
    for (int other : {1, 2, 3}) {
        EXPECT_THAT(Bytes(reinterpret_cast<const U8_t*>(&esaControl.winbond[other]),
                          reinterpret_cast<const U8_t*>(&esaControl.winbond[other]) + 23),
                    Each(0));
    }
    EXPECT_THAT(takeReports(), IsEmpty());
    EXPECT_THAT(fakeSleeps, IsEmpty());
}

TEST_F(W83782dInit, TracesEveryStepInOrder) {
    start();
    (void)esaW83782dInit();
    EXPECT_THAT(takeTrace(),
                ElementsAre("Read I2C succeeds. I2C cable is connected", "Set Vcorea High Limit = [255]",
                            "Set Vcorea Low Limit = [1]", "Set Vinr0 High Limit = [255]", "Set Vinr0 Low Limit = [1]",
                            "Set +3.3Vin High Limit = [255]", "Set +3.3Vin Low Limit = [1]", "+5Vin High Limit = [255]",
                            "Set +5Vin Low Limit = [1]", "Set +12Vin High Limit = [255]", "Set +12Vin Low Limit = [1]",
                            "Set -12Vin High Limit = [255]", "Set -12Vin Low Limit = [1]",
                            "Set -5Vin High Limit = [255]", "Set -5Vin Low Limit = [1]",
                            "Load PWM Winbond[255] Percent to Fan [0]", "Load PWM Winbond[255] Percent to Fan [1]",
                            "Load PWM Winbond[255] Percent to Fan [2]", "Set Backplane Alarm State to [MUTE_S3].",
                            "Finish the initialization for the W83782D guideline based enclosure."));
}

TEST_F(W83782dInit, BeepRegisterKeepsItsOtherBitsAndTheConfigurationIsNotRead) {
    for (int beep : {0x00, 0x7F, 0x80, 0xFF}) {
        start();
        fakeBus.set(0x28, 0x4D, beep);
        fakeBus.set(0x28, 0x40, 0x01);
        EXPECT_EQ(esaW83782dInit(), 0);
        const Lines transfers = fakeBus.takeTransfers();
        EXPECT_THAT(transfers, Contains(text("W 28 4D %02X", static_cast<unsigned>(beep | 0x80))));
        EXPECT_EQ(transfers.back(), "W 28 40 40");
    }
}

TEST_F(W83782dInit, OtherBitsOfTheSupplyStatusAreKept) {
    start();
    esaControl.powerSupplyStatus = 0x6;
    EXPECT_EQ(esaW83782dInit(), 0);
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x7U);
}

TEST_F(W83782dInit, ChipIsTheOneAtTheRecordedAddress) {
    start();
    esaControl.i2cAddressW83782d = 0x2D;
    EXPECT_EQ(esaW83782dInit(), 0);
    EXPECT_THAT(fakeBus.takeTransfers(), Each(testing::ContainsRegex("^[RW] 2D ")));
}

TEST_F(W83782dInit, AbsentChipIsReportedAndNothingElseIsDone) {
    start();
    fakeBus.failTransfer(0);
    EXPECT_EQ(esaW83782dInit(), 1);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 28 48 !"));
    EXPECT_THAT(takeReports(), ElementsAre("event 10/2 chassis 6 info 2", "led-on", "email"));
    EXPECT_EQ(takeTrace()[0],
              "Read I2C address [0x28] fails. I2C cable is not connected or wrong enclosure type on Backplane[0].");
    EXPECT_EQ(esaControl.compositeFaultStatus, 0x80000010U);
    EXPECT_EQ(esaControl.i2cConnected, 0);
    EXPECT_EQ(esaControl.fanFaultRpmLimit, 0U);
    EXPECT_EQ(esaControl.alarmState, 0U);
    EXPECT_EQ(dimensions(), "05 10 03 08 04 01");
}

TEST_F(W83782dInit, FailedVoltageLimitEndsItWithoutATrace) {
    for (std::size_t i = 1; i <= 14; ++i) {
        SCOPED_TRACE(TRANSFERS[i]);
        start();
        fakeBus.failTransfer(static_cast<unsigned>(i));
        EXPECT_EQ(esaW83782dInit(), -1);
        EXPECT_EQ(fakeBus.takeTransfers(), failedAt(TRANSFERS, i));
        EXPECT_EQ(takeTrace().size(), i) << "the probe's line and those of the limits before";
        EXPECT_THAT(takeReports(), IsEmpty());
        EXPECT_EQ(esaControl.i2cConnected, 1);
        EXPECT_EQ(dimensions(), "05 10 02 03 03 01");
        EXPECT_EQ(esaControl.fanFaultRpmLimit, 2000U);
        EXPECT_EQ(esaControl.powerSupplyStatus, 0U);
        EXPECT_EQ(esaControl.alarmState, 0U);
        EXPECT_EQ(hex(esaControl.fanPwmLoad, 3), "00 00 00");
        const std::string limits = "FF 01 FF 01 FF 01 FF 01 FF 01 FF 01 FF 01";
        EXPECT_EQ(hex(&esaControl.winbond[0], i), limits.substr(0, 3 * i - 1)) << "the shadow keeps the value";
    }
}

TEST_F(W83782dInit, FailedFanLoadsAndAlarmAreNotNoticed) {
    for (std::size_t i : {15U, 16U, 17U, 22U}) {
        SCOPED_TRACE(TRANSFERS[i]);
        start();
        fakeBus.failTransfer(static_cast<unsigned>(i));
        EXPECT_EQ(esaW83782dInit(), 0);
        EXPECT_EQ(fakeBus.takeTransfers(), failedWithin(TRANSFERS, i));
        EXPECT_EQ(hex(esaControl.fanPwmLoad, 3), "64 64 64");
        EXPECT_EQ(hex(&esaControl.winbond[0], 23),
                  "FF 01 FF 01 FF 01 FF 01 FF 01 FF 01 FF 01 3C 7F 40 2D 95 FF FF FF 00");
        EXPECT_EQ(esaControl.alarmState, 3U);
        EXPECT_THAT(takeReports(), IsEmpty());
    }
}

TEST_F(W83782dInit, FailedTemperatureLimitOrBeepEndsItWithItsText) {
    struct {
        std::size_t transfer;
        const char* trace;
        const char* shadow; // temperature limit, hysteresis, configuration, address, beep
    } const failures[] = {
        {18, "Setting temperatureSensor1HighLimitRegister on Backplane [0] failed", "3C 00 00 2D 00"},
        {19, "Setting temperatureSensor1HysteresisRegister on Backplane [0] failed", "3C 7F 00 2D 00"},
        {20, "Setting fanInOutBeepGpoRegister on Backplane [0] failed", "3C 7F 00 2D 00"},
        {21, "Setting fanInOutBeepGpoRegister on Backplane [0] failed", "3C 7F 00 2D 95"},
    };
    for (const auto& failure : failures) {
        SCOPED_TRACE(TRANSFERS[failure.transfer]);
        start();
        fakeBus.failTransfer(static_cast<unsigned>(failure.transfer));
        EXPECT_EQ(esaW83782dInit(), -1);
        EXPECT_EQ(fakeBus.takeTransfers(), failedAt(TRANSFERS, failure.transfer));
        EXPECT_EQ(takeTrace().back(), failure.trace);
        EXPECT_EQ(hex(&esaControl.winbond[0].temperatureSensor1HighLimitRegister, 5), failure.shadow);
        EXPECT_EQ(esaControl.powerSupplyStatus, 0x1U);
        EXPECT_EQ(esaControl.alarmState, 0U);
        EXPECT_THAT(takeReports(), IsEmpty());
    }
}

TEST_F(W83782dInit, AnotherChassisTypeKeepsItsElementCounts) {
    start(5);
    EXPECT_EQ(esaW83782dInit(), 0);
    EXPECT_EQ(dimensions(), "05 10 03 08 04 01");
    // Its further fans have no output, and count as switched on all the same.
    EXPECT_EQ(fakeBus.takeTransfers(), TRANSFERS);
    EXPECT_THAT(takeTrace(), Contains("Unsupported Winbond Fan Index = [7]."));
    EXPECT_EQ(hex(esaControl.fanPwmLoad, 8), "64 64 64 64 64 64 64 64");
    EXPECT_EQ(hex(esaControl.coolingElementOnOff, 8), "02 02 02 02 02 02 02 02");
}
