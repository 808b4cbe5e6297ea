/** Operations of the Xyratex enclosure: drives, supplies, alarm controller, LEDs. */
#include "enclosures/xyratex.h"

#include "driver_test.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Xyratex : public DriverTest {
protected:
    Xyratex() {
        startCold(2);
        startChassis(2);
        discard();
    }
    static U8_t& port(int number) { return esaControl.vitesse.vsc055GPD[number]; }
    static std::string ports() { return hex(esaControl.vitesse.vsc055GPD, 8); }
};

const int NO_DRIVES[] = {-2147483647 - 1, -256, -8, -1, 12, 13, 16, 31, 255, 256, 2147483647};

const char* const SET_TEXTS[] = {
    "Set the Alarm State to [IDEL_S0].",     "Set the Alarm State to [FAULT_S1].",
    "Set the Alarm State to [REMIND_S2].",   "Set the Alarm State to [MUTE_S3].",
    "Set the Alarm State to [CRITICAL_S4].", "Set the Alarm State to [INVALID_S5].",
    "Set the Alarm State to [INVALID_S6].",  "Set the Alarm State to [INVALID_S7].",
};

const char* const READ_TEXTS[] = {
    "Read the Alarm State as [IDEL_S0].",     "Read the Alarm State as [FAULT_S1].",
    "Read the Alarm State as [REMIND_S2].",   "Read the Alarm State as [MUTE_S3].",
    "Read the Alarm State as [CRITICAL_S4].", "Read the Alarm State as [INVALID_S5].",
    "Read the Alarm State as [INVALID_S6].",  "Read the Alarm State as [INVALID_S7].",
};

} // namespace

TEST_F(Xyratex, FaultLedOfADriveIsLitByClearingItsBit) {
    const char* const lit[] = {"W 63 07 FE", "W 63 07 FD", "W 63 07 FB", "W 63 07 F7", "W 63 07 EF", "W 63 07 DF",
                               "W 63 07 BF", "W 63 07 7F", "W 63 06 2E", "W 63 06 2D", "W 63 06 2B", "W 63 06 27"};
    const char* const ports6and7[] = {"2F FE", "2F FD", "2F FB", "2F F7", "2F EF", "2F DF",
                                      "2F BF", "2F 7F", "2E FF", "2D FF", "2B FF", "27 FF"};
    for (int drive = 0; drive < 12; ++drive) {
        SCOPED_TRACE(drive);
        port(6) = 0x2F;
        port(7) = 0xFF;
        EXPECT_EQ(xyratexSetDriveFaultLED(drive), 0);
        EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre(lit[drive]));
        EXPECT_THAT(takeTrace(), ElementsAre(text("Set Fault LED on Drive [%d]", drive)));
        EXPECT_EQ(ports(), std::string("00 00 00 00 00 00 ") + ports6and7[drive]);
        EXPECT_EQ(xyratexClearDriveFaultLED(drive), 0);
        EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre(drive < 8 ? "W 63 07 FF" : "W 63 06 2F"));
        EXPECT_THAT(takeTrace(), ElementsAre(text("Clear Fault LED on Drive [%d]", drive)));
        EXPECT_EQ(ports(), "00 00 00 00 00 00 2F FF");
    }
}

TEST_F(Xyratex, FaultLedsOfOtherDrivesStayAsTheyAre) {
    port(6) = 0xD0;
    port(7) = 0x00;
    EXPECT_EQ(xyratexClearDriveFaultLED(5), 0);
    EXPECT_EQ(xyratexClearDriveFaultLED(11), 0);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 63 07 20", "W 63 06 D8"));
}

TEST_F(Xyratex, DrivesThatDoNotExistAreRefused) {
    for (int drive : NO_DRIVES) {
        SCOPED_TRACE(drive);
        const std::string refusal = text("Un-supported Drive Number = [%d]", drive);
        EXPECT_EQ(xyratexSetDriveFaultLED(drive), -1);
        EXPECT_THAT(takeTrace(), ElementsAre(text("Set Fault LED on Drive [%d]", drive), refusal));
        EXPECT_EQ(xyratexClearDriveFaultLED(drive), -1);
        EXPECT_THAT(takeTrace(), ElementsAre(text("Clear Fault LED on Drive [%d]", drive), refusal));
        EXPECT_EQ(xyratexIsDrivePresent(drive), -1);
        EXPECT_THAT(takeTrace(), ElementsAre(refusal));
    }
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    EXPECT_EQ(ports(), "00 00 00 00 00 00 00 00");
}

TEST_F(Xyratex, LedWritesThatFailKeepTheShadow) {
    fakeBus.failDevice(0x63);
    EXPECT_EQ(xyratexClearDriveFaultLED(9), 0);
    xyratexSetFanFailLED();
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 63 06 02 !", "W 63 06 82 !"));
    EXPECT_EQ(port(6), 0x82);
}

TEST_F(Xyratex, DriveIsPresentWhenItsBitIsClear) {
    for (int drive = 0; drive < 12; ++drive) {
        SCOPED_TRACE(drive);
        const int reg = drive < 8 ? 0 : 3;
        fakeBus.set(0x63, 0, 0xFF);
        fakeBus.set(0x63, 3, 0xFF);
        EXPECT_EQ(xyratexIsDrivePresent(drive), -1);
        EXPECT_THAT(takeTrace(), ElementsAre(text("Drive in Slot [%d] is NOT present.", drive)));
        fakeBus.set(0x63, reg, 0xFF - (1 << drive % 8));
        EXPECT_EQ(xyratexIsDrivePresent(drive), 0);
        EXPECT_THAT(takeTrace(), ElementsAre(text("Drive in Slot [%d] is present.", drive)));
        const std::string read = text("R 63 0%d", reg);
        EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre(read, read));
        fakeBus.failTransfer(0);
        EXPECT_EQ(xyratexIsDrivePresent(drive), -1);
        EXPECT_THAT(takeTrace(), IsEmpty());
        (void)fakeBus.takeTransfers();
    }
    esaControl.i2cConnected = 0;
    EXPECT_EQ(xyratexIsDrivePresent(0), 1) << "the wrapper's own code";
    EXPECT_EQ(xyratexIsDrivePresent(11), 1);
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
}

TEST_F(Xyratex, PresenceOfAllDrivesIsTraced) {
    fakeBus.set(0x63, 0, 0xA4);
    fakeBus.set(0x63, 3, 0xF6);
    EXPECT_EQ(xyratexReadDrivePresence(), 0);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 63 00", "R 63 03"));
    EXPECT_THAT(takeTrace(), ElementsAre("Drive in Slot [0] is present.", "Drive in Slot [1] is present.",
                                         "Drive in Slot [2] is NOT present.", "Drive in Slot [3] is present.",
                                         "Drive in Slot [4] is present.", "Drive in Slot [5] is NOT present.",
                                         "Drive in Slot [6] is present.", "Drive in Slot [7] is NOT present.",
                                         "Drive in Slot [8] is present.", "Drive in Slot [9] is NOT present.",
                                         "Drive in Slot [10] is NOT present.", "Drive in Slot [11] is present."));
    for (std::size_t i : {0U, 1U}) {
        fakeBus.failTransfer(static_cast<unsigned>(i));
        EXPECT_EQ(xyratexReadDrivePresence(), -1);
        EXPECT_EQ(fakeBus.takeTransfers(), failedAt({"R 63 00", "R 63 03"}, i));
        EXPECT_THAT(takeTrace(), IsEmpty());
    }
    esaControl.i2cConnected = 0;
    EXPECT_EQ(xyratexReadDrivePresence(), 1);
}

TEST_F(Xyratex, SupplyInputsAreGoodWhenTheirBitIsSet) {
    for (int inputs = 0; inputs <= 255; ++inputs) {
        SCOPED_TRACE(inputs);
        fakeBus.set(0x63, 4, inputs);
        const bool voltages = (inputs & 0x10) != 0;
        EXPECT_EQ(xyratexReadPowerVoltageStatus(), voltages ? 0 : -1);
        EXPECT_EQ(takeTrace(), voltages ? Lines{} : Lines{"Return Power Voltage Status [ERROR]."});
        const bool redundancy = (inputs & 0x20) != 0;
        EXPECT_EQ(xyratexReadPowerRedundancyFailStatus(), redundancy ? 0 : -1);
        EXPECT_THAT(takeTrace(), ElementsAre(redundancy ? "Return Power Redundancy Fail Status [OK]."
                                                        : "Return Power Redundancy Fail Status [ERROR]."));
        EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 63 04", "R 63 04"));
    }
}

TEST_F(Xyratex, SupplyInputsThatCannotBeReadGiveTheTransfersCode) {
    fakeBus.failDevice(0x63);
    EXPECT_EQ(xyratexReadPowerVoltageStatus(), -1);
    EXPECT_EQ(xyratexReadPowerRedundancyFailStatus(), -1);
    esaControl.i2cConnected = 0;
    EXPECT_EQ(xyratexReadPowerVoltageStatus(), 1);
    EXPECT_EQ(xyratexReadPowerRedundancyFailStatus(), 1);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 63 04 !", "R 63 04 !"));
    EXPECT_THAT(takeTrace(), IsEmpty());
}

TEST_F(Xyratex, AlarmStateIsStrobedIntoTheController) {
    const char* const strobed[] = {"W 63 05 08", "W 63 05 09", "W 63 05 0A", "W 63 05 0B",
                                   "W 63 05 0C", "W 63 05 0D", "W 63 05 0E", "W 63 05 0F"};
    const char* const settled[] = {"W 63 05 00", "W 63 05 01", "W 63 05 02", "W 63 05 03",
                                   "W 63 05 04", "W 63 05 05", "W 63 05 06", "W 63 05 07"};
    for (U32_t state = 0; state < 8; ++state) {
        SCOPED_TRACE(state);
        port(5) = 0x0F;
        xyratexSetAlarmState(state);
        EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre(strobed[state], settled[state]));
        EXPECT_EQ(port(5), state);
        EXPECT_THAT(takeTrace(), ElementsAre(SET_TEXTS[state]));
    }
    port(5) = 0xFF;
    xyratexSetAlarmState(2);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 63 05 FA", "W 63 05 F2")) << "bits 4 to 7 are kept";
}

TEST_F(Xyratex, AlarmStatesAboveSevenAreRefused) {
    port(5) = 0xA5;
    for (U32_t state : {8U, 9U, 15U, 255U, 256U, 2147483647U}) {
        xyratexSetAlarmState(state);
        EXPECT_THAT(takeTrace(), ElementsAre(text("Set the Alarm State to un-supported value [%u].", state)));
    }
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    EXPECT_EQ(port(5), 0xA5);
}

TEST_F(Xyratex, FailedAlarmWritesAreNotNoticed) {
    for (std::size_t i : {0U, 1U}) {
        fakeBus.failTransfer(static_cast<unsigned>(i));
        xyratexSetAlarmState(4);
        EXPECT_EQ(fakeBus.takeTransfers(), failedWithin({"W 63 05 0C", "W 63 05 04"}, i));
        EXPECT_EQ(port(5), 0x04);
    }
}

TEST_F(Xyratex, AlarmStateIsReadBackBitByBit) {
    for (int state = 0; state < 8; ++state) {
        SCOPED_TRACE(state);
        port(5) = 0xFF;
        fakeBus.queue(0x63, 5,
                      {(state & 1) != 0 ? 0x10 : 0xEF, (state & 2) != 0 ? 0x10 : 0xEF, (state & 4) != 0 ? 0x10 : 0xEF});
        EXPECT_EQ(xyratexReadAlarmstate(), static_cast<U32_t>(state));
        EXPECT_THAT(fakeBus.takeTransfers(),
                    ElementsAre("W 63 05 F8", "R 63 05", "W 63 05 F9", "R 63 05", "W 63 05 FA", "R 63 05"));
        EXPECT_EQ(port(5), 0xFA);
        EXPECT_THAT(takeTrace(), ElementsAre(READ_TEXTS[state]));
    }
}

TEST_F(Xyratex, AlarmBitThatCannotBeReadIsZeroAndAFailedSelectionIsNotNoticed) {
    const U32_t states[] = {7, 6, 7, 5, 7, 3};
    const Lines transfers = {"W 63 05 00", "R 63 05", "W 63 05 01", "R 63 05", "W 63 05 02", "R 63 05"};
    fakeBus.set(0x63, 5, 0x10);
    for (std::size_t i = 0; i < 6; ++i) {
        SCOPED_TRACE(i);
        fakeBus.failTransfer(static_cast<unsigned>(i));
        EXPECT_EQ(xyratexReadAlarmstate(), states[i]);
        EXPECT_EQ(fakeBus.takeTransfers(), failedWithin(transfers, i));
        EXPECT_THAT(takeTrace(), ElementsAre(READ_TEXTS[states[i]]));
        EXPECT_EQ(port(5), 0x02);
    }
    fakeBus.failDevice(0x63);
    EXPECT_EQ(xyratexReadAlarmstate(), 0U);
    esaControl.i2cConnected = 0;
    EXPECT_EQ(xyratexReadAlarmstate(), 0U) << "no error code is taken for a state";
}

TEST_F(Xyratex, EnclosureLedsAreSwitchedOneByOne) {
    struct {
        void (*operation)();
        const char* fromZero;
        const char* fromOnes;
        const char* trace;
    } const leds[] = {
        {xyratexSetPsuOkLED, "W 63 06 20", "W 63 06 FF", "Turn [ON] PSU_OK LED."},
        {xyratexClearPsuOkLED, "W 63 06 00", "W 63 06 DF", "Turn [OFF] PSU_OK LED."},
        {xyratexSetPowerRedundancyFailLED, "W 63 06 40", "W 63 06 FF", "Turn [ON] Power Redundancy Fail LED."},
        {xyratexClearPowerRedundancyFailLED, "W 63 06 00", "W 63 06 BF", "Turn [OFF] Power Redundancy Fail LED."},
        {xyratexSetFanFailLED, "W 63 06 80", "W 63 06 FF", "Turn [ON] FAN_FAIL LED."},
        {xyratexClearFanFailLED, "W 63 06 00", "W 63 06 7F", "Turn [OFF] FAN_FAIL LED."},
    };
    for (const auto& led : leds) {
        SCOPED_TRACE(led.trace);
        port(6) = 0x00;
        led.operation();
        port(6) = 0xFF;
        led.operation();
        EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre(led.fromZero, led.fromOnes));
        EXPECT_THAT(takeTrace(), ElementsAre(led.trace, led.trace));
    }
}

TEST_F(Xyratex, RowNamesTheChassisAndItsOperations) {
    EXPECT_EQ(xyratexChassis.type, 2);
    EXPECT_STREQ(xyratexChassis.typeName, "VORAN_E_CHASSIS_XYRATEX_2U12ATX");
    EXPECT_STREQ(xyratexChassis.initDoneText, "Finish initializing for the Xyratex Enclosure.");
    EXPECT_STREQ(xyratexChassis.initFailedText, "Initializing for the Xyratex Enclosure fails.");
    EXPECT_EQ(xyratexChassis.vsc055Address, 0x63);
    EXPECT_EQ(xyratexChassis.w83782dAddress, 0);
    EXPECT_EQ(hex(xyratexChassis.lm75Address, 3), "00 00 00");
    EXPECT_EQ(xyratexChassis.criticalAlarmState, 4U);
    EXPECT_EQ(xyratexChassis.policyFanCount, 2);
    EXPECT_EQ(xyratexChassis.tachometerDivisor, 1);
    EXPECT_EQ(xyratexChassis.fanSpeedConfiguration, 0x80);
    EXPECT_FALSE(xyratexChassis.faultMovesAlarm) << "the enclosure runs its alarm itself";
    EXPECT_EQ(xyratexChassis.silencePowerSupplyAlarm, noChassis.silencePowerSupplyAlarm);
    EXPECT_EQ(xyratexChassis.setDriveFaultLed(3), 0);
    EXPECT_EQ(xyratexChassis.clearDriveFaultLed(3), 0);
    fakeBus.set(0x63, 3, 0x08);
    EXPECT_EQ(xyratexChassis.isDrivePresent(11), -1);
    xyratexChassis.policyLoadPwm(1, 75);
    fakeBus.set(0x63, 0x4E, 200);
    U16_t rpm = 0;
    EXPECT_EQ(xyratexChassis.fanReadSpeed(7, &rpm), 0);
    EXPECT_EQ(rpm, 6000);
    xyratexChassis.setAlarm(ESA_E_ALARM_STATE_CRITICAL_S4);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 63 07 00", "W 63 07 08", "R 63 03", "W 63 99 37", "R 63 4E",
                                                     "W 63 05 0C", "W 63 05 04"));
    EXPECT_EQ(xyratexChassis.init(), 0);
    EXPECT_EQ(fakeBus.takeTransfers().size(), 38U);
    xyratexChassis.processPollTimeout();
    EXPECT_EQ(fakeBus.takeTransfers().front(), "R 63 04");
}
