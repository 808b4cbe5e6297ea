/** LM75: digital temperature sensor with half-degree steps. */
#include "chips/lm75.h"

#include "core/i2c.h"

namespace {

constexpr U8_t ESA_K_LM75_TEMPERATURE_REG = 0x00;

constexpr U16_t WHOLE_DEGREES_MASK = 0x1FE;
constexpr U16_t SIGN_BIT = 0x100;
constexpr double DEGREES_PER_COUNT = 0.5;
constexpr double NEGATIVE_RANGE = 256.0;

/** Degrees from the two bytes of the register: a 9-bit two's-complement count of half degrees. */
constexpr S16_t toDegC(U8_t halfDegree, U8_t wholeDegrees) {
    const int count = ((wholeDegrees * 2) & WHOLE_DEGREES_MASK) | (halfDegree >> 7);
    const double degrees = count * DEGREES_PER_COUNT;
    return static_cast<S16_t>((count & SIGN_BIT) == 0 ? degrees : degrees - NEGATIVE_RANGE);
}
static_assert(toDegC(0x00, 0x00) == 0);
static_assert(toDegC(0x80, 0x19) == 25);  // 25.5
static_assert(toDegC(0x80, 0xFF) == 0);   // -0.5
static_assert(toDegC(0x80, 0xE7) == -24); // -24.5
static_assert(toDegC(0x00, 0x80) == -128);
static_assert(toDegC(0x80, 0x7F) == 127);

} // namespace

S16_t lm75ReadTemperature(U8_t i2cAddr) {
    // The sensors on these backplanes hand out one byte a read: first the half degree, then the whole degrees.
    U8_t halfDegree = 0;
    U8_t wholeDegrees = 0;
    if (esaReadI2CData(i2cAddr, ESA_K_LM75_TEMPERATURE_REG, &halfDegree, 1) != ESA_E_OK ||
        esaReadI2CData(i2cAddr, ESA_K_LM75_TEMPERATURE_REG, &wholeDegrees, 1) != ESA_E_OK) {
        return ESA_K_TEMPERATURE_NO_READING;
    }
    return toDegC(halfDegree, wholeDegrees);
}
