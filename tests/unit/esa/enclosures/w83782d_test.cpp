/** The W83782D and the two enclosures that have it, with what neither a poll nor a page ever hands them. */
#include "enclosures/w83782d.h"

#include <map>

#include "chips/w83782d.h"
#include "enclosures/chenbro.h"
#include "esa_fixture.h"

namespace {

class W83782d : public EsaTest {
protected:
    void start(int type) {
        startChassis(type);
        (void)takeTrace();
    }
    static std::string shadows() { return hex(esaControl.winbond, sizeof(esaControl.winbond)); }
};

} // namespace

TEST_F(W83782d, DutyGoesToTheShadowAndTheRegisterOfItsOutput) {
    start(4);
    // Outputs 2, 1, 3, 4 are the last four bytes of a shadow. The fourth is sent its old duty, and the new one lands in
    // the first's shadow.
    struct {
        U8_t output;
        U8_t duty;
        const char* write;
        const char* shadow;
    } const loads[] = {{0, 0x00, "W 2B 5B 00", "A2 00 A3 A4"},
                       {0, 0xFF, "W 2B 5B FF", "A2 FF A3 A4"},
                       {1, 0x5A, "W 2B 5A 5A", "5A A1 A3 A4"},
                       {2, 0x5A, "W 2B 5E 5A", "A2 A1 5A A4"},
                       {3, 0x5A, "W 2B 5F A4", "A2 5A A3 A4"}};
    for (const auto& load : loads) {
        for (U8_t backplane = 0; backplane < 4; ++backplane) {
            SCOPED_TRACE(testing::Message() << int{load.output} << " of " << int{backplane});
            wireClear(esaControl.winbond);
            esaControl.winbond[backplane].pwmOut2ControlRegister = 0xA2;
            esaControl.winbond[backplane].pwmOut1ControlRegister = 0xA1;
            esaControl.winbond[backplane].pwmOut3ControlRegister = 0xA3;
            esaControl.winbond[backplane].pwmOut4ControlRegister = 0xA4;
            winbondFanLoadPwm(0x2B, backplane, load.output, load.duty);
            EXPECT_EQ(fakeBus.takeTransfers(), (Lines_t{load.write}));
            Bytes_t expected(sizeof(esaControl.winbond));
            const Bytes_t outputs = unhex(load.shadow);
            std::copy(outputs.begin(), outputs.end(), expected.begin() + 23 * backplane + 19);
            EXPECT_EQ(shadows(), hex(expected));
            EXPECT_EQ(takeTrace(),
                      (Lines_t{text("Load PWM Winbond[%d] Percent to Fan [%d]", int{load.duty}, int{load.output})}));
        }
    }
}

TEST_F(W83782d, ChipHasFourOutputsAndThreeCountersAndReadsOneSensor) {
    start(6);
    const std::string before = shadows();
    for (const int index : {3, 4, 5, 127, 128, 255}) {
        SCOPED_TRACE(index);
        const auto inx = static_cast<U8_t>(index);
        if (index > 3) {
            winbondFanLoadPwm(0x28, 0, inx, 255);
            EXPECT_EQ(takeTrace().back(), text("Unsupported Winbond Fan Index = [%d].", index));
        }
        U16_t rpm = 12345;
        EXPECT_EQ(esaW83782dFanReadSpeed(0x28, inx, &rpm), -1);
        EXPECT_EQ(rpm, 12345);
        EXPECT_EQ(takeTrace().back(), text("Unsupported Winbond Fan Index = [%d].", index));
        EXPECT_EQ(esaW83782dReadTemperature(0x28, inx), 32767);
        EXPECT_EQ(takeTrace(), (Lines_t{text("Temperature Sensor [%d] for I2C address [0x28] = [32767] degrees "
                                             "Celsius.",
                                             index)}));
        esaW83782dFanLoadPwm(inx, 255);
        EXPECT_EQ(takeTrace(), (Lines_t{text("Load PWM Winbond[255] Percent to Fan [%d]", index),
                                        text("Unsupported Winbond Fan Index = [%d].", index)}));
    }
    EXPECT_EQ(fakeBus.takeTransfers(), Lines_t{});
    EXPECT_EQ(shadows(), before);
    U16_t rpm = 0xABCD;
    fakeBus.set(0x2C, 0x29, 255);
    EXPECT_EQ(esaW83782dFanReadSpeed(0x2C, 1, &rpm), 0);
    EXPECT_EQ(rpm, 0) << "a counter that overflows is a standstill";
}

TEST_F(W83782d, FaultClearsAndMuteSetsTheAlarmBitAndNoOtherStateTouchesTheChip) {
    start(4);
    const struct {
        U32_t state;
        const char* trace;
    } states[] = {{0, "No action on setting Backplane Alarm State to [IDEL_S0]."},
                  {1, "Set Backplane Alarm State to [FAULT_S1]."},
                  {2, "No action on setting Backplane Alarm State to [REMIND_S2]."},
                  {3, "Set Backplane Alarm State to [MUTE_S3]."},
                  {4, "No action on setting Backplane Alarm State to [CRITICAL_S4]."},
                  {5, "No action on setting Backplane Alarm State to [STATE_S5]."},
                  {6, "No action on setting Backplane Alarm State to [STATE_S6]."},
                  {7, "No action on setting Backplane Alarm State to [STATE_S7]."},
                  {8, "Set Backplane Alarm State to un-supported value [8]."},
                  {257, "Set Backplane Alarm State to un-supported value [257]."},
                  {0x7FFFFFFF, "Set Backplane Alarm State to un-supported value [2147483647]."}};
    for (const auto& row : states) {
        for (U8_t backplane = 0; backplane < 4; ++backplane) {
            SCOPED_TRACE(testing::Message() << row.state << " on " << int{backplane});
            const auto state = static_cast<EsaAlarmState_e>(row.state);
            U8_t& configuration = esaControl.winbond[backplane].configurationRegister;
            configuration = 0xA5;
            esaW83782dSetAlarmState(0x2C, backplane, state);
            EXPECT_EQ(configuration, row.state == 3 ? 0xE5 : 0xA5);
            configuration = 0xFF;
            esaW83782dSetAlarmState(0x2C, backplane, state);
            EXPECT_EQ(configuration, row.state == 1 ? 0xBF : 0xFF);
            EXPECT_EQ(fakeBus.takeTransfers(), row.state == 1   ? (Lines_t{"W 2C 40 A5", "W 2C 40 BF"})
                                               : row.state == 3 ? (Lines_t{"W 2C 40 E5", "W 2C 40 FF"})
                                                                : Lines_t{});
            EXPECT_EQ(takeTrace(), (Lines_t{row.trace, row.trace}));
        }
    }
    const std::string before = shadows();
    chenbroSetAlarmState(ESA_E_ALARM_STATE_CRITICAL_S4);
    EXPECT_EQ(takeTrace(), Lines_t(4, "No action on setting Backplane Alarm State to [CRITICAL_S4]."));
    EXPECT_EQ(fakeBus.takeTransfers(), Lines_t{});
    EXPECT_EQ(shadows(), before);
}

TEST_F(W83782d, ChenbroLoadsFivePercentagesAndNoOther) {
    const std::map<int, int> duties = {{0, 0}, {25, 64}, {50, 128}, {75, 192}, {100, 255}};
    start(4);
    for (int percent = 0; percent < 256; ++percent) {
        SCOPED_TRACE(percent);
        const auto duty = duties.find(percent);
        const bool known = duty != duties.end();
        chenbroW83782dFanLoadPwm(5, static_cast<U8_t>(percent));
        EXPECT_EQ(fakeBus.takeTransfers(), known ? Lines_t{text("W 2B 5A %02X", duty->second)} : Lines_t{});
        EXPECT_EQ(takeTrace(), (Lines_t{text("Load PWM Esa[%d] Percent to Fan [5]", percent),
                                        known ? text("Load PWM Winbond[%d] Percent to Fan [1]", duty->second)
                                              : text("Unsupported ESA PWM Percentage = [%d].", percent)}));
    }
}

TEST_F(W83782d, ChenbroLooksAtThePercentageBeforeTheFan) {
    start(4);
    const std::string before = shadows();
    for (const int fan : {6, 7, 8, 128, 255}) {
        SCOPED_TRACE(fan);
        chenbroW83782dFanLoadPwm(static_cast<U8_t>(fan), 30);
        chenbroW83782dFanLoadPwm(static_cast<U8_t>(fan), 50);
        EXPECT_EQ(
            takeTrace(),
            (Lines_t{text("Load PWM Esa[30] Percent to Fan [%d]", fan), "Unsupported ESA PWM Percentage = [30].",
                     text("Load PWM Esa[50] Percent to Fan [%d]", fan), text("Unsupported Fan Index = [%d].", fan)}));
    }
    for (const S32_t fan : {-2147483647 - 1, -1, 6, 7, 8, 255, 2147483647}) {
        U16_t rpm = 12345;
        EXPECT_EQ(chenbroW83782dFanReadSpeed(fan, &rpm), -1);
        EXPECT_EQ(rpm, 12345);
        EXPECT_EQ(takeTrace(), (Lines_t{text("Read speed with Fan, chenbroFanInx = [%d].", fan),
                                        text("Unsupported Fan Index = [%d].", fan)}));
    }
    EXPECT_EQ(fakeBus.takeTransfers(), Lines_t{});
    EXPECT_EQ(shadows(), before);
}

TEST_F(W83782d, DutyOfTheSingleBackplaneIsWrittenAsItStandsToTheCrossedRegisters) {
    start(6);
    const char* const writes[] = {"W 28 5B ", "W 28 5E ", "W 28 5F "};
    const std::size_t shadowed[] = {20, 19, 21}; // outputs 1, 2 and 3
    for (U8_t fan = 0; fan < 3; ++fan) {
        for (int duty = 0; duty < 256; ++duty) {
            esaW83782dFanLoadPwm(fan, static_cast<U8_t>(duty));
            EXPECT_EQ(fakeBus.takeTransfers(), (Lines_t{writes[fan] + text("%02X", duty)}));
            EXPECT_EQ(reinterpret_cast<const U8_t*>(esaControl.winbond)[shadowed[fan]], duty);
        }
    }
}

TEST_F(W83782d, InitialisationOfAnEnclosureOfAnotherTypeKeepsItsElementCounts) {
    start(4);
    esaControl.i2cAddressW83782d = 0x28;
    EXPECT_EQ(esaW83782dInit(), 0);
    EXPECT_EQ(esaControl.powerSupplyMaxNumber, 3);
    EXPECT_EQ(esaControl.coolingMaxNumber, 6);
    EXPECT_EQ(esaControl.temperatureSensorMaxNumber, 4);
}
