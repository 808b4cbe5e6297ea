/** Drive LEDs, supply inputs and alarm of the VSC055 backplane. */
#include <gmock/gmock.h>

#include "enclosures/vsc055.h"
#include "esa_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Lines = std::vector<std::string>;

class Vsc055Backplane : public EsaTest {
protected:
    void start(int type, U32_t alarmState = 3) {
        startChassis(type, alarmState);
        wireClear(esaControl.vitesse);
        (void)takeTrace();
    }

    static std::string text(const char* format, int a, int b = 0) {
        char line[128];
        std::snprintf(line, sizeof(line), format, a, b);
        return line;
    }
};

} // namespace

TEST_F(Vsc055Backplane, FaultLedOfEveryDriveNumber) {
    struct {
        S32_t drive;
        int port;
        int on;  // port value with this LED lit and all others dark
        int off; // port value with this LED dark and all others lit
    } const leds[] = {
        {0, 6, 0xFE, 0x01},  {1, 6, 0xFD, 0x02},  {2, 6, 0xFB, 0x04},  {3, 6, 0xF7, 0x08},
        {4, 6, 0xEF, 0x10},  {5, 6, 0xDF, 0x20},  {6, 6, 0xBF, 0x40},  {7, 6, 0x7F, 0x80},
        {8, 7, 0xFE, 0x01},  {9, 7, 0xFD, 0x02},  {10, 7, 0xFB, 0x04}, {11, 7, 0xF7, 0x08},
        {12, 7, 0xEF, 0x10}, {13, 7, 0xDF, 0x20}, {14, 7, 0xBF, 0x40}, {15, 7, 0x7F, 0x80},
    };
    for (int type : {3, 5}) {
        start(type);
        for (const auto& led : leds) {
            SCOPED_TRACE(led.drive);
            U8_t(&ports)[8] = esaControl.vitesse.vsc055GPD;
            ports[6] = ports[7] = 0xFF;
            EXPECT_EQ(esaVsc055SetDriveFaultLED(led.drive), 0);
            EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre(text("W 41 %02X ", led.port) + text("%02X", led.on)));
            EXPECT_THAT(takeTrace(), ElementsAre(text("Set Fault LED on Drive [%d]", led.drive),
                                                 text("vsc055GPD[%d] = [0x%x]", led.port, led.on)));
            ports[6] = ports[7] = 0x00;
            EXPECT_EQ(esaVsc055ClearDriveFaultLED(led.drive), 0);
            EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre(text("W 41 %02X ", led.port) + text("%02X", led.off)));
            EXPECT_THAT(takeTrace(), ElementsAre(text("Clear Fault LED on Drive [%d]", led.drive),
                                                 text("vsc055GPD[%d] = [0x%x]", led.port, led.off)));
        }
    }
}

TEST_F(Vsc055Backplane, DriveNumbersOutsideTheChassisAreRefused) {
    for (int type : {3, 5}) {
        start(type);
        for (S32_t drive : {-1, -8, 16, 17, 255, INT32_MAX, INT32_MIN}) {
            SCOPED_TRACE(drive);
            EXPECT_EQ(esaVsc055SetDriveFaultLED(drive), -1);
            EXPECT_EQ(esaVsc055ClearDriveFaultLED(drive), -1);
            EXPECT_THAT(takeTrace(), ElementsAre(text("Set Fault LED on Drive [%d]", drive),
                                                 text("Un-supported Drive Number = [%d]", drive),
                                                 text("Clear Fault LED on Drive [%d]", drive),
                                                 text("Un-supported Drive Number = [%d]", drive)));
        }
        EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
        EXPECT_EQ(hex(esaControl.vitesse.vsc055GPD, 8), "00 00 00 00 00 00 00 00");
    }
}

TEST_F(Vsc055Backplane, DriveNumbersEndAtTheChassisOwnCount) {
    start(5);
    esaControl.deviceMaxNumber = 12;
    EXPECT_EQ(esaVsc055SetDriveFaultLED(11), 0);
    EXPECT_EQ(esaVsc055SetDriveFaultLED(12), -1);
}

TEST_F(Vsc055Backplane, LedShadowKeepsAValueThatCouldNotBeWritten) {
    start(5);
    esaControl.vitesse.vsc055GPD[6] = 0xFF;
    fakeBus.failDevice(0x41);
    EXPECT_EQ(esaVsc055SetDriveFaultLED(3), 0);
    EXPECT_EQ(esaControl.vitesse.vsc055GPD[6], 0xF7);
    EXPECT_EQ(esaVsc055ClearDriveFaultLED(3), 0);
    EXPECT_EQ(esaControl.vitesse.vsc055GPD[6], 0xFF);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 41 06 F7 !", "W 41 06 FF !"));
}

TEST_F(Vsc055Backplane, SuppliesAreRedundantWhenTheInputIsHigh) {
    start(5);
    for (int inputs = 0; inputs < 256; ++inputs) {
        SCOPED_TRACE(inputs);
        fakeBus.set(0x41, 0x04, inputs);
        EXPECT_EQ(esaVsc055ReadPowerRedundancyFailStatus(), inputs >= 128 ? 0 : -1);
        EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 41 04"));
        EXPECT_THAT(takeTrace(), ElementsAre(inputs >= 128 ? "Return Power Fail Status [OK]."
                                                           : "Return Power Fail Status [ERROR]."));
    }
}

TEST_F(Vsc055Backplane, SupplyInputThatCannotBeReadGivesTheTransfersCode) {
    start(5);
    fakeBus.set(0x41, 0x04, 0x80);
    fakeBus.failTransfer(0);
    EXPECT_EQ(esaVsc055ReadPowerRedundancyFailStatus(), -1);
    esaControl.i2cConnected = 0;
    EXPECT_EQ(esaVsc055ReadPowerRedundancyFailStatus(), 1);
    EXPECT_THAT(takeTrace(), IsEmpty());
}

TEST_F(Vsc055Backplane, AlarmSoundsForFaultFallsSilentForMuteAndIgnoresTheRest) {
    struct {
        U32_t state;
        const char* text;
        Lines writes;
        U8_t port;
    } const states[] = {
        {0, "Set Backplane Alarm State to [IDEL_S0].", {}, 0x50},
        {1, "Set Backplane Alarm State to [FAULT_S1].", {"W 41 04 58"}, 0x58},
        {2, "Set Backplane Alarm State to [REMIND_S2].", {}, 0x50},
        {4, "Set Backplane Alarm State to [CRITICAL_S4].", {}, 0x50},
        {5, "Set Backplane Alarm State to [STATE_S5].", {}, 0x50},
        {6, "Set Backplane Alarm State to [STATE_S6].", {}, 0x50},
        {7, "Set Backplane Alarm State to [STATE_S7].", {}, 0x50},
        {8, "Set Backplane Alarm State to un-supported value [8].", {}, 0x50},
        {255, "Set Backplane Alarm State to un-supported value [255].", {}, 0x50},
    };
    start(3, 6);
    for (const auto& one : states) {
        SCOPED_TRACE(one.state);
        esaControl.vitesse.vsc055GPD[4] = 0x50;
        esaVsc055SetAlarmStateBackplane(static_cast<EsaAlarmState_e>(one.state));
        EXPECT_EQ(fakeBus.takeTransfers(), one.writes);
        EXPECT_THAT(takeTrace(), ElementsAre(one.text));
        EXPECT_EQ(esaControl.vitesse.vsc055GPD[4], one.port);
        EXPECT_EQ(esaControl.alarmState, 6U) << "the caller records the state";
    }
    esaControl.vitesse.vsc055GPD[4] = 0xFF;
    esaVsc055SetAlarmStateBackplane(ESA_E_ALARM_STATE_MUTE_S3);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 41 04 F7"));
    EXPECT_THAT(takeTrace(), ElementsAre("Set Backplane Alarm State to [MUTE_S3]."));
}

TEST_F(Vsc055Backplane, AlarmOfASupplyIsClearedByALowPulse) {
    start(5);
    esaControl.vitesse.vsc055GPD[4] = 0x58;
    esaVsc055ClearAlarmStatePowerSupply();
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 41 04 18", "W 41 04 58"));
    EXPECT_THAT(takeTrace(), ElementsAre("Clear the Alarm on the Power Supply."));
    esaControl.vitesse.vsc055GPD[4] = 0x00;
    fakeBus.failDevice(0x41);
    esaVsc055ClearAlarmStatePowerSupply();
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 41 04 00 !", "W 41 04 40 !"));
    EXPECT_EQ(esaControl.vitesse.vsc055GPD[4], 0x40);
}

TEST_F(Vsc055Backplane, AlarmStateIsReportedFromMemoryInEightBits) {
    struct {
        U32_t state;
        U8_t result;
        const char* text;
    } const states[] = {
        {0, 0, "Read the Alarm State as [IDEL_S0]."},
        {1, 1, "Read the Alarm State as [FAULT_S1]."},
        {2, 2, "Read the Alarm State as [REMIND_S2]."},
        {3, 3, "Read the Alarm State as [MUTE_S3]."},
        {4, 4, "Read the Alarm State as [CRITICAL_S4]."},
        {5, 5, "Read the Alarm State as [INVALID_S5]."},
        {6, 6, "Read the Alarm State as [INVALID_S6]."},
        {7, 7, "Read the Alarm State as [INVALID_S7]."},
        {8, 8, "Read the Alarm State as un-supported value [8]."},
        {0x105, 5, "Read the Alarm State as un-supported value [261]."},
    };
    start(5);
    for (const auto& one : states) {
        esaControl.alarmState = one.state;
        EXPECT_EQ(esaVsc055ReadAlarmState(), one.result);
        EXPECT_THAT(takeTrace(), ElementsAre(one.text));
    }
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
}

TEST_F(Vsc055Backplane, ControlPagesFanSwitchLoadsFullOrNothingAndRecordsIt) {
    start(3);
    esaControl.vitesse.vsc055GPD[1] = 0xFF;
    esaControlFan(1, true);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 41 99 3F"));
    EXPECT_EQ(esaControl.fanPwmLoad[1], 100);
    EXPECT_EQ(esaControl.coolingElementOnOff[1], 2);
    esaControlFan(1, false);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 41 99 00", "W 41 01 FD"));
    EXPECT_EQ(esaControl.fanPwmLoad[1], 0);
    EXPECT_EQ(esaControl.coolingElementOnOff[1], 1);
}

TEST_F(Vsc055Backplane, ControlPagesSupplyFaultIsTheRedundancyCause) {
    start(5, 0);
    esaIndicatePowerSupply(true);
    EXPECT_EQ(esaControl.compositeFaultStatus, 0x80000002U);
    esaIndicatePowerSupply(false);
    EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
}

TEST_F(Vsc055Backplane, RowNamesTheOperationsOfThisBackplane) {
    for (int type : {3, 5}) {
        start(type);
        const Chassis_t& row = esaChassis();
        EXPECT_TRUE(row.faultMovesAlarm);
        EXPECT_EQ(row.setAlarm, esaVsc055SetAlarmStateBackplane);
        EXPECT_EQ(row.silencePowerSupplyAlarm, esaVsc055ClearAlarmStatePowerSupply);
        EXPECT_EQ(row.setDriveFaultLed, esaVsc055SetDriveFaultLED);
        EXPECT_EQ(row.clearDriveFaultLed, esaVsc055ClearDriveFaultLED);
        EXPECT_EQ(row.fanReadSpeed, esaVsc055FanReadSpeed);
        EXPECT_EQ(row.policyLoadPwm, esaVsc055FanLoadPwm);
        EXPECT_EQ(row.init, esaVsc055Init);
        EXPECT_EQ(row.processPollTimeout, esaVsc055ProcessPollTimeout);
    }
}

TEST_F(Vsc055Backplane, AlarmCountsAsMutedOnlyWhileItIsIdle) {
    for (U32_t state = 0; state <= 8; ++state) {
        start(5, state);
        EXPECT_EQ(esaChassis().isAlarmMuted(true), state == 0) << state;
    }
}

TEST_F(Vsc055Backplane, StatusPagesSupplyFollowsTheRedundancyInput) {
    struct {
        const char* name;
        int inputs;
        U32_t before;
        bool requested;
        bool changed;
        U32_t after;
        const char* record;
        const char* trace;
    } const cases[] = {
        {"stays good", 0x80, 3, false, false, 3, "01 00 00 00", "Power Redundancy Status already [OK]."},
        {"stays bad", 0x00, 1, false, false, 1, "05 00 00 02", "Power Redundancy Status already [NOT OK]."},
        {"is lost", 0x7F, 3, false, true, 1, "05 00 00 02", nullptr},
        {"comes back", 0x80, 1, false, true, 3, "01 00 00 00", nullptr},
        {"good, failure requested", 0x80, 3, true, false, 3, "01 00 00 02", "Power Redundancy Status already [OK]."},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.name);
        start(5, 0);
        esaControl.compositeFaultStatus = 0;
        esaControl.powerSupplyStatus = one.before;
        fakeBus.set(0x41, 0x04, one.inputs);
        PowerSupplyElementStat_t status;
        PowerSupplyElementCont_t control;
        wireClear(status);
        wireClear(control);
        control.rqstFail = one.requested ? 1 : 0;
        EXPECT_EQ(esaFillPowerSupply(status, control), one.changed);
        EXPECT_EQ(esaControl.powerSupplyStatus, one.after);
        EXPECT_EQ(hex(&status, 4), one.record);
        EXPECT_EQ(esaControl.compositeFaultStatus, one.inputs == 0x80 ? 0U : 0x80000002U);
        if (one.trace != nullptr) {
            EXPECT_EQ(takeTrace().back(), one.trace);
        }
    }
}
