/** The VSC055 chip and the backplane around it, with what neither a poll nor a page ever hands them. */
#include "enclosures/vsc055.h"

#include <cstdint>
#include <map>

#include "esa_fixture.h"

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
    const std::map<int, int> codes = {{0, 0x00}, {25, 0x27}, {50, 0x2F}, {75, 0x37}, {100, 0x3F}};
    start(5);
    for (int percent = 0; percent < 256; ++percent) {
        SCOPED_TRACE(percent);
        esaControl.vitesse.vsc055GPD[1] = 0xFF;
        esaControl.vitesse.vsc055PWMC[2] = 0xEE;
        esaVsc055FanLoadPwm(2, static_cast<U8_t>(percent));
        Lines_t writes;
        Lines_t trace = {text("Load PWM [%d] Percent to Fan [2]", percent)};
        const bool known = codes.count(percent) != 0;
        if (known) {
            writes.push_back(text("W 41 9A %02X", codes.at(percent)));
        } else {
            trace.push_back(text("Un-supported PWM Percentage [%d]", percent));
        }
        if (percent == 0) {
            writes.push_back("W 41 01 FB");
        }
        EXPECT_EQ(fakeBus.takeTransfers(), writes);
        EXPECT_EQ(takeTrace(), trace);
        EXPECT_EQ(esaControl.vitesse.vsc055PWMC[2], known ? codes.at(percent) : 0xEE);
        EXPECT_EQ(esaControl.vitesse.vsc055GPD[1], percent == 0 ? 0xFB : 0xFF);
    }
}

TEST_F(Vsc055, FansEndAtTheEighth) {
    start(5);
    esaControl.vitesse.vsc055GPD[1] = 0xFF;
    esaVsc055FanLoadPwm(7, 0);
    esaVsc055FanLoadPwm(7, 25);
    EXPECT_EQ(fakeBus.takeTransfers(), (Lines_t{"W 41 9F 00", "W 41 01 7F", "W 41 9F 27"}))
        << "a fan that is switched on again keeps its power bit clear";
    (void)takeTrace();
    esaVsc055FanLoadPwm(8, 50);
    esaVsc055FanLoadPwm(255, 0);
    EXPECT_EQ(fakeBus.takeTransfers(), Lines_t{});
    EXPECT_EQ(takeTrace(), (Lines_t{"Load PWM [50] Percent to Fan [8]", "Un-supported PWM Percentage [50]",
                                    "Load PWM [0] Percent to Fan [255]", "Un-supported PWM Percentage [0]"}));
}

TEST_F(Vsc055, SpeedIsLeftAloneUnlessItIsRead) {
    start(5);
    U16_t rpm = 0xABCD;
    const struct {
        int count;
        int result;
        unsigned rpm;
    } counts[] = {{255, -1, 0xABCD}, {0, 0, 0}, {200, 0, 3000}};
    for (const auto& one : counts) {
        fakeBus.set(0x41, 0x36, one.count);
        EXPECT_EQ(esaVsc055FanReadSpeed(1, &rpm), one.result) << one.count;
        EXPECT_EQ(rpm, one.rpm) << one.count;
    }
    (void)takeTrace();
    (void)fakeBus.takeTransfers();
    for (const int type : {0, 1, 4, 6, 7, 255}) { // no such tachometers
        esaControl.enclosureType = static_cast<VORAN_E_CHASSIS_t>(type);
        EXPECT_EQ(esaVsc055FanReadSpeed(0, &rpm), -1) << type;
        EXPECT_EQ(rpm, 3000) << type;
    }
    EXPECT_EQ(fakeBus.takeTransfers(), Lines_t{});
    EXPECT_EQ(takeTrace(), Lines_t{});
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
        const std::string refusal = text("Un-supported Drive Number = [%d]", drive);
        EXPECT_EQ(takeTrace(), (Lines_t{text("Set Fault LED on Drive [%d]", drive), refusal,
                                        text("Clear Fault LED on Drive [%d]", drive), refusal}));
    }
    EXPECT_EQ(fakeBus.takeTransfers(), Lines_t{});
}

TEST_F(Vsc055, AlarmSoundsForFaultFallsSilentForMuteAndIgnoresTheRest) {
    start(3, 6);
    const struct {
        U32_t state;
        const char* name;
        U8_t port; // 0: it stays as it is
    } states[] = {{0, "[IDEL_S0]", 0},
                  {1, "[FAULT_S1]", 0x5A},
                  {2, "[REMIND_S2]", 0},
                  {3, "[MUTE_S3]", 0x52},
                  {4, "[CRITICAL_S4]", 0},
                  {5, "[STATE_S5]", 0},
                  {6, "[STATE_S6]", 0},
                  {7, "[STATE_S7]", 0},
                  {8, "un-supported value [8]", 0},
                  {255, "un-supported value [255]", 0}};
    for (const U8_t before : {U8_t{0x52}, U8_t{0x5A}}) {
        for (const auto& one : states) {
            SCOPED_TRACE(testing::Message() << one.state << " at " << int{before});
            esaControl.vitesse.vsc055GPD[4] = before;
            esaVsc055SetAlarmStateBackplane(static_cast<EsaAlarmState_e>(one.state));
            EXPECT_EQ(fakeBus.takeTransfers(),
                      one.port != 0 ? Lines_t{text("W 41 04 %02X", unsigned{one.port})} : Lines_t{});
            EXPECT_EQ(takeTrace(), (Lines_t{std::string("Set Backplane Alarm State to ") + one.name + "."}));
            EXPECT_EQ(esaControl.vitesse.vsc055GPD[4], one.port != 0 ? one.port : before);
            EXPECT_EQ(esaControl.alarmState, 6U) << "the caller records the state";
        }
    }
}

TEST_F(Vsc055, AlarmStateIsReportedFromMemoryInEightBitsAndThenTracedByThePoll) {
    const struct {
        U32_t state;
        U8_t result;
        const char* read;
        const char* polled;
    } states[] = {{0, 0, "[IDEL_S0]", "[IDEL_S0]"},
                  {1, 1, "[FAULT_S1]", "[FAULT_S1]"},
                  {2, 2, "[REMIND_S2]", "[REMIND_S2]"},
                  {3, 3, "[MUTE_S3]", "[MUTE_S3]"},
                  {4, 4, "[CRITICAL_S4]", "[CRITICAL_S4]"},
                  {5, 5, "[INVALID_S5]", "[STATE_S5]"},
                  {6, 6, "[INVALID_S6]", "[STATE_S6]"},
                  {7, 7, "[INVALID_S7]", "[STATE_S7]"},
                  {8, 8, "un-supported value [8]", "un-supported value [8]"},
                  {0x105, 5, "un-supported value [261]", "[STATE_S5]"}};
    start(5);
    for (const auto& one : states) {
        SCOPED_TRACE(one.state);
        esaControl.alarmState = one.state;
        EXPECT_EQ(esaVsc055ReadAlarmState(), one.result);
        EXPECT_EQ(esaChassis().pollAlarm(), 0);
        const std::string read = std::string("Read the Alarm State as ") + one.read + ".";
        EXPECT_EQ(takeTrace(), (Lines_t{read, read, std::string("Alarm State is set to ") + one.polled + "."}));
    }
    EXPECT_EQ(fakeBus.takeTransfers(), Lines_t{});
    EXPECT_EQ(takeMessageNames(), Lines_t{});
}

TEST_F(Vsc055, InitialisationOfAnEnclosureOfAnotherTypeKeepsItsElementCounts) {
    start(2);
    esaControl.deviceMaxNumber = 11;
    esaControl.powerSupplyMaxNumber = 1;
    EXPECT_EQ(esaVsc055Init(), 0);
    EXPECT_EQ(esaControl.deviceMaxNumber, 11);
    EXPECT_EQ(esaControl.powerSupplyMaxNumber, 1);
    EXPECT_EQ(hex(esaControl.vitesse.vsc055FSC, 8), "80 80 80 80 80 80 80 80") << "the type's own configuration";
    esaControl.enclosureType = VORAN_E_CHASSIS_CHENBRO_3U16ATX;
    std::memset(esaControl.vitesse.vsc055FSC, 0x55, 8);
    EXPECT_EQ(esaVsc055Init(), 0);
    EXPECT_EQ(hex(esaControl.vitesse.vsc055FSC, 8), "55 55 55 55 55 55 55 55") << "the type has no tachometers";
}
