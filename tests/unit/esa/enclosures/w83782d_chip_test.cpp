/** The W83782D by itself: voltages, tachometers, PWM outputs, temperature, alarm bit. */
#include "chips/w83782d.h"
#include "driver_test.h"
#include "enclosures/w83782d.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class W83782dChip : public DriverTest {
protected:
    W83782dChip() {
        startCold(4);
        esaControl.i2cConnected = 1;
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

/** A reading's volts with six decimals, from whole microvolts. */
std::string volts(long long microvolts) {
    const long long size = microvolts < 0 ? -microvolts : microvolts;
    return text("%s%lld.%06lld", microvolts < 0 ? "-" : "", size / 1000000, size % 1000000);
}

/** Nearest whole number of `over` / 7, which is never half way. */
long long seventh(long long over) {
    return (over < 0 ? over - 3 : over + 3) / 7;
}

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

TEST_F(W83782dChip, OtherRailsAreNeverJudged) {
    for (int reg : {0x20, 0x21, 0x22, 0x25, 0x26}) {
        for (int reading = 0; reading <= 255; ++reading) {
            powerUp(0x28);
            fakeBus.set(0x28, reg, reading);
            EXPECT_EQ(esaW83782dReadPowerVoltageToleranceStatus(0x28), 0) << reg << " " << reading;
        }
    }
}

TEST_F(W83782dChip, RailOutOfToleranceIsTracedWithItsLimits) {
    struct {
        int reg;
        int reading;
        const char* raw;
        const char* converted;
        const char* limits;
        const char* error;
    } const rails[] = {
        {0x23, 167, "+5Vin = [167]", "Converted +5Vin = [4.488960]V.",
         "+5Vin low limit = [4.500000]V. +5Vin high limit = [5.500000].",
         "Return Power Voltage Tolerance Status [ERROR] because of +5Vin measurement."},
        {0x23, 205, "+5Vin = [205]", "Converted +5Vin = [5.510400]V.",
         "+5Vin low limit = [4.500000]V. +5Vin high limit = [5.500000].",
         "Return Power Voltage Tolerance Status [ERROR] because of +5Vin measurement."},
        {0x24, 177, "+12Vin = [177]", "Converted +12Vin = [10.761600]V.",
         "+12Vin low limit = [10.800000]V. +12Vin high limit = [13.200000].",
         "Return Power Voltage Tolerance Status [ERROR] because of +12Vin measurement."},
        {0x24, 218, "+12Vin = [218]", "Converted +12Vin = [13.254400]V.",
         "+12Vin low limit = [10.800000]V. +12Vin high limit = [13.200000].",
         "Return Power Voltage Tolerance Status [ERROR] because of +12Vin measurement."},
    };
    for (const auto& rail : rails) {
        SCOPED_TRACE(rail.raw);
        powerUp(0x28);
        fakeBus.set(0x28, rail.reg, rail.reading);
        EXPECT_EQ(esaW83782dReadPowerVoltageToleranceStatus(0x28), -1);
        const Lines trace = takeTrace();
        ASSERT_GE(trace.size(), 4U);
        EXPECT_THAT(Lines(trace.end() - 4, trace.end()),
                    ElementsAre(rail.raw, rail.converted, rail.limits, rail.error));
    }
}

TEST_F(W83782dChip, LastGoodReadingsAreTracedWithTheirVolts) {
    struct {
        int five;
        int twelve;
        const char* fiveText;
        const char* twelveText;
    } const edges[] = {
        {168, 178, "Converted +5Vin = [4.515840]V.", "Converted +12Vin = [10.822400]V."},
        {204, 217, "Converted +5Vin = [5.483520]V.", "Converted +12Vin = [13.193600]V."},
    };
    for (const auto& edge : edges) {
        powerUp(0x28);
        fakeBus.set(0x28, 0x23, edge.five);
        fakeBus.set(0x28, 0x24, edge.twelve);
        EXPECT_EQ(esaW83782dReadPowerVoltageToleranceStatus(0x28), 0);
        const Lines trace = takeTrace();
        ASSERT_EQ(trace.size(), 15U);
        EXPECT_EQ(trace[8], edge.fiveText);
        EXPECT_EQ(trace[10], edge.twelveText);
    }
}

TEST_F(W83782dChip, EveryReadingOfEveryRailIsConvertedToTheMicrovolt) {
    for (int reading = 0; reading <= 255; ++reading) {
        SCOPED_TRACE(reading);
        powerUp(0x28);
        for (int reg : {0x20, 0x21, 0x22, 0x25, 0x26}) {
            fakeBus.set(0x28, reg, reading);
        }
        (void)esaW83782dReadPowerVoltageToleranceStatus(0x28);
        const Lines trace = takeTrace();
        ASSERT_EQ(trace.size(), 15U);
        EXPECT_EQ(trace[2], "Converted Vcorea = [" + volts(reading * 16000) + "]V.");
        EXPECT_EQ(trace[4], "Converted Vinr0 = [" + volts(reading * 16000) + "]V.");
        EXPECT_EQ(trace[6], "Converted +3.3Vin = [" + volts(reading * 16000) + "]V.");
        // 2.9 V and 7/36; 27/11 V and 7/22.
        EXPECT_EQ(trace[12], "Converted -12Vin = [" + volts(seventh((reading * 16000 - 2900000) * 36LL)) + "]V.");
        EXPECT_EQ(trace[14], "Converted -5Vin = [" + volts(seventh(reading * 352000LL - 54000000)) + "]V.");

        fakeBus.set(0x28, 0x23, reading);
        (void)esaW83782dReadPowerVoltageToleranceStatus(0x28);
        EXPECT_EQ(takeTrace()[8], "Converted +5Vin = [" + volts(reading * 26880) + "]V.");
        fakeBus.set(0x28, 0x23, 186);
        fakeBus.set(0x28, 0x24, reading);
        (void)esaW83782dReadPowerVoltageToleranceStatus(0x28);
        EXPECT_EQ(takeTrace()[10], "Converted +12Vin = [" + volts(reading * 60800) + "]V.");
    }
}

TEST_F(W83782dChip, FailedVoltageReadEndsTheCheckWithItsCode) {
    for (std::size_t i = 0; i < 7; ++i) {
        SCOPED_TRACE(i);
        powerUp(0x30);
        fakeBus.failTransfer(static_cast<unsigned>(i));
        EXPECT_EQ(esaW83782dReadPowerVoltageToleranceStatus(0x30), -1);
        EXPECT_EQ(fakeBus.takeTransfers(),
                  failedAt({"R 30 20", "R 30 21", "R 30 22", "R 30 23", "R 30 24", "R 30 25", "R 30 26"}, i));
        EXPECT_EQ(takeTrace().size(), 1 + 2 * i);
    }
    esaControl.i2cConnected = 0;
    EXPECT_EQ(esaW83782dReadPowerVoltageToleranceStatus(0x30), 1);
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    EXPECT_THAT(takeTrace(), ElementsAre("Read Voltage Tolerance, I2C address = [0x30]."));
}

TEST_F(W83782dChip, SpeedOfEveryCount) {
    for (int count = 0; count <= 255; ++count) {
        SCOPED_TRACE(count);
        fakeBus.set(0x2B, 0x29, count);
        U16_t rpm = 12345;
        EXPECT_EQ(esaW83782dFanReadSpeed(0x2B, 1, &rpm), 0);
        EXPECT_EQ(rpm, count == 0 || count == 255 ? 0 : 675000 / count % 65536);
    }
}

TEST_F(W83782dChip, SpeedsAtTheEdgesAreTraced) {
    struct {
        int count;
        const char* text;
        int rpm;
    } const edges[] = {
        {0, "Fan with I2C address [0x28], fanSpeedReading Reg [0x28] has RPM [0].", 0},
        {1, "Fan with I2C address [0x28], fanSpeedReading Reg [0x28] has RPM [19640].", 19640},
        {10, "Fan with I2C address [0x28], fanSpeedReading Reg [0x28] has RPM [1964].", 1964},
        {11, "Fan with I2C address [0x28], fanSpeedReading Reg [0x28] has RPM [61363].", 61363},
        {100, "Fan with I2C address [0x28], fanSpeedReading Reg [0x28] has RPM [6750].", 6750},
        {254, "Fan with I2C address [0x28], fanSpeedReading Reg [0x28] has RPM [2657].", 2657},
        {255, "Fan with I2C address [0x28], fanSpeedReading Reg [0x28] has Speed value = [0].", 0},
    };
    for (const auto& edge : edges) {
        fakeBus.set(0x28, 0x28, edge.count);
        U16_t rpm = 12345;
        EXPECT_EQ(esaW83782dFanReadSpeed(0x28, 0, &rpm), 0);
        EXPECT_EQ(rpm, edge.rpm);
        EXPECT_THAT(takeTrace(),
                    ElementsAre("Read speed with Fan, I2C address = [0x28], w83782dFanInx = [0].",
                                text("Fan with I2C address [0x28], fanSpeedReading Reg [0x28], read speed value = "
                                     "[%d].",
                                     edge.count),
                                edge.text));
    }
}

TEST_F(W83782dChip, FansZeroToTwoHaveARegisterAndNoOtherIsRead) {
    const char* const registers[] = {"R 2A 28", "R 2A 29", "R 2A 2A"};
    for (int fan = 0; fan <= 255; ++fan) {
        SCOPED_TRACE(fan);
        fakeBus.set(0x2A, 0x28 + fan, 100);
        U16_t rpm = 12345;
        const ESA_CODE_e result = esaW83782dFanReadSpeed(0x2A, static_cast<U8_t>(fan), &rpm);
        if (fan < 3) {
            EXPECT_EQ(result, 0);
            EXPECT_EQ(rpm, 6750);
            EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre(registers[fan]));
            EXPECT_EQ(takeTrace()[2],
                      text("Fan with I2C address [0x2a], fanSpeedReading Reg [0x%x] has RPM [6750].", 0x28 + fan));
        } else {
            EXPECT_EQ(result, -1);
            EXPECT_EQ(rpm, 12345);
            EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
            EXPECT_THAT(takeTrace(),
                        ElementsAre(text("Read speed with Fan, I2C address = [0x2a], w83782dFanInx = [%d].", fan),
                                    text("Unsupported Winbond Fan Index = [%d].", fan)));
        }
    }
}

TEST_F(W83782dChip, FailedTachometerReadGivesItsCodeAndNoSpeed) {
    U16_t rpm = 12345;
    fakeBus.failTransfer(0);
    EXPECT_EQ(esaW83782dFanReadSpeed(0x28, 2, &rpm), -1);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 28 2A !"));
    EXPECT_THAT(takeTrace(), ElementsAre("Read speed with Fan, I2C address = [0x28], w83782dFanInx = [2]."));
    esaControl.i2cConnected = 0;
    EXPECT_EQ(esaW83782dFanReadSpeed(0x28, 2, &rpm), 1);
    EXPECT_EQ(rpm, 12345);
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
}

TEST_F(W83782dChip, DutyGoesToTheShadowAndTheRegisterOfItsOutput) {
    // Shadow: outputs 2, 1, 3, 4 are its last four bytes.
    struct {
        const char* write;
        const char* shadow;
    } const outputs[] = {{"W 2B 5B ", "A2 %02X A3 A4"}, {"W 2B 5A ", "%02X A1 A3 A4"}, {"W 2B 5E ", "A2 A1 %02X A4"}};
    for (unsigned output = 0; output < 3; ++output) {
        for (U8_t backplane = 0; backplane < 4; ++backplane) {
            for (unsigned duty = 0; duty <= 255; ++duty) {
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

TEST_F(W83782dChip, OutputsAndBackplanesThatDoNotExistAreRefused) {
    for (unsigned index = 4; index <= 255; ++index) {
        const auto none = static_cast<U8_t>(index);
        winbondFanLoadPwm(0x28, 0, none, 64);
        EXPECT_THAT(takeTrace(), ElementsAre(text("Load PWM Winbond[64] Percent to Fan [%d]", index),
                                             text("Unsupported Winbond Fan Index = [%d].", index)));
        winbondFanLoadPwm(0x28, none, 2, 64);
        EXPECT_THAT(takeTrace(),
                    ElementsAre("Load PWM Winbond[64] Percent to Fan [2]", "Unsupported Winbond Fan Index = [2]."));
    }
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    EXPECT_EQ(shadow(0), UNTOUCHED);
}

TEST_F(W83782dChip, ShadowKeepsADutyWhoseWriteFailed) {
    fakeBus.failTransfer(0);
    winbondFanLoadPwm(0x28, 2, 2, 0xC0);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 28 5E C0 !"));
    EXPECT_EQ(esaControl.winbond[2].pwmOut3ControlRegister, 0xC0);
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

TEST_F(W83782dChip, OtherSensorsHaveNoReadingAndAreNotAskedFor) {
    for (int sensor = 1; sensor <= 255; ++sensor) {
        EXPECT_EQ(esaW83782dReadTemperature(0x28, static_cast<U8_t>(sensor)), 32767);
        EXPECT_THAT(takeTrace(), ElementsAre(text("Temperature Sensor [%d] for I2C address [0x21] = [32767] degrees "
                                                  "Celsius.",
                                                  sensor)));
    }
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
}

TEST_F(W83782dChip, FailedTemperatureReadIsNoReadingAndLeavesNoTrace) {
    fakeBus.failTransfer(0);
    EXPECT_EQ(esaW83782dReadTemperature(0x28, 0), 32767);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 28 27 !"));
    esaControl.i2cConnected = 0;
    EXPECT_EQ(esaW83782dReadTemperature(0x28, 0), 32767);
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    EXPECT_THAT(takeTrace(), IsEmpty());
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
            EXPECT_EQ(fakeBus.takeTransfers(), row.written == nullptr ? Lines{} : Lines{row.written});
            EXPECT_EQ(configuration, row.state == 3 ? 0xE5 : 0xA5);
            configuration = 0xFF;
            esaW83782dSetAlarmState(0x2C, backplane, static_cast<EsaAlarmState_e>(row.state));
            EXPECT_EQ(fakeBus.takeTransfers(), row.written == nullptr ? Lines{} : Lines{row.writtenFromOnes});
            EXPECT_EQ(configuration, row.state == 1 ? 0xBF : 0xFF);
            EXPECT_THAT(takeTrace(), ElementsAre(row.trace, row.trace));
        }
    }
}

TEST_F(W83782dChip, AlarmOfABackplaneThatDoesNotExistIsRefused) {
    for (int backplane : {4, 5, 255}) {
        esaW83782dSetAlarmState(0x28, static_cast<U8_t>(backplane), ESA_E_ALARM_STATE_MUTE_S3);
        EXPECT_THAT(takeTrace(), ElementsAre("Set Backplane Alarm State to un-supported value [3]."));
    }
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
}

TEST_F(W83782dChip, AlarmShadowKeepsAStateWhoseWriteFailed) {
    fakeBus.failDevice(0x28);
    esaW83782dSetAlarmState(0x28, 1, ESA_E_ALARM_STATE_MUTE_S3);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 28 40 40 !"));
    EXPECT_EQ(esaControl.winbond[1].configurationRegister, 0x40);
    esaW83782dSetAlarmState(0x28, 1, ESA_E_ALARM_STATE_FAULT_S1);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 28 40 00 !"));
    EXPECT_EQ(esaControl.winbond[1].configurationRegister, 0x00);
}
