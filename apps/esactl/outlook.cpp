#include "outlook.h"

#include "ses_mesgs.h"

const ChassisFacts_t& rawFanChassis() {
    for (const ChassisFacts_t& chassis : CHASSIS_LIST) {
        if (chassis.fanOnIsRaw) {
            return chassis;
        }
    }
    return CHASSIS_LIST.front();
}

bool mayBeRawFan(const Enclosure_t& enclosure) {
    if (enclosure.chassis != nullptr) {
        return enclosure.chassis->fanOnIsRaw;
    }
    const ChassisFacts_t& raw = rawFanChassis();
    const Configuration_t& configuration = enclosure.configuration;
    return configuration.count(SES_K_ELEMENT_TYPE_DEVICE) == raw.drives &&
           configuration.count(SES_K_ELEMENT_TYPE_POWER_SUPPLY) == raw.supplies &&
           configuration.count(SES_K_ELEMENT_TYPE_COOLING) == raw.fans &&
           configuration.count(SES_K_ELEMENT_TYPE_TEMPERATURE_SENSOR) == raw.sensors;
}

std::string fanOutlook(const Enclosure_t& enclosure, const std::string& fan, bool on) {
    if (enclosure.chassis == nullptr) {
        return "";
    }
    if (on && enclosure.chassis->fanOnIsRaw) {
        return "39 percent (100 of 255) until the next poll, in 11 s at most; then it has the speed that the policy "
               "gives it";
    }
    if (enclosure.chassis->hasFourSteps) {
        return on ? "full speed until the next poll, in 11 s at most; then the policy takes it down again, a step a "
                    "poll, "
                    "while the average is at or under 34 C"
                  : "off until the next poll, in 11 s at most: a fan that stands counts as failed, and then every fan "
                    "is "
                    "driven fully";
    }
    return on ? "full speed until the next poll, in 11 s at most; then the policy takes it down again, a step a poll, "
                "while the average is at or under 54 C"
              : "off until 'esactl fan " + fan +
                    " on': the policy of this chassis never touches it again, however hot it gets, and the composite "
                    "fault stays on";
}

std::string supplyOutlook(const Enclosure_t& enclosure, bool fail) {
    if (!fail || enclosure.chassis == nullptr) {
        return "";
    }
    const bool hasLed = enclosure.chassis->watchesVoltage && enclosure.chassis->watchesRedundancy;
    return std::string(hasLed ? "the supplies' OK LED stays dark until 'esactl psu psu0 ok'"
                              : "the composite fault that it raises is taken back by the next poll, in 11 s at most, "
                                "while the supplies are good") +
           "; nothing moves if no 'psu ok' has gone before since the adapter's start";
}
