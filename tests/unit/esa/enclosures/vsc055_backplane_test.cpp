/** The VSC055 backplane's operations with what neither a poll nor a page ever hands them. */
#include "enclosures/vsc055.h"

#include <gmock/gmock.h>

#include <cstdint>

#include "esa_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Vsc055Backplane : public EsaTest {
protected:
    void start(int type, U32_t alarmState = 3) {
        startChassis(type, alarmState);
        wireClear(esaControl.vitesse);
        (void)takeTrace();
    }
};

} // namespace

TEST_F(Vsc055Backplane, DriveNumbersOutsideTheChassisAreRefused) {
    for (const int type : {3, 5}) {
        start(type);
        for (const S32_t drive : {-1, -8, 16, 17, 255, INT32_MAX, INT32_MIN}) {
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

TEST_F(Vsc055Backplane, AlarmSoundsForFaultFallsSilentForMuteAndIgnoresTheRest) {
    struct {
        U32_t state;
        const char* text;
        Lines_t writes;
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

TEST_F(Vsc055Backplane, AlarmStateIsReportedFromMemoryInEightBitsAndThenTracedByThePoll) {
    struct {
        U32_t state;
        U8_t result;
        const char* read;
        const char* polled;
    } const states[] = {
        {0, 0, "Read the Alarm State as [IDEL_S0].", "Alarm State is set to [IDEL_S0]."},
        {1, 1, "Read the Alarm State as [FAULT_S1].", "Alarm State is set to [FAULT_S1]."},
        {2, 2, "Read the Alarm State as [REMIND_S2].", "Alarm State is set to [REMIND_S2]."},
        {3, 3, "Read the Alarm State as [MUTE_S3].", "Alarm State is set to [MUTE_S3]."},
        {4, 4, "Read the Alarm State as [CRITICAL_S4].", "Alarm State is set to [CRITICAL_S4]."},
        {5, 5, "Read the Alarm State as [INVALID_S5].", "Alarm State is set to [STATE_S5]."},
        {6, 6, "Read the Alarm State as [INVALID_S6].", "Alarm State is set to [STATE_S6]."},
        {7, 7, "Read the Alarm State as [INVALID_S7].", "Alarm State is set to [STATE_S7]."},
        {8, 8, "Read the Alarm State as un-supported value [8].", "Alarm State is set to un-supported value [8]."},
        {0x105, 5, "Read the Alarm State as un-supported value [261].", "Alarm State is set to [STATE_S5]."},
    };
    start(5);
    for (const auto& one : states) {
        SCOPED_TRACE(one.state);
        esaControl.alarmState = one.state;
        EXPECT_EQ(esaVsc055ReadAlarmState(), one.result);
        EXPECT_THAT(takeTrace(), ElementsAre(one.read));
        EXPECT_EQ(esaChassis().pollAlarm(), 0);
        EXPECT_THAT(takeTrace(), ElementsAre(one.read, one.polled));
    }
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    EXPECT_THAT(takeMessageNames(), IsEmpty());
}

TEST_F(Vsc055Backplane, ChassisWithoutSuchTachometersHasNoSpeed) {
    for (const int type : {0, 1, 4, 6, 7, 255}) {
        SCOPED_TRACE(type);
        start(5);
        esaControl.enclosureType = static_cast<VORAN_E_CHASSIS_t>(type);
        U16_t rpm = 0xABCD;
        EXPECT_EQ(esaVsc055FanReadSpeed(0, &rpm), -1);
        EXPECT_EQ(rpm, 0xABCD);
    }
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    EXPECT_THAT(takeTrace(), IsEmpty());
}

TEST_F(Vsc055Backplane, InitialisationOfAnEnclosureOfAnotherTypeKeepsItsElementCounts) {
    start(2);
    esaControl.deviceMaxNumber = 11;
    esaControl.powerSupplyMaxNumber = 1;
    EXPECT_EQ(esaVsc055Init(), 0);
    EXPECT_EQ(esaControl.deviceMaxNumber, 11);
    EXPECT_EQ(esaControl.powerSupplyMaxNumber, 1);
    EXPECT_EQ(hex(esaControl.vitesse.vsc055FSC, 8), "80 80 80 80 80 80 80 80") << "the type's own configuration";
}
