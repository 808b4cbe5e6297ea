/** Operations of the enclosures with W83782D monitors, with what neither a poll nor a page ever hands them. */
#include <gmock/gmock.h>

#include "chips/w83782d.h"
#include "enclosures/chenbro.h"
#include "enclosures/w83782d.h"
#include "esa_fixture.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class WinbondBackplanes : public EsaTest {
protected:
    void start(int type) {
        startChassis(type);
        (void)takeTrace();
    }
    static std::string shadows() { return hex(esaControl.winbond, sizeof(esaControl.winbond)); }
};

} // namespace

TEST_F(WinbondBackplanes, ChenbroLoadsFivePercentagesAndNoOther) {
    start(4);
    for (int percent = 0; percent < 256; ++percent) {
        SCOPED_TRACE(percent);
        const int duty = percent == 0     ? 0
                         : percent == 25  ? 64
                         : percent == 50  ? 128
                         : percent == 75  ? 192
                         : percent == 100 ? 255
                                          : -1;
        chenbroW83782dFanLoadPwm(5, static_cast<U8_t>(percent));
        const std::string load = text("Load PWM Esa[%d] Percent to Fan [5]", percent);
        if (duty < 0) {
            EXPECT_THAT(takeTrace(), ElementsAre(load, text("Unsupported ESA PWM Percentage = [%d].", percent)));
            EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
        } else {
            EXPECT_THAT(takeTrace(), ElementsAre(load, text("Load PWM Winbond[%d] Percent to Fan [1]", duty)));
            EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre(text("W 2B 5A %02X", duty)));
        }
    }
}

TEST_F(WinbondBackplanes, ChenbroLooksAtThePercentageBeforeTheFan) {
    start(4);
    const std::string before = shadows();
    for (int fan = 6; fan < 256; ++fan) {
        SCOPED_TRACE(fan);
        chenbroW83782dFanLoadPwm(static_cast<U8_t>(fan), 30);
        EXPECT_THAT(takeTrace(), ElementsAre(text("Load PWM Esa[30] Percent to Fan [%d]", fan),
                                             "Unsupported ESA PWM Percentage = [30]."));
        chenbroW83782dFanLoadPwm(static_cast<U8_t>(fan), 50);
        EXPECT_THAT(takeTrace(), ElementsAre(text("Load PWM Esa[50] Percent to Fan [%d]", fan),
                                             text("Unsupported Fan Index = [%d].", fan)));
    }
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    EXPECT_EQ(shadows(), before);
}

TEST_F(WinbondBackplanes, ChenbroFansThatDoNotExistAreNotRead) {
    start(4);
    for (const S32_t fan : {-2147483647 - 1, -1, 6, 7, 8, 255, 2147483647}) {
        U16_t rpm = 12345;
        EXPECT_EQ(chenbroW83782dFanReadSpeed(fan, &rpm), -1);
        EXPECT_EQ(rpm, 12345);
        EXPECT_THAT(takeTrace(), ElementsAre(text("Read speed with Fan, chenbroFanInx = [%d].", fan),
                                             text("Unsupported Fan Index = [%d].", fan)));
    }
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
}

TEST_F(WinbondBackplanes, ChenbroAlarmStatesOtherThanFaultAndMuteTouchNoBackplane) {
    start(4);
    const std::string before = shadows();
    for (const U32_t state : {0U, 2U, 4U, 5U, 6U, 7U, 8U}) {
        chenbroSetAlarmState(static_cast<EsaAlarmState_e>(state));
        const Lines_t lines = takeTrace();
        EXPECT_THAT(lines, SizeIs(4));
        if (state == 4) {
            EXPECT_THAT(lines, Each("No action on setting Backplane Alarm State to [CRITICAL_S4]."));
        }
    }
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    EXPECT_EQ(shadows(), before);
}

TEST_F(WinbondBackplanes, DutyOfTheSingleBackplaneIsWrittenAsItStandsToTheCrossedRegisters) {
    start(6);
    const char* const writes[] = {"W 28 5B ", "W 28 5E ", "W 28 5F "};
    const std::size_t shadowed[] = {20, 19, 21}; // outputs 1, 2 and 3
    for (U8_t fan = 0; fan < 3; ++fan) {
        for (int duty = 0; duty < 256; ++duty) {
            esaW83782dFanLoadPwm(fan, static_cast<U8_t>(duty));
            EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre(writes[fan] + text("%02X", duty)));
            EXPECT_THAT(takeTrace(), ElementsAre(text("Load PWM Winbond[%d] Percent to Fan [%d]", duty, int{fan})));
            EXPECT_EQ(reinterpret_cast<const U8_t*>(esaControl.winbond)[shadowed[fan]], duty);
        }
    }
    const std::string before = shadows();
    for (int fan = 3; fan < 256; ++fan) {
        esaW83782dFanLoadPwm(static_cast<U8_t>(fan), 255);
        EXPECT_THAT(takeTrace(), ElementsAre(text("Load PWM Winbond[255] Percent to Fan [%d]", fan),
                                             text("Unsupported Winbond Fan Index = [%d].", fan)));
    }
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    EXPECT_EQ(shadows(), before);
}

TEST_F(WinbondBackplanes, ChipHasFourOutputsAndThreeCountersAndReadsOneSensor) {
    start(6);
    const std::string before = shadows();
    for (int index = 3; index < 256; ++index) {
        if (index > 3) {
            winbondFanLoadPwm(0x28, 0, static_cast<U8_t>(index), 255);
            EXPECT_EQ(takeTrace().back(), text("Unsupported Winbond Fan Index = [%d].", index));
        }
        U16_t rpm = 12345;
        EXPECT_EQ(esaW83782dFanReadSpeed(0x28, static_cast<U8_t>(index), &rpm), -1);
        EXPECT_EQ(rpm, 12345);
        EXPECT_EQ(takeTrace().back(), text("Unsupported Winbond Fan Index = [%d].", index));
        EXPECT_EQ(esaW83782dReadTemperature(0x28, static_cast<U8_t>(index)), 32767);
        EXPECT_THAT(takeTrace(), ElementsAre(text("Temperature Sensor [%d] for I2C address [0x28] = [32767] degrees "
                                                  "Celsius.",
                                                  index)));
    }
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    EXPECT_EQ(shadows(), before);
}

TEST_F(WinbondBackplanes, InitialisationOfAnEnclosureOfAnotherTypeKeepsItsElementCounts) {
    start(4);
    esaControl.i2cAddressW83782d = 0x28;
    EXPECT_EQ(esaW83782dInit(), 0);
    EXPECT_EQ(esaControl.powerSupplyMaxNumber, 3);
    EXPECT_EQ(esaControl.coolingMaxNumber, 6);
    EXPECT_EQ(esaControl.temperatureSensorMaxNumber, 4);
}
