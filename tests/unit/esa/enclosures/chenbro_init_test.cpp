/** Initialisation of the Chenbro enclosure: every transfer in order, and each of them failing. */
#include "driver_test.h"
#include "enclosures/chenbro.h"

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const int CHIPS[] = {0x28, 0x2A, 0x2C, 0x30};

const Lines FANS = {"W 28 5B 80", "W 28 5A 80", "W 29 5B 80", "W 2A 5B 80", "W 2B 5B 80", "W 2B 5A 80"};
const char* const LIMITS_AND_LATER = "FF 01 FF 01 FF 01 FF 01 FF 01 FF 01 FF 01 3C 7F";

// Where the parts of the sequence begin.
constexpr std::size_t DUMP = 4;
constexpr std::size_t LIMITS = DUMP + 4 * 31;
constexpr std::size_t FAN_LOADS = LIMITS + 4 * 14;
constexpr std::size_t TEMPERATURE = FAN_LOADS + 6;
constexpr std::size_t ALARM = TEMPERATURE + 4 * 4;
constexpr std::size_t END = ALARM + 4;

/** One transfer on every chip; the configurations read 11, 22, 33 and 44, which are written back muted. */
Lines makeTransfers() {
    Lines all = {"R 28 48", "R 2A 48", "R 2C 48", "R 30 48"};
    for (int chip : CHIPS) {
        for (int reg = 0x20; reg <= 0x3D; ++reg) {
            all.push_back(text("R %02X %02X", chip, reg));
        }
        all.push_back(text("R %02X 40", chip));
    }
    for (int chip : CHIPS) {
        for (int reg = 0x2B; reg <= 0x38; ++reg) {
            all.push_back(text("W %02X %02X %s", chip, reg, reg % 2 == 1 ? "FF" : "01"));
        }
    }
    all.insert(all.end(), FANS.begin(), FANS.end());
    for (int chip : CHIPS) {
        all.push_back(text("W %02X 39 3C", chip));
        all.push_back(text("W %02X 3A 7F", chip));
        all.push_back(text("R %02X 4D", chip));
        all.push_back(text("W %02X 4D 95", chip));
    }
    return join({all, {"W 28 40 51", "W 2A 40 62", "W 2C 40 73", "W 30 40 44"}});
}

const Lines TRANSFERS = makeTransfers();

class ChenbroInit : public DriverTest {
protected:
    void start() {
        startCold(4);
        for (int i = 0; i < 4; ++i) {
            fakeBus.set(CHIPS[i], 0x48, 0x58 + i);
            fakeBus.set(CHIPS[i], 0x40, 0x11 * (i + 1));
            fakeBus.set(CHIPS[i], 0x4D, 0x15);
        }
    }
    static std::string shadow(std::size_t backplane) { return hex(&esaControl.winbond[backplane], 23); }
    static void expectFansLoaded() {
        EXPECT_EQ(hex(esaControl.fanPwmLoad, 8), "32 32 32 32 32 32 00 00");
        EXPECT_EQ(hex(esaControl.coolingElementOnOff, 8), "02 02 02 02 02 02 00 00");
    }
    static void expectDone() {
        EXPECT_EQ(dimensions(), "05 10 03 06 04 01");
        EXPECT_EQ(esaControl.i2cConnected, 1);
        EXPECT_EQ(esaControl.fanFaultRpmLimit, 2000U);
        EXPECT_EQ(esaControl.powerSupplyStatus, 0x1U);
        EXPECT_EQ(esaControl.alarmState, 3U);
        EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
        expectFansLoaded();
    }
};

} // namespace

TEST_F(ChenbroInit, TransfersInOrderAndTheStateTheyLeave) {
    start();
    EXPECT_EQ(chenbroInit(), 0);
    EXPECT_EQ(fakeBus.takeTransfers(), TRANSFERS);
    expectDone();
    EXPECT_EQ(shadow(0), LIMITS_AND_LATER + std::string(" 51 58 95 80 80 00 00"));
    EXPECT_EQ(shadow(1), LIMITS_AND_LATER + std::string(" 62 59 95 00 80 00 00"));
    EXPECT_EQ(shadow(2), LIMITS_AND_LATER + std::string(" 73 5A 95 00 80 00 00"));
    EXPECT_EQ(shadow(3), LIMITS_AND_LATER + std::string(" 44 5B 95 80 80 00 00"));
    EXPECT_THAT(takeReports(), IsEmpty());
    EXPECT_THAT(fakeSleeps, IsEmpty());
}

TEST_F(ChenbroInit, TracesEveryStepInOrder) {
    start();
    (void)chenbroInit();
    const Lines trace = takeTrace();
    Lines expected(4, "Read I2C succeeds. I2C cable is connected");
    EXPECT_EQ(Lines(trace.begin(), trace.begin() + 4), expected);
    // The dump of 4 x 31 lines has a test of its own.
    const Lines limits = {
        "Set Vcorea High Limit = [255]", "Set Vcorea Low Limit = [1]",     "Set Vinr0 High Limit = [255]",
        "Set Vinr0 Low Limit = [1]",     "Set +3.3Vin High Limit = [255]", "Set +3.3Vin Low Limit = [1]",
        "+5Vin High Limit = [255]",      "Set +5Vin Low Limit = [1]",      "Set +12Vin High Limit = [255]",
        "Set +12Vin Low Limit = [1]",    "Set -12Vin High Limit = [255]",  "Set -12Vin Low Limit = [1]",
        "Set -5Vin High Limit = [255]",  "Set -5Vin Low Limit = [1]"};
    expected = join({limits, limits, limits, limits});
    const int outputs[] = {0, 1, 0, 0, 0, 1};
    for (int fan = 0; fan < 6; ++fan) {
        expected.push_back(text("Load PWM Esa[50] Percent to Fan [%d]", fan));
        expected.push_back(text("Load PWM Winbond[128] Percent to Fan [%d]", outputs[fan]));
    }
    expected.insert(expected.end(), 4, "Set Backplane Alarm State to [MUTE_S3].");
    expected.push_back("Finish the Chenbro initialization.");
    ASSERT_EQ(trace.size(), 4 + 124 + expected.size());
    EXPECT_EQ(trace[4], "Chenbro Backplane [0], ESA_K_W83782D_VCOREA_READING_REG = [0]");
    EXPECT_EQ(trace[127], "Chenbro Backplane [3], configurationRegister = [68]");
    EXPECT_EQ(Lines(trace.begin() + 128, trace.end()), expected);
}

TEST_F(ChenbroInit, AbsentBackplaneIsReportedAndNothingElseIsDone) {
    const char* const texts[] = {
        "Read I2C address [0x28] fails. I2C cable is not connected or wrong enclosure type on Backplane[0].",
        "Read I2C address [0x2a] fails. I2C cable is not connected or wrong enclosure type on Backplane[1].",
        "Read I2C address [0x2c] fails. I2C cable is not connected or wrong enclosure type on Backplane[2].",
        "Read I2C address [0x30] fails. I2C cable is not connected or wrong enclosure type on Backplane[3].",
    };
    for (std::size_t b = 0; b < 4; ++b) {
        SCOPED_TRACE(b);
        start();
        fakeBus.failDevice(CHIPS[b]);
        EXPECT_EQ(chenbroInit(), 1);
        EXPECT_EQ(fakeBus.takeTransfers(), failedAt(TRANSFERS, b));
        const Lines trace = takeTrace();
        EXPECT_EQ(Lines(trace.begin(), trace.begin() + static_cast<std::ptrdiff_t>(b)),
                  Lines(b, "Read I2C succeeds. I2C cable is connected"));
        EXPECT_EQ(trace[b], texts[b]);
        EXPECT_THAT(takeReports(), ElementsAre("event 10/2 chassis 4 info 2", "led-on", "email"));
        EXPECT_EQ(esaControl.compositeFaultStatus, 0x80000010U);
        EXPECT_EQ(esaControl.i2cConnected, b == 0 ? 0 : 1) << "a backplane that answered keeps the bus usable";
        EXPECT_EQ(dimensions(), "05 10 03 08 04 01");
        EXPECT_EQ(esaControl.fanFaultRpmLimit, 0U);
        EXPECT_EQ(esaControl.alarmState, 0U);
    }
}

TEST_F(ChenbroInit, FailedDumpIsSilentAndTheRestGoesOn) {
    const int muted[] = {0x51, 0x62, 0x73, 0x44};
    for (std::size_t i = DUMP; i < LIMITS; ++i) {
        SCOPED_TRACE(TRANSFERS[i]);
        start();
        fakeBus.failTransfer(static_cast<unsigned>(i));
        EXPECT_EQ(chenbroInit(), 0);
        Lines expected = join({failedAt(TRANSFERS, i), Lines(TRANSFERS.begin() + LIMITS, TRANSFERS.begin() + ALARM)});
        // A configuration that was not loaded is muted from zero.
        for (std::size_t b = 0; b < 4; ++b) {
            expected.push_back(text("W %02X 40 %02X", CHIPS[b], i > DUMP + 31 * b + 30 ? muted[b] : 0x40));
        }
        EXPECT_EQ(fakeBus.takeTransfers(), expected);
        EXPECT_THAT(takeReports(), IsEmpty());
        expectDone();
    }
}

TEST_F(ChenbroInit, FailedVoltageLimitEndsItWithoutATrace) {
    for (std::size_t i = LIMITS; i < FAN_LOADS; ++i) {
        SCOPED_TRACE(TRANSFERS[i]);
        start();
        fakeBus.failTransfer(static_cast<unsigned>(i));
        EXPECT_EQ(chenbroInit(), -1);
        EXPECT_EQ(fakeBus.takeTransfers(), failedAt(TRANSFERS, i));
        EXPECT_EQ(takeTrace().size(), i) << "a line for every transfer before";
        EXPECT_THAT(takeReports(), IsEmpty());
        EXPECT_EQ(esaControl.i2cConnected, 1);
        EXPECT_EQ(dimensions(), "05 10 03 06 04 01");
        EXPECT_EQ(esaControl.fanFaultRpmLimit, 2000U);
        EXPECT_EQ(esaControl.powerSupplyStatus, 0U);
        EXPECT_EQ(esaControl.alarmState, 0U);
        EXPECT_THAT(Bytes(esaControl.fanPwmLoad, esaControl.fanPwmLoad + 8), Each(0));
        const std::size_t written = i - LIMITS + 1; // the failed one stays in its shadow too
        EXPECT_EQ(hex(&esaControl.winbond[(written - 1) / 14], (written - 1) % 14 + 1),
                  std::string(LIMITS_AND_LATER).substr(0, 3 * ((written - 1) % 14 + 1) - 1));
    }
}

TEST_F(ChenbroInit, FailedFanLoadsAndAlarmsAreNotNoticed) {
    for (std::size_t i = FAN_LOADS; i < END; ++i) {
        if (i >= TEMPERATURE && i < ALARM) {
            continue;
        }
        SCOPED_TRACE(TRANSFERS[i]);
        start();
        fakeBus.failTransfer(static_cast<unsigned>(i));
        EXPECT_EQ(chenbroInit(), 0);
        EXPECT_EQ(fakeBus.takeTransfers(), failedWithin(TRANSFERS, i));
        EXPECT_THAT(takeReports(), IsEmpty());
        expectDone();
        EXPECT_EQ(shadow(3), LIMITS_AND_LATER + std::string(" 44 5B 95 80 80 00 00"));
    }
}

TEST_F(ChenbroInit, FailedTemperatureLimitOrBeepEndsItWithItsTextAndBackplane) {
    const char* const texts[] = {
        "Setting temperatureSensor1HighLimitRegister on Backplane [%d] failed",
        "Setting temperatureSensor1HysteresisRegister on Backplane [%d] failed",
        "Reading fanInOutBeepGpoRegister on Backplane [%d] failed",
        "Setting fanInOutBeepGpoRegister on Backplane [%d] failed",
    };
    for (std::size_t i = TEMPERATURE; i < ALARM; ++i) {
        SCOPED_TRACE(TRANSFERS[i]);
        start();
        fakeBus.failTransfer(static_cast<unsigned>(i));
        EXPECT_EQ(chenbroInit(), -1);
        EXPECT_EQ(fakeBus.takeTransfers(), failedAt(TRANSFERS, i));
        EXPECT_EQ(takeTrace().back(), text(texts[(i - TEMPERATURE) % 4], static_cast<int>(i - TEMPERATURE) / 4));
        EXPECT_THAT(takeReports(), IsEmpty());
        EXPECT_EQ(esaControl.powerSupplyStatus, 0x1U);
        EXPECT_EQ(esaControl.alarmState, 0U);
        expectFansLoaded();
        const char* const beeps[] = {"00", "00", "00", "95"};
        const U8_t& beep = esaControl.winbond[(i - TEMPERATURE) / 4].fanInOutBeepGpoRegister;
        EXPECT_EQ(hex(&beep, 1), beeps[(i - TEMPERATURE) % 4]);
    }
}

TEST_F(ChenbroInit, OtherBitsOfTheSupplyStatusAndOfTheBeepRegisterAreKept) {
    start();
    esaControl.powerSupplyStatus = 0x6;
    for (int i = 0; i < 4; ++i) {
        fakeBus.set(CHIPS[i], 0x4D, 0x7E + i);
    }
    EXPECT_EQ(chenbroInit(), 0);
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x7U);
    const Lines made = fakeBus.takeTransfers();
    for (const char* beep : {"W 28 4D FE", "W 2A 4D FF", "W 2C 4D 80", "W 30 4D 81"}) {
        EXPECT_THAT(made, Contains(beep));
    }
}
