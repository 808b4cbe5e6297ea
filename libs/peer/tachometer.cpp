#include "tachometer.h"

#include <algorithm>

#include "chassis_list.h"
#include "ses_mesgs.h"

namespace {

constexpr unsigned RECORD_RANGE_RPM = 10240;

bool fits(const ChassisFacts_t& chassis, const Configuration_t& configuration) {
    return configuration.count(SES_K_ELEMENT_TYPE_DEVICE) == chassis.drives &&
           configuration.count(SES_K_ELEMENT_TYPE_POWER_SUPPLY) == chassis.supplies &&
           configuration.count(SES_K_ELEMENT_TYPE_COOLING) == chassis.fans &&
           configuration.count(SES_K_ELEMENT_TYPE_TEMPERATURE_SENSOR) == chassis.sensors;
}

/** RPM below which no fan of such an enclosure turns; of two chassis that are alike, the lesser. 0 when unknown. */
unsigned leastRpm(const Configuration_t& configuration) {
    unsigned least = 0;
    for (const ChassisFacts_t& chassis : CHASSIS_LIST) {
        if (fits(chassis, configuration)) {
            least = least == 0 ? chassis.leastRpm : std::min(least, chassis.leastRpm);
        }
    }
    return least;
}

} // namespace

unsigned fanSpeedRpm(unsigned reported, const Configuration_t& configuration) {
    return reported > 0 && reported < leastRpm(configuration) ? reported + RECORD_RANGE_RPM : reported;
}
