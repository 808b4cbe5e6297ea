/** The W83782D by itself: voltages, tachometers, PWM outputs, temperature, alarm bit. */
#include "chips/w83782d.h"

#include <gmock/gmock.h>

#include <cstring>

#include "enclosures/w83782d.h"
#include "esa_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class W83782dChip : public EsaTest {
protected:
    W83782dChip() {
        startChassis(4);
        (void)takeTrace();
        esaControl.i2cAddressW83782d = 0x21; // not an address of any chip below
    }

    /** Healthy rails: 1.6, 1.76, 3.296, 5.0, 11.98, -12.03 and -5.0 volts. */
    static void powerUp(int address) {
        const int readings[] = {100, 110, 206, 186, 197, 35, 54};
        for (int i = 0; i < 7; ++i) {
            fakeBus.set(address, 0x20 + i, readings[i]);
        }
    }

    /** The shadow of a chip, in the order of its fields. */
    static std::string shadow(int backplane) { return hex(&esaControl.winbond[backplane], 23); }
};

const std::string UNTOUCHED = "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00";

} // namespace

TEST_F(W83782dChip, VoltagesAreReadInRegisterOrderAndTracedRawAndConverted) {
    powerUp(0x2C);
    EXPECT_EQ(esaW83782dReadPowerVoltageToleranceStatus(0x2C), 0);
    EXPECT_THAT(fakeBus.takeTransfers(),
                ElementsAre("R 2C 20", "R 2C 21", "R 2C 22", "R 2C 23", "R 2C 24", "R 2C 25", "R 2C 26"));
    EXPECT_THAT(takeTrace(),
                ElementsAre("Read Voltage Tolerance, I2C address = [0x2c].",       //
                            "Vcorea = [100].", "Converted Vcorea = [1.600000]V.",  //
                            "Vinr0 = [110]", "Converted Vinr0 = [1.760000]V.",     //
                            "+3.3Vin = [206]", "Converted +3.3Vin = [3.296000]V.", //
                            "+5Vin = [186]", "Converted +5Vin = [4.999680]V.",     //
                            "+12Vin = [197]", "Converted +12Vin = [11.977600]V.",  //
                            "-12Vin = [35]", "Converted -12Vin = [-12.034286]V.",  //
                            "-5Vin = [54]", "Converted -5Vin = [-4.998857]V."));
}

TEST_F(W83782dChip, PositiveFiveVoltsPassFrom168To204) {
    for (int reading = 0; reading <= 255; ++reading) {
        SCOPED_TRACE(reading);
        powerUp(0x28);
        fakeBus.set(0x28, 0x23, reading);
        const bool good = reading >= 168 && reading <= 204;
        EXPECT_EQ(esaW83782dReadPowerVoltageToleranceStatus(0x28), good ? 0 : -1);
        EXPECT_EQ(fakeBus.takeTransfers().size(), good ? 7U : 4U) << "0x24 to 0x26 stay unread";
    }
}

TEST_F(W83782dChip, PositiveTwelveVoltsPassFrom178To217) {
    for (int reading = 0; reading <= 255; ++reading) {
        SCOPED_TRACE(reading);
        powerUp(0x28);
        fakeBus.set(0x28, 0x24, reading);
        const bool good = reading >= 178 && reading <= 217;
        EXPECT_EQ(esaW83782dReadPowerVoltageToleranceStatus(0x28), good ? 0 : -1);
        EXPECT_EQ(fakeBus.takeTransfers().size(), good ? 7U : 5U) << "0x25 and 0x26 stay unread";
    }
}

TEST_F(W83782dChip, DutyGoesToTheShadowAndTheRegisterOfItsOutput) {
    // Shadow: outputs 2, 1, 3, 4 are its last four bytes.
    struct {
        const char* write;
        const char* shadow;
    } const outputs[] = {{"W 2B 5B ", "A2 %02X A3 A4"}, {"W 2B 5A ", "%02X A1 A3 A4"}, {"W 2B 5E ", "A2 A1 %02X A4"}};
    for (unsigned output = 0; output < 3; ++output) {
        // Both ends among the duties, and each backplane with a quarter of them.
        for (unsigned duty = 0; duty <= 255; duty += 5) {
            const U8_t backplane = static_cast<U8_t>(duty / 5 % 4);
            SCOPED_TRACE(testing::Message() << output << " " << int{backplane} << " " << duty);
            wireClear(esaControl.winbond);
            const U8_t old[] = {0xA2, 0xA1, 0xA3, 0xA4};
            std::memcpy(&esaControl.winbond[backplane].pwmOut2ControlRegister, old, 4);
            winbondFanLoadPwm(0x2B, backplane, static_cast<U8_t>(output), static_cast<U8_t>(duty));
            EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre(outputs[output].write + text("%02X", duty)));
            for (int other = 0; other < 4; ++other) {
                EXPECT_EQ(shadow(other), other == backplane
                                             ? UNTOUCHED.substr(0, 57) + text(outputs[output].shadow, duty)
                                             : UNTOUCHED);
            }
            EXPECT_THAT(takeTrace(), ElementsAre(text("Load PWM Winbond[%d] Percent to Fan [%d]", duty, output)));
        }
    }
}

TEST_F(W83782dChip, FourthOutputIsSentItsOldDutyAndTheNewOneLandsInTheFirstsShadow) {
    for (unsigned duty = 0; duty <= 255; ++duty) {
        wireClear(esaControl.winbond);
        esaControl.winbond[3].pwmOut4ControlRegister = 0x77;
        winbondFanLoadPwm(0x30, 3, 3, static_cast<U8_t>(duty));
        EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 30 5F 77"));
        EXPECT_EQ(shadow(3), UNTOUCHED.substr(0, 57) + text("00 %02X 00 77", duty));
    }
}

TEST_F(W83782dChip, CounterThatOverflowsIsAStandstill) {
    U16_t rpm = 0xABCD;
    fakeBus.set(0x2C, 0x29, 255);
    EXPECT_EQ(esaW83782dFanReadSpeed(0x2C, 1, &rpm), 0);
    EXPECT_EQ(rpm, 0);
}

TEST_F(W83782dChip, TemperatureIsSignedDegrees) {
    for (int reading = 0; reading <= 255; ++reading) {
        const int degrees = reading < 128 ? reading : reading - 256;
        fakeBus.set(0x2A, 0x27, reading);
        EXPECT_EQ(esaW83782dReadTemperature(0x2A, 0), degrees);
        EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 2A 27"));
        // The trace names the single backplane's address, whichever chip was read.
        EXPECT_THAT(takeTrace(), ElementsAre(text("Temperature Sensor [0] for I2C address [0x21] = [%d] degrees "
                                                  "Celsius.",
                                                  degrees)));
    }
    fakeBus.set(0x2A, 0x27, 0xF6);
    EXPECT_EQ(esaW83782dReadTemperature(0x2A, 0), -10);
}

TEST_F(W83782dChip, FaultClearsAndMuteSetsTheAlarmBitAndNoOtherStateTouchesTheChip) {
    struct {
        U32_t state;
        const char* written; // with the shadow at A5, then at FF; nullptr: nothing
        const char* writtenFromOnes;
        const char* trace;
    } const states[] = {
        {0, nullptr, nullptr, "No action on setting Backplane Alarm State to [IDEL_S0]."},
        {1, "W 2C 40 A5", "W 2C 40 BF", "Set Backplane Alarm State to [FAULT_S1]."},
        {2, nullptr, nullptr, "No action on setting Backplane Alarm State to [REMIND_S2]."},
        {3, "W 2C 40 E5", "W 2C 40 FF", "Set Backplane Alarm State to [MUTE_S3]."},
        {4, nullptr, nullptr, "No action on setting Backplane Alarm State to [CRITICAL_S4]."},
        {5, nullptr, nullptr, "No action on setting Backplane Alarm State to [STATE_S5]."},
        {6, nullptr, nullptr, "No action on setting Backplane Alarm State to [STATE_S6]."},
        {7, nullptr, nullptr, "No action on setting Backplane Alarm State to [STATE_S7]."},
        {8, nullptr, nullptr, "Set Backplane Alarm State to un-supported value [8]."},
        {255, nullptr, nullptr, "Set Backplane Alarm State to un-supported value [255]."},
        {257, nullptr, nullptr, "Set Backplane Alarm State to un-supported value [257]."},
        {0x7FFFFFFF, nullptr, nullptr, "Set Backplane Alarm State to un-supported value [2147483647]."},
    };
    for (const auto& row : states) {
        for (U8_t backplane = 0; backplane < 4; ++backplane) {
            SCOPED_TRACE(testing::Message() << row.state << " on " << int{backplane});
            U8_t& configuration = esaControl.winbond[backplane].configurationRegister;
            configuration = 0xA5;
            esaW83782dSetAlarmState(0x2C, backplane, static_cast<EsaAlarmState_e>(row.state));
            EXPECT_EQ(fakeBus.takeTransfers(), row.written == nullptr ? Lines_t{} : Lines_t{row.written});
            EXPECT_EQ(configuration, row.state == 3 ? 0xE5 : 0xA5);
            configuration = 0xFF;
            esaW83782dSetAlarmState(0x2C, backplane, static_cast<EsaAlarmState_e>(row.state));
            EXPECT_EQ(fakeBus.takeTransfers(), row.written == nullptr ? Lines_t{} : Lines_t{row.writtenFromOnes});
            EXPECT_EQ(configuration, row.state == 1 ? 0xBF : 0xFF);
            EXPECT_THAT(takeTrace(), ElementsAre(row.trace, row.trace));
        }
    }
}
