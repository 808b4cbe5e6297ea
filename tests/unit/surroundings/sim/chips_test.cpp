/** The chip models: bytes on one face, physical units on the other. All numbers are the data sheets' and the boards'.
 */
#include <gtest/gtest.h>

#include "chips/lm75.h"
#include "chips/vsc055.h"
#include "chips/w83782d.h"
#include "hex.h"

namespace {

std::string read(Device_t& device, unsigned reg) {
    return readHex(device, 1, reg);
}

bool write(Device_t& device, unsigned reg, const std::string& data) {
    return device.write(static_cast<std::uint8_t>(reg), unhex(data));
}

/* VSC055 */

TEST(Vsc055, PowerOnValuesOfExactlyTheRegistersOfTheMap) {
    Vsc055_t chip;
    std::string existing;
    for (unsigned reg = 0; reg < 256; ++reg) {
        const std::string value = read(chip, reg);
        if (value != "nack") {
            existing += oneByte(reg) + "=" + value + " ";
        }
    }
    EXPECT_EQ(existing,
              "00=ff 01=ff 02=ff 03=ff 04=ff 05=ff 06=ff 07=ff 10=ff 11=ff 12=ff 13=ff 14=ff 15=ff 16=ff 17=ff "
              "30=00 32=ff 34=00 36=ff 38=00 3a=ff 3c=00 3e=ff 40=00 42=ff 44=00 46=ff 48=00 4a=ff 4c=00 4e=ff "
              "98=3f 99=3f 9a=3f 9b=3f 9c=3f 9d=3f 9e=3f 9f=3f ");
}

TEST(Vsc055, TakesOneByteATimeOnlyAndNoneForATachometer) {
    Vsc055_t chip;
    EXPECT_FALSE(write(chip, 0x06, "00 00"));
    EXPECT_FALSE(write(chip, 0x06, ""));
    EXPECT_EQ(read(chip, 0x06), "ff");
    EXPECT_EQ(readHex(chip, 2, 0x06), "nack");
    EXPECT_FALSE(write(chip, 0x32, "10"));
}

TEST(Vsc055, PortReadsBoardOnInputsAndDataOnOutputs) {
    Vsc055_t chip;
    ASSERT_TRUE(write(chip, 0x14, "a7")); // 1 = input
    ASSERT_TRUE(write(chip, 0x04, "50"));
    chip.setInputs(4, 0x80);
    EXPECT_EQ(read(chip, 0x04), "d0");
    chip.setInputs(4, 0x27);
    EXPECT_EQ(read(chip, 0x04), "77");
    EXPECT_EQ(read(chip, 0x14), "a7");
}

TEST(Vsc055, DrivesOnlyOutputs) {
    Vsc055_t chip;
    ASSERT_TRUE(write(chip, 0x06, "fe"));
    EXPECT_FALSE(chip.drivesLow(6, 0x01));
    EXPECT_FALSE(chip.drivesHigh(6, 0x02));
    ASSERT_TRUE(write(chip, 0x16, "00"));
    EXPECT_TRUE(chip.drivesLow(6, 0x01));
    EXPECT_TRUE(chip.drivesHigh(6, 0x02));
    EXPECT_EQ(chip.pins(6), 0xFE);
}

TEST(Vsc055, PwmCodesGiveDutyCycles) {
    Vsc055_t chip;
    const struct {
        const char* code;
        double duty;
    } rows[] = {{"00", 0.0}, {"1f", 0.0}, {"20", 0.03125}, {"27", 0.25}, {"2f", 0.5}, {"37", 0.75}, {"3f", 1.0}};
    for (const auto& row : rows) {
        ASSERT_TRUE(write(chip, 0x9A, row.code));
        EXPECT_DOUBLE_EQ(chip.duty(2), row.duty) << row.code;
    }
    EXPECT_DOUBLE_EQ(chip.duty(1), 1.0);
}

TEST(Vsc055, TachometerCountFollowsSpeedAndDivisor) {
    const struct {
        const char* configuration;
        double rpm;
        const char* count;
    } rows[] = {
        {"80", 6000, "c8"}, {"81", 6000, "64"}, {"82", 6000, "32"}, {"81", 3000, "c8"},
        {"82", 2000, "96"}, {"82", 1987, "97"}, {"81", 2362, "fe"}, {"81", 2000, "ff"},
        {"81", 0, "ff"},    {"80", 5e6, "01"},  {"01", 6000, "ff"}, // not enabled
    };
    for (const auto& row : rows) {
        Vsc055_t chip;
        chip.setRpm(3, row.rpm);
        ASSERT_TRUE(write(chip, 0x3C, row.configuration));
        EXPECT_EQ(read(chip, 0x3E), row.count) << row.configuration << " " << row.rpm;
        EXPECT_EQ(read(chip, 0x32), "ff");
    }
}

/* LM75 */

TEST(Lm75, PowerOnValues) {
    Lm75_t chip;
    EXPECT_EQ(readHex(chip, 2, 0), "19 00");
    EXPECT_EQ(readHex(chip, 1, 1), "00");
    EXPECT_EQ(readHex(chip, 2, 2), "4b 00");
    EXPECT_EQ(readHex(chip, 2, 3), "50 00");
}

TEST(Lm75, TemperatureInHalfDegreesAsTwosComplement) {
    const struct {
        double celsius;
        const char* both;
    } rows[] = {{0, "00 00"},    {0.5, "00 80"},  {25.5, "19 80"},  {-0.5, "ff 80"}, {-24.5, "e7 80"},
                {-25, "e7 00"},  {125, "7d 00"},  {200, "7d 00"},   {-55, "c9 00"},  {-90, "c9 00"},
                {30.2, "1e 00"}, {30.3, "1e 80"}, {-24.49, "e7 80"}};
    for (const auto& row : rows) {
        Lm75_t chip;
        chip.setCelsius(row.celsius);
        EXPECT_EQ(readHex(chip, 2, 0), row.both) << row.celsius;
    }
}

TEST(Lm75, OneByteReadsGiveLeastThenMostSignificantByTurnsAndBeginAgainAfterOtherTraffic) {
    Lm75_t chip;
    chip.setCelsius(-24.5);
    for (const char* const byte : {"80", "e7", "80", "e7", "80"}) {
        EXPECT_EQ(read(chip, 0), byte);
    }
    chip.otherTraffic();
    EXPECT_EQ(read(chip, 0), "80");
    EXPECT_EQ(read(chip, 0), "e7");
}

TEST(Lm75, RefusesOtherLengthsAndRegistersAndWritesToTheTemperature) {
    Lm75_t chip;
    EXPECT_EQ(readHex(chip, 3, 0), "nack");
    EXPECT_EQ(readHex(chip, 2, 1), "nack");
    EXPECT_EQ(readHex(chip, 1, 4), "nack");
    EXPECT_EQ(readHex(chip, 1, 255), "nack");
    EXPECT_FALSE(write(chip, 0, "10 00"));
    EXPECT_FALSE(write(chip, 2, "10"));
}

TEST(Lm75, LimitsKeepNineBits) {
    Lm75_t chip;
    EXPECT_TRUE(write(chip, 2, "3c ff"));
    EXPECT_TRUE(write(chip, 3, "46 00"));
    EXPECT_TRUE(write(chip, 1, "01"));
    EXPECT_EQ(readHex(chip, 2, 2), "3c 80");
    EXPECT_EQ(readHex(chip, 2, 3), "46 00");
    EXPECT_EQ(readHex(chip, 1, 1), "01");
}

/* W83782D */

TEST(W83782d, PowerOnValues) {
    W83782d_t chip(0x2C);
    const struct {
        unsigned reg;
        const char* value;
    } rows[] = {{0x2B, "00"}, {0x3D, "00"}, {0x40, "01"}, {0x48, "2c"}, {0x4D, "15"}, {0x4E, "80"}, {0x58, "30"},
                {0x5A, "ff"}, {0x5B, "ff"}, {0x5E, "ff"}, {0x5F, "ff"}, {0x28, "ff"}, {0x27, "19"}};
    for (const auto& row : rows) {
        EXPECT_EQ(read(chip, row.reg), row.value) << row.reg;
    }
}

TEST(W83782d, ReadsItsRailsThroughTheDividers) {
    W83782d_t chip(0x28);
    chip.setVolts({1.5, 1.6, 3.3, 5.0, 12.0, -12.0, -5.0});
    const char* const expected[] = {"5e", "64", "ce", "ba", "c5", "23", "36"};
    for (unsigned i = 0; i < 7; ++i) {
        EXPECT_EQ(read(chip, 0x20 + i), expected[i]) << i;
    }
    chip.setVolts({5.0, -1.0, 3.3, 4.489, 10.76, 0.0, 0.0});
    EXPECT_EQ(read(chip, 0x20), "ff"); // out of the converter's range
    EXPECT_EQ(read(chip, 0x21), "00");
    EXPECT_EQ(read(chip, 0x23), "a7"); // 167: the highest count below 4.5 V
    EXPECT_EQ(read(chip, 0x24), "b1"); // 177: the highest count below 10.8 V
    EXPECT_EQ(read(chip, 0x25), "b5");
    EXPECT_EQ(read(chip, 0x26), "99");
}

TEST(W83782d, TemperatureInWholeDegreesAsTwosComplement) {
    W83782d_t chip(0x28);
    const struct {
        double celsius;
        const char* value;
    } rows[] = {{-10, "f6"}, {0, "00"}, {36.4, "24"}, {127, "7f"}, {300, "7f"}, {-128, "80"}, {-1, "ff"}};
    for (const auto& row : rows) {
        chip.setCelsius(row.celsius);
        EXPECT_EQ(read(chip, 0x27), row.value) << row.celsius;
    }
}

TEST(W83782d, FanCountFollowsSpeed) {
    W83782d_t chip(0x28);
    const struct {
        double rpm;
        const char* count;
    } rows[] = {{6750, "64"}, {675000, "01"}, {1e7, "01"}, {2657, "fe"}, {2000, "ff"}, {0, "ff"}, {4612, "92"}};
    for (const auto& row : rows) {
        chip.setRpm(1, row.rpm);
        EXPECT_EQ(read(chip, 0x29), row.count) << row.rpm;
    }
    EXPECT_EQ(read(chip, 0x28), "ff");
    EXPECT_EQ(read(chip, 0x2A), "ff");
}

TEST(W83782d, PwmRegistersAreDutyBytes) {
    W83782d_t chip(0x28);
    EXPECT_TRUE(write(chip, 0x5E, "00"));
    EXPECT_TRUE(write(chip, 0x5A, "33"));
    EXPECT_DOUBLE_EQ(chip.duty(0x5E), 0.0);
    EXPECT_DOUBLE_EQ(chip.duty(0x5A), 0.2);
    EXPECT_DOUBLE_EQ(chip.duty(0x5B), 1.0);
}

TEST(W83782d, BeepsWhileEnabledAndNotTurnedOff) {
    W83782d_t chip(0x28);
    EXPECT_FALSE(chip.beeping());
    EXPECT_TRUE(write(chip, 0x4D, "95"));
    EXPECT_TRUE(chip.beeping());
    EXPECT_TRUE(write(chip, 0x40, "40"));
    EXPECT_FALSE(chip.beeping());
    EXPECT_TRUE(write(chip, 0x40, "00"));
    EXPECT_TRUE(chip.beeping());
}

TEST(W83782d, LimitsAreWritableByteByByteAndMeasurementsAndUnknownRegistersAreNot) {
    W83782d_t chip(0x28);
    for (unsigned reg = 0x2B; reg <= 0x3D; ++reg) {
        EXPECT_TRUE(write(chip, reg, "7f")) << reg;
        EXPECT_EQ(read(chip, reg), "7f") << reg;
    }
    EXPECT_FALSE(write(chip, 0x2B, "01 02"));
    EXPECT_EQ(read(chip, 0x2B), "7f");
    for (unsigned reg = 0x20; reg <= 0x2A; ++reg) {
        EXPECT_FALSE(write(chip, reg, "7f")) << reg;
    }
    EXPECT_FALSE(write(chip, 0x58, "00"));
    for (const unsigned reg : {0x00u, 0x1Fu, 0x3Eu, 0x3Fu, 0x60u, 0xFFu}) {
        EXPECT_EQ(read(chip, reg), "nack") << reg;
        EXPECT_FALSE(write(chip, reg, "00")) << reg;
    }
    EXPECT_EQ(readHex(chip, 2, 0x20), "nack");
}

/* Pins */

TEST(Pin, ReadsFindThePinnedValueAndWritesStillReachTheChip) {
    Vsc055_t chip;
    EXPECT_TRUE(chip.pin(0x32, 0x00));
    EXPECT_TRUE(chip.pin(0x9A, 0x12));
    EXPECT_EQ(read(chip, 0x32), "00");
    EXPECT_TRUE(write(chip, 0x9A, "2f"));
    EXPECT_EQ(read(chip, 0x9A), "12");
    EXPECT_DOUBLE_EQ(chip.duty(2), 0.5);
    chip.unpin(0x9A);
    EXPECT_EQ(read(chip, 0x9A), "2f");
}

TEST(Pin, RefusesUnknownRegistersAndValuesTooLarge) {
    Lm75_t lm75;
    Vsc055_t vsc055;
    EXPECT_FALSE(vsc055.pin(0x08, 0));
    EXPECT_FALSE(vsc055.pin(0x00, 0x100));
    EXPECT_FALSE(lm75.pin(0x00, 0x10000));
    EXPECT_FALSE(lm75.pin(0x01, 0x100));
}

} // namespace
