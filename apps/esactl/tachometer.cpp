#include "tachometer.h"

#include "ses_mesgs.h"

namespace {

struct Tachometer {
    unsigned drives;
    unsigned supplies;
    unsigned fans;
    unsigned sensors;
    unsigned leastRpm; /**< at the highest count, 254, rounded down to the record's steps of 10 */
};

constexpr std::array<Tachometer, 4> TACHOMETERS{{
    {12, 2, 8, 2, 4720}, // 1200000 / count
    {16, 3, 3, 3, 1180}, // 1200000 / (4 x count)
    {16, 2, 3, 3, 2360}, // two backplanes alike: 1200000 / (2 x count), or 1350000 / (2 x count), which is more
    {16, 3, 6, 4, 2650}, // 1350000 / (2 x count)
}};

constexpr unsigned RECORD_RANGE_RPM = 10240;

bool fits(const Tachometer& tachometer, const Configuration& configuration) {
    return configuration.count(SES_K_ELEMENT_TYPE_DEVICE) == tachometer.drives &&
           configuration.count(SES_K_ELEMENT_TYPE_POWER_SUPPLY) == tachometer.supplies &&
           configuration.count(SES_K_ELEMENT_TYPE_COOLING) == tachometer.fans &&
           configuration.count(SES_K_ELEMENT_TYPE_TEMPERATURE_SENSOR) == tachometer.sensors;
}

} // namespace

unsigned fanSpeedRpm(unsigned reported, const Configuration& configuration) {
    for (const Tachometer& tachometer : TACHOMETERS) {
        if (fits(tachometer, configuration)) {
            return reported > 0 && reported < tachometer.leastRpm ? reported + RECORD_RANGE_RPM : reported;
        }
    }
    return reported;
}
