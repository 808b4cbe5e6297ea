/** The VSC055 chip and the backplane around it, with what neither a poll nor a page ever hands them. */
#include "enclosures/vsc055.h"

#include <gmock/gmock.h>

#include <cstdint>

#include "chips/vsc055.h"
#include "esa_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Vsc055 : public EsaTest {
protected:
    void start(int type, U32_t alarmState = 3) {
        startChassis(type, alarmState);
        wireClear(esaControl.vitesse);
        (void)takeTrace();
    }
};

} // namespace

TEST_F(Vsc055, PwmKnowsFivePercentagesAndRefusesAllOthers) {
    start(5);
    for (int percent = 0; percent < 256; ++percent) {
        SCOPED_TRACE(percent);
        esaControl.vitesse.vsc055GPD[1] = 0xFF;
        esaControl.vitesse.vsc055PWMC[2] = 0xEE;
        esaVsc055FanLoadPwm(2, static_cast<U8_t>(percent));
        const int code = percent == 0     ? 0x00
                         : percent == 25  ? 0x27
                         : percent == 50  ? 0x2F
                         : percent == 75  ? 0x37
                         : percent == 100 ? 0x3F
                                          : -1;
        Lines_t writes;
        Lines_t trace = {text("Load PWM [%d] Percent to Fan [2]", percent)};
        if (code < 0) {
            trace.push_back(text("Un-supported PWM Percentage [%d]", percent));
        } else {
            writes.push_back(text("W 41 9A %02X", code));
        }
        if (percent == 0) {
            writes.push_back("W 41 01 FB");
        }
        EXPECT_EQ(fakeBus.takeTransfers(), writes);
        EXPECT_EQ(takeTrace(), trace);
        EXPECT_EQ(esaControl.vitesse.vsc055PWMC[2], code < 0 ? 0xEE : code);
        EXPECT_EQ(esaControl.vitesse.vsc055GPD[1], percent == 0 ? 0xFB : 0xFF);
    }
}

TEST_F(Vsc055, FansEndAtTheEighth) {
    start(5);
    esaControl.vitesse.vsc055GPD[1] = 0xFF;
    esaVsc055FanLoadPwm(7, 0);
    esaVsc055FanLoadPwm(7, 25);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 41 9F 00", "W 41 01 7F", "W 41 9F 27"))
        << "a fan that is switched on again keeps its power bit clear";
    (void)takeTrace();
    esaVsc055FanLoadPwm(8, 50);
    esaVsc055FanLoadPwm(255, 0);
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    EXPECT_THAT(takeTrace(), ElementsAre("Load PWM [50] Percent to Fan [8]", "Un-supported PWM Percentage [50]",
                                         "Load PWM [0] Percent to Fan [255]", "Un-supported PWM Percentage [0]"));
}

TEST_F(Vsc055, SpeedIsLeftAloneUnlessItIsRead) {
    start(5);
    U16_t rpm = 0xABCD;
    fakeBus.set(0x41, 0x36, 255);
    EXPECT_EQ(esaVsc055FanReadSpeed(1, &rpm), -1);
    EXPECT_EQ(rpm, 0xABCD);
    fakeBus.set(0x41, 0x36, 0);
    EXPECT_EQ(esaVsc055FanReadSpeed(1, &rpm), 0);
    EXPECT_EQ(rpm, 0);
    fakeBus.set(0x41, 0x36, 200);
    EXPECT_EQ(esaVsc055FanReadSpeed(1, &rpm), 0);
    EXPECT_EQ(rpm, 3000);
    (void)takeTrace();
    (void)fakeBus.takeTransfers();
    for (const int type : {0, 1, 4, 6, 7, 255}) { // no such tachometers
        SCOPED_TRACE(type);
        esaControl.enclosureType = static_cast<VORAN_E_CHASSIS_t>(type);
        EXPECT_EQ(esaVsc055FanReadSpeed(0, &rpm), -1);
        EXPECT_EQ(rpm, 3000);
    }
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    EXPECT_THAT(takeTrace(), IsEmpty());
}

TEST_F(Vsc055, PortReadNeverChangesWhatTheOutputsAreKnownToHold) {
    start(5);
    esaControl.vitesse.vsc055GPD[5] = 0x15;
    fakeBus.set(0x63, 0x05, 0x5A);
    U8_t value = 0;
    EXPECT_EQ(vsc055ReadPort(0x63, 5, &value), 0);
    EXPECT_EQ(value, 0x5A);
    EXPECT_EQ(esaControl.vitesse.vsc055GPD[5], 0x15);
}

TEST_F(Vsc055, DriveNumbersOutsideTheChassisAreRefused) {
    start(5);
    esaControl.deviceMaxNumber = 12;
    EXPECT_EQ(esaVsc055SetDriveFaultLED(11), 0);
    (void)takeTrace();
    (void)fakeBus.takeTransfers();
    for (const S32_t drive : {-1, -8, 12, 16, 17, 255, INT32_MAX, INT32_MIN}) {
        SCOPED_TRACE(drive);
        EXPECT_EQ(esaVsc055SetDriveFaultLED(drive), -1);
        EXPECT_EQ(esaVsc055ClearDriveFaultLED(drive), -1);
        EXPECT_THAT(takeTrace(), ElementsAre(text("Set Fault LED on Drive [%d]", drive),
                                             text("Un-supported Drive Number = [%d]", drive),
                                             text("Clear Fault LED on Drive [%d]", drive),
                                             text("Un-supported Drive Number = [%d]", drive)));
    }
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
}

TEST_F(Vsc055, AlarmSoundsForFaultFallsSilentForMuteAndIgnoresTheRest) {
    struct {
        U32_t state;
        const char* set;
        U8_t port; // 0x50: unchanged
    } const states[] = {{0, "[IDEL_S0]", 0x50},
                        {1, "[FAULT_S1]", 0x58},
                        {2, "[REMIND_S2]", 0x50},
                        {4, "[CRITICAL_S4]", 0x50},
                        {5, "[STATE_S5]", 0x50},
                        {6, "[STATE_S6]", 0x50},
                        {7, "[STATE_S7]", 0x50},
                        {8, "un-supported value [8]", 0x50},
                        {255, "un-supported value [255]", 0x50}};
    start(3, 6);
    for (const auto& one : states) {
        SCOPED_TRACE(one.state);
        esaControl.vitesse.vsc055GPD[4] = 0x50;
        esaVsc055SetAlarmStateBackplane(static_cast<EsaAlarmState_e>(one.state));
        EXPECT_EQ(fakeBus.takeTransfers(), one.port == 0x50 ? Lines_t{} : Lines_t{"W 41 04 58"});
        EXPECT_THAT(takeTrace(), ElementsAre(std::string("Set Backplane Alarm State to ") + one.set + "."));
        EXPECT_EQ(esaControl.vitesse.vsc055GPD[4], one.port);
        EXPECT_EQ(esaControl.alarmState, 6U) << "the caller records the state";
    }
    esaControl.vitesse.vsc055GPD[4] = 0xFF;
    esaVsc055SetAlarmStateBackplane(ESA_E_ALARM_STATE_MUTE_S3);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 41 04 F7"));
    EXPECT_THAT(takeTrace(), ElementsAre("Set Backplane Alarm State to [MUTE_S3]."));
}

TEST_F(Vsc055, AlarmStateIsReportedFromMemoryInEightBitsAndThenTracedByThePoll) {
    struct {
        U32_t state;
        U8_t result;
        const char* read;
        const char* polled;
    } const states[] = {
        {0, 0, "[IDEL_S0]", "[IDEL_S0]"},
        {1, 1, "[FAULT_S1]", "[FAULT_S1]"},
        {2, 2, "[REMIND_S2]", "[REMIND_S2]"},
        {3, 3, "[MUTE_S3]", "[MUTE_S3]"},
        {4, 4, "[CRITICAL_S4]", "[CRITICAL_S4]"},
        {5, 5, "[INVALID_S5]", "[STATE_S5]"},
        {6, 6, "[INVALID_S6]", "[STATE_S6]"},
        {7, 7, "[INVALID_S7]", "[STATE_S7]"},
        {8, 8, "un-supported value [8]", "un-supported value [8]"},
        {0x105, 5, "un-supported value [261]", "[STATE_S5]"},
    };
    start(5);
    for (const auto& one : states) {
        SCOPED_TRACE(one.state);
        esaControl.alarmState = one.state;
        EXPECT_EQ(esaVsc055ReadAlarmState(), one.result);
        EXPECT_EQ(esaChassis().pollAlarm(), 0);
        const std::string read = std::string("Read the Alarm State as ") + one.read + ".";
        EXPECT_THAT(takeTrace(), ElementsAre(read, read, std::string("Alarm State is set to ") + one.polled + "."));
    }
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    EXPECT_THAT(takeMessageNames(), IsEmpty());
}

TEST_F(Vsc055, InitialisationOfAnEnclosureOfAnotherTypeKeepsItsElementCounts) {
    start(2);
    esaControl.deviceMaxNumber = 11;
    esaControl.powerSupplyMaxNumber = 1;
    EXPECT_EQ(esaVsc055Init(), 0);
    EXPECT_EQ(esaControl.deviceMaxNumber, 11);
    EXPECT_EQ(esaControl.powerSupplyMaxNumber, 1);
    EXPECT_EQ(hex(esaControl.vitesse.vsc055FSC, 8), "80 80 80 80 80 80 80 80") << "the type's own configuration";
}
