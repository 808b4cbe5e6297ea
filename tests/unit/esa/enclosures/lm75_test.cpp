#include "chips/lm75.h"

#include <gmock/gmock.h>

#include "esa_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Lm75 : public EsaTest {
protected:
    Lm75() { esaControl.i2cConnected = 1; }

    static S16_t read(int first, int second) {
        fakeBus.queue(0x4C, 0x00, {first, second});
        return lm75ReadTemperature(0x4C);
    }

    /** The same by whole degrees and a half, in integers, without the driver's 9-bit count. */
    static int expected(int first, int second) {
        const int halves = (second < 128 ? second : second - 256) * 2 + (first >= 128 ? 1 : 0);
        return halves / 2;
    }
};

} // namespace

TEST_F(Lm75, TwoSingleReadsOfTheTemperatureRegister) {
    (void)read(0x00, 0x19);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 4C 00", "R 4C 00"));
    (void)lm75ReadTemperature(0x4A);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 4A 00", "R 4A 00"));
}

TEST_F(Lm75, FirstByteIsTheHalfDegreeAndTheSecondTheWholeOnes) {
    struct {
        int first;
        int second;
        S16_t degC;
    } const examples[] = {
        {0x00, 0x00, 0},    {0x80, 0x00, 0},    {0x00, 0x01, 1},   {0x00, 0x19, 25},  {0x80, 0x19, 25},
        {0x7F, 0x19, 25},   {0x00, 0x7F, 127},  {0x80, 0x7F, 127}, {0x80, 0xFF, 0},   {0x00, 0xFF, -1},
        {0x80, 0xFE, -1},   {0x00, 0xFE, -2},   {0x80, 0xE7, -24}, {0x00, 0xE7, -25}, {0x00, 0xC9, -55},
        {0x00, 0x80, -128}, {0x80, 0x80, -127}, {0xFF, 0x24, 36},
    };
    for (const auto& example : examples) {
        EXPECT_EQ(read(example.first, example.second), example.degC) << example.first << " " << example.second;
    }
}

TEST_F(Lm75, EveryPairOfBytesTruncatesTowardZero) {
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second) {
            if (read(first, second) != expected(first, second)) {
                FAIL() << first << " " << second << " does not give " << expected(first, second);
            }
        }
        (void)fakeBus.takeTransfers();
    }
}

TEST_F(Lm75, EitherReadThatFailsIsNoReading) {
    fakeBus.set(0x4C, 0x00, 0x19);
    fakeBus.failTransfer(0);
    EXPECT_EQ(lm75ReadTemperature(0x4C), 32767);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 4C 00 !"));
    fakeBus.failTransfer(1);
    EXPECT_EQ(lm75ReadTemperature(0x4C), 32767);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 4C 00", "R 4C 00 !"));
    EXPECT_EQ(lm75ReadTemperature(0x4C), 25);
}

TEST_F(Lm75, UnusableBusIsNoReading) {
    esaControl.i2cConnected = 0;
    EXPECT_EQ(lm75ReadTemperature(0x4C), 32767);
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
}
