#include "chips/lm75.h"

#include "esa_fixture.h"

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
