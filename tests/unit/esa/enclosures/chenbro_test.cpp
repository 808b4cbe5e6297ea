/** Operations of the Chenbro enclosure: its fan map, percentages, voltages, alarm, register dump, and its row. */
#include "enclosures/chenbro.h"

#include "driver_test.h"
#include "policy/temperatures.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

const int CHIPS[] = {0x28, 0x2A, 0x2C, 0x30};

/** Where a fan is read and loaded, and which byte of which shadow takes its load (19 to 22: outputs 2, 1, 3, 4). */
struct FanCase {
    const char* read;
    const char* write;
    int address;
    int reg;
    int backplane;
    int shadowByte;
};
const FanCase FANS[] = {
    {"R 28 28", "W 28 5B ", 0x28, 0x28, 0, 20}, {"R 28 29", "W 28 5A ", 0x28, 0x29, 0, 19},
    {"R 29 28", "W 29 5B ", 0x29, 0x28, 1, 20}, {"R 2A 28", "W 2A 5B ", 0x2A, 0x28, 2, 20},
    {"R 2B 28", "W 2B 5B ", 0x2B, 0x28, 3, 20}, {"R 2B 29", "W 2B 5A ", 0x2B, 0x29, 3, 19},
};

/** Registers of the start-up dump, 0x20 to 0x3D. */
const char* const NAMES[] = {
    "VCOREA_READING",
    "VINR0_READING",
    "POSITIVE_3_3VIN_READING",
    "POSITIVE_5VIN_READING",
    "POSITIVE_12VIN_READING",
    "NEGATIVE_12VIN_READING",
    "NEGATIVE_5VIN_READING",
    "TEMPERATURE_READING",
    "FAN1_READING",
    "FAN2_READING",
    "FAN3_READING",
    "VCOREA_HIGH_LIMIT",
    "VCOREA_LOW_LIMIT",
    "VINR0_HIGH_LIMIT",
    "VINR0_LOW_LIMIT",
    "POSITIVE_3_3VIN_HIGH_LIMIT",
    "POSITIVE_3_3VIN_LOW_LIMIT",
    "POSITIVE_5VIN_HIGH_LIMIT",
    "POSITIVE_5VIN_LOW_LIMIT",
    "POSITIVE_12VIN_HIGH_LIMIT",
    "POSITIVE_12VIN_LOW_LIMIT",
    "NEGATIVE_12VIN_HIGH_LIMIT",
    "NEGATIVE_12VIN_LOW_LIMIT",
    "NEGATIVE_5VIN_HIGH_LIMIT",
    "NEGATIVE_5VIN_LOW_LIMIT",
    "TEMPERATURE_SENSOR1_HIGH_LIMIT",
    "TEMPERATURE_SENSOR1_HYSTERESIS",
    "FAN1_FAN_COUNT_LIMIT",
    "FAN2_FAN_COUNT_LIMIT",
    "FAN3_FAN_COUNT_LIMIT",
};

class Chenbro : public DriverTest {
protected:
    Chenbro() {
        startCold(4);
        startChassis(4);
        for (int chip : CHIPS) {
            fakeBus.set(chip, 0x23, 186);
            fakeBus.set(chip, 0x24, 197);
        }
    }

    static Lines voltageReads(int chip) {
        Lines reads;
        for (int reg = 0x20; reg <= 0x26; ++reg) {
            reads.push_back(text("R %02X %02X", chip, reg));
        }
        return reads;
    }

    static bool isShadowZero() {
        const auto* bytes = reinterpret_cast<const U8_t*>(&esaControl.winbond);
        return Bytes(bytes, bytes + 92) == Bytes(92, 0);
    }
};

} // namespace

TEST_F(Chenbro, VoltagesOfAllFourBackplanesAreReadInOrder) {
    EXPECT_EQ(chenbroReadPowerVoltageToleranceStatus(), 0);
    EXPECT_EQ(fakeBus.takeTransfers(),
              join({voltageReads(0x28), voltageReads(0x2A), voltageReads(0x2C), voltageReads(0x30)}));
}

TEST_F(Chenbro, FirstBackplaneWithABadVoltageEndsTheCheck) {
    for (std::size_t b = 0; b < 4; ++b) {
        SCOPED_TRACE(b);
        fakeBus.set(CHIPS[b], 0x24, 177);
        EXPECT_EQ(chenbroReadPowerVoltageToleranceStatus(), -1);
        const Lines transfers = fakeBus.takeTransfers();
        EXPECT_EQ(transfers.size(), 7 * b + 5) << "later backplanes stay unread";
        EXPECT_EQ(transfers.back(), text("R %02X 24", CHIPS[b]));
        fakeBus.set(CHIPS[b], 0x24, 178);
    }
}

TEST_F(Chenbro, FailedVoltageReadIsAnErrorWhateverItsCode) {
    const Lines all = join({voltageReads(0x28), voltageReads(0x2A), voltageReads(0x2C), voltageReads(0x30)});
    for (std::size_t i = 0; i < 28; ++i) {
        SCOPED_TRACE(all[i]);
        fakeBus.failTransfer(static_cast<unsigned>(i));
        EXPECT_EQ(chenbroReadPowerVoltageToleranceStatus(), -1);
        EXPECT_EQ(fakeBus.takeTransfers(), failedAt(all, i));
        fakeBus.heal();
    }
    esaControl.i2cConnected = 0;
    EXPECT_EQ(chenbroReadPowerVoltageToleranceStatus(), -1);
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
}

TEST_F(Chenbro, FansAreReadAtAddressesOfTheirOwn) {
    for (int fan = 0; fan < 6; ++fan) {
        SCOPED_TRACE(fan);
        fakeBus.set(FANS[fan].address, FANS[fan].reg, 100 + fan);
        U16_t rpm = 0;
        EXPECT_EQ(chenbroW83782dFanReadSpeed(fan, &rpm), 0);
        EXPECT_EQ(rpm, 675000 / (100 + fan));
        EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre(FANS[fan].read));
        const Lines trace = takeTrace();
        ASSERT_THAT(trace, SizeIs(4));
        EXPECT_EQ(trace[0], text("Read speed with Fan, chenbroFanInx = [%d].", fan));
        EXPECT_EQ(trace[1], text("Read speed with Fan, I2C address = [0x%x], w83782dFanInx = [%d].", FANS[fan].address,
                                 FANS[fan].reg - 0x28));
    }
}

TEST_F(Chenbro, FansThatDoNotExistAreNotRead) {
    for (int fan : {-2147483647 - 1, -256, -1, 6, 7, 8, 255, 256, 257, 2147483647}) {
        U16_t rpm = 12345;
        EXPECT_EQ(chenbroW83782dFanReadSpeed(fan, &rpm), -1);
        EXPECT_EQ(rpm, 12345);
        EXPECT_THAT(takeTrace(), ElementsAre(text("Read speed with Fan, chenbroFanInx = [%d].", fan),
                                             text("Unsupported Fan Index = [%d].", fan)));
    }
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
}

TEST_F(Chenbro, EveryFailedFanReadIsAGeneralError) {
    for (int fan = 0; fan < 6; ++fan) {
        U16_t rpm = 12345;
        fakeBus.failTransfer(0);
        EXPECT_EQ(chenbroW83782dFanReadSpeed(fan, &rpm), -1);
        EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre(FANS[fan].read + std::string(" !")));
        esaControl.i2cConnected = 0;
        EXPECT_EQ(chenbroW83782dFanReadSpeed(fan, &rpm), -1) << "the code 1 is not passed on";
        EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
        EXPECT_EQ(rpm, 12345);
        esaControl.i2cConnected = 1;
    }
}

TEST_F(Chenbro, FivePercentagesAreLoadedAndNoOther) {
    struct {
        int percent;
        int duty;
    } const duties[] = {{0, 0}, {25, 64}, {50, 128}, {75, 192}, {100, 255}};
    for (int fan = 0; fan < 6; ++fan) {
        for (int percent = 0; percent <= 255; ++percent) {
            SCOPED_TRACE(testing::Message() << fan << " " << percent);
            wireClear(esaControl.winbond);
            chenbroW83782dFanLoadPwm(static_cast<U8_t>(fan), static_cast<U8_t>(percent));
            const std::string load = text("Load PWM Esa[%d] Percent to Fan [%d]", percent, fan);
            int duty = -1;
            for (const auto& known : duties) {
                duty = known.percent == percent ? known.duty : duty;
            }
            if (duty < 0) {
                EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
                EXPECT_THAT(takeTrace(), ElementsAre(load, text("Unsupported ESA PWM Percentage = [%d].", percent)));
                EXPECT_TRUE(isShadowZero());
                continue;
            }
            EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre(FANS[fan].write + text("%02X", duty)));
            const int output = FANS[fan].shadowByte == 20 ? 0 : 1;
            EXPECT_THAT(takeTrace(), ElementsAre(load, text("Load PWM Winbond[%d] Percent to Fan [%d]", duty, output)));
            auto* shadow = reinterpret_cast<U8_t*>(&esaControl.winbond[FANS[fan].backplane]);
            EXPECT_EQ(shadow[FANS[fan].shadowByte], duty);
            shadow[FANS[fan].shadowByte] = 0;
            EXPECT_TRUE(isShadowZero()) << "no other byte has changed";
        }
    }
}

TEST_F(Chenbro, PercentageIsLookedAtBeforeTheFan) {
    for (int fan = 6; fan <= 255; ++fan) {
        chenbroW83782dFanLoadPwm(static_cast<U8_t>(fan), 30);
        EXPECT_THAT(takeTrace(), ElementsAre(text("Load PWM Esa[30] Percent to Fan [%d]", fan),
                                             "Unsupported ESA PWM Percentage = [30]."));
        chenbroW83782dFanLoadPwm(static_cast<U8_t>(fan), 50);
        EXPECT_THAT(takeTrace(), ElementsAre(text("Load PWM Esa[50] Percent to Fan [%d]", fan),
                                             text("Unsupported Fan Index = [%d].", fan)));
    }
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    EXPECT_TRUE(isShadowZero());
}

TEST_F(Chenbro, AlarmIsSetOnEveryBackplaneWhateverFails) {
    for (int i = 0; i < 4; ++i) {
        esaControl.winbond[i].configurationRegister = static_cast<U8_t>(1 + i);
    }
    chenbroSetAlarmState(ESA_E_ALARM_STATE_MUTE_S3);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 28 40 41", "W 2A 40 42", "W 2C 40 43", "W 30 40 44"));
    EXPECT_THAT(takeTrace(), SizeIs(4));
    for (unsigned i = 0; i < 4; ++i) {
        fakeBus.heal();
        fakeBus.failTransfer(i);
        chenbroSetAlarmState(ESA_E_ALARM_STATE_FAULT_S1);
        EXPECT_EQ(fakeBus.takeTransfers(), failedWithin({"W 28 40 01", "W 2A 40 02", "W 2C 40 03", "W 30 40 04"}, i));
        EXPECT_THAT(takeTrace(), Each("Set Backplane Alarm State to [FAULT_S1]."));
    }
}

TEST_F(Chenbro, OtherAlarmStatesTouchNoBackplane) {
    for (int state : {0, 2, 4, 5, 6, 7, 8}) {
        chenbroSetAlarmState(static_cast<EsaAlarmState_e>(state));
        const Lines trace = takeTrace();
        EXPECT_THAT(trace, SizeIs(4));
        if (state == 4) {
            EXPECT_THAT(trace, Each("No action on setting Backplane Alarm State to [CRITICAL_S4]."));
        }
    }
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    EXPECT_TRUE(isShadowZero());
}

TEST_F(Chenbro, DumpNamesThirtyOneRegistersOfEveryBackplane) {
    Lines transfers;
    Lines trace;
    for (int b = 0; b < 4; ++b) {
        for (int i = 0; i < 30; ++i) {
            fakeBus.set(CHIPS[b], 0x20 + i, 50 * b + i);
            transfers.push_back(text("R %02X %02X", CHIPS[b], 0x20 + i));
            trace.push_back(text("Chenbro Backplane [%d], ESA_K_W83782D_%s_REG = [%d]", b, NAMES[i], 50 * b + i));
        }
        fakeBus.set(CHIPS[b], 0x40, 0xA0 + b);
        transfers.push_back(text("R %02X 40", CHIPS[b]));
        trace.push_back(text("Chenbro Backplane [%d], configurationRegister = [%d]", b, 160 + b));
    }
    chenbroReadWinbondRegisters();
    EXPECT_EQ(fakeBus.takeTransfers(), transfers);
    EXPECT_EQ(takeTrace(), trace);
    for (int b = 0; b < 4; ++b) {
        EXPECT_EQ(esaControl.winbond[b].configurationRegister, 0xA0 + b);
        esaControl.winbond[b].configurationRegister = 0;
    }
    EXPECT_TRUE(isShadowZero()) << "the other registers are only traced";

    for (std::size_t i = 0; i < transfers.size(); ++i) {
        SCOPED_TRACE(transfers[i]);
        wireClear(esaControl.winbond);
        fakeBus.heal();
        fakeBus.failTransfer(static_cast<unsigned>(i));
        chenbroReadWinbondRegisters();
        EXPECT_EQ(fakeBus.takeTransfers(), failedAt(transfers, i));
        EXPECT_EQ(takeTrace(), Lines(trace.begin(), trace.begin() + static_cast<std::ptrdiff_t>(i)));
        for (std::size_t b = 0; b < 4; ++b) {
            EXPECT_EQ(esaControl.winbond[b].configurationRegister, i > 31 * b + 30 ? 0xA0 + b : 0);
        }
    }
}

TEST_F(Chenbro, RowSwitchesFansByPercentAndRefreshesFourSensors) {
    for (U8_t fan = 0; fan < 6; ++fan) {
        esaControlFan(fan, true);
        EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre(FANS[fan].write + std::string("FF")));
        EXPECT_EQ(esaControl.fanPwmLoad[fan], 100);
        EXPECT_EQ(esaControl.coolingElementOnOff[fan], 2);
        esaControlFan(fan, false);
        EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre(FANS[fan].write + std::string("00")));
        EXPECT_EQ(esaControl.fanPwmLoad[fan], 0);
        EXPECT_EQ(esaControl.coolingElementOnOff[fan], 1);
        chenbroChassis.policyLoadPwm(fan, 75);
        EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre(FANS[fan].write + std::string("C0")));
    }
    const int readings[] = {0x00, 0x7F, 0x80, 0xFF};
    for (int b = 0; b < 4; ++b) {
        fakeBus.set(CHIPS[b], 0x27, readings[b]);
    }
    esaControl.temperatureSensorMaxNumber = 1; // the four backplanes are read all the same
    esaReadTemperatures(true);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 28 27", "R 2A 27", "R 2C 27", "R 30 27"));
    EXPECT_EQ(esaControl.temperatureSensor[0], 0);
    EXPECT_EQ(esaControl.temperatureSensor[1], 127);
    EXPECT_EQ(esaControl.temperatureSensor[2], -128);
    EXPECT_EQ(esaControl.temperatureSensor[3], -1);
}

TEST_F(Chenbro, RowNamesTheChassisAndLacksWhatItDoesNotHave) {
    EXPECT_EQ(chenbroChassis.type, 4);
    EXPECT_STREQ(chenbroChassis.typeName, "VORAN_E_CHASSIS_CHENBRO_3U16ATX");
    EXPECT_STREQ(chenbroChassis.initDoneText, "Finish initializing for the Chenbro Enclosure.");
    EXPECT_STREQ(chenbroChassis.initFailedText, "Initializing for the Chenbro Enclosure fails.");
    EXPECT_EQ(chenbroChassis.w83782dAddress, 0);
    EXPECT_EQ(chenbroChassis.vsc055Address, 0);
    EXPECT_EQ(chenbroChassis.criticalAlarmState, 1U);
    EXPECT_EQ(chenbroChassis.policyFanCount, 0);
    EXPECT_EQ(chenbroChassis.tachometerDivisor, 0);
    EXPECT_EQ(chenbroChassis.silencePowerSupplyAlarm, noChassis.silencePowerSupplyAlarm);
    EXPECT_EQ(chenbroChassis.setDriveFaultLed, noChassis.setDriveFaultLed);
    EXPECT_EQ(chenbroChassis.clearDriveFaultLed, noChassis.clearDriveFaultLed);
    EXPECT_EQ(chenbroChassis.isDrivePresent, noChassis.isDrivePresent);
    EXPECT_FALSE(chenbroChassis.pageMarksFans);
    fakeBus.set(0x29, 0x28, 200);
    U16_t rpm = 0;
    EXPECT_EQ(chenbroChassis.fanReadSpeed(2, &rpm), 0);
    EXPECT_EQ(rpm, 3375);
    EXPECT_EQ(chenbroChassis.fanReadSpeed(6, &rpm), -1);
    chenbroChassis.setAlarm(ESA_E_ALARM_STATE_MUTE_S3);
    EXPECT_THAT(fakeBus.takeTransfers(),
                ElementsAre("R 29 28", "W 28 40 40", "W 2A 40 40", "W 2C 40 40", "W 30 40 40"));
}
