#include "diagnosis.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <memory>

#include "enclosure_bus.h"
#include "ses_mesgs.h"

namespace {

/** Elements that the adapter lists before it has reached an enclosure: those of no real one. */
constexpr unsigned UNREACHED[] = {16, 3, 8, 4};

using Counts_t = std::array<unsigned, 4>;

Counts_t countsOf(const Configuration_t& configuration) {
    return {configuration.count(SES_K_ELEMENT_TYPE_DEVICE), configuration.count(SES_K_ELEMENT_TYPE_POWER_SUPPLY),
            configuration.count(SES_K_ELEMENT_TYPE_COOLING),
            configuration.count(SES_K_ELEMENT_TYPE_TEMPERATURE_SENSOR)};
}

bool hasElementsOf(const ChassisFacts_t& chassis, const Configuration_t& configuration) {
    return Counts_t{chassis.drives, chassis.supplies, chassis.fans, chassis.sensors} == countsOf(configuration);
}

/** Whether tachometers of this rate can report the speed, which comes in steps of 10. */
bool canReport(unsigned rate, unsigned rpm) {
    for (unsigned count = 1; count < 255; ++count) {
        if (rate / count / 10 * 10 == rpm) {
            return true;
        }
    }
    return false;
}

/**
 * Two chassis have the same elements. The one that never reads its second and third sensor has tachometers of another
 * rate as well: only where both tell for it, and against the other, is it taken for that one.
 */
bool looksLike(const ChassisFacts_t& chassis, const ChassisFacts_t& other, const EnclosureStatus_t& status) {
    for (std::size_t i = 0; i < status.sensors.size(); ++i) {
        if (status.sensors[i].celsius.has_value() != (i + chassis.sensorsUnread < status.sensors.size())) {
            return false;
        }
    }
    bool differs = false;
    for (std::size_t i = 0; i < status.sensors.size(); ++i) {
        // A reading that the other one never has settles it.
        differs = differs || (status.sensors[i].celsius && i + other.sensorsUnread >= status.sensors.size());
    }
    for (const Fan_t& fan : status.fans) {
        if (fan.rpm.value_or(0) != 0) {
            if (!canReport(chassis.tachometerRate, *fan.rpm)) {
                return false;
            }
            differs = differs || !canReport(other.tachometerRate, *fan.rpm);
        }
    }
    return differs;
}

const ChassisFacts_t* recognise(const Enclosure_t& enclosure, const AdapterFacts_t& facts) {
    if (facts.chassis != nullptr && (facts.isChosen || hasElementsOf(*facts.chassis, enclosure.configuration))) {
        return facts.chassis;
    }
    std::vector<const ChassisFacts_t*> alike;
    for (const ChassisFacts_t& chassis : CHASSIS_LIST) {
        if (hasElementsOf(chassis, enclosure.configuration)) {
            alike.push_back(&chassis);
        }
    }
    if (alike.size() == 1) {
        return alike[0];
    }
    const bool two = alike.size() == 2;
    return two && looksLike(*alike[1], *alike[0], enclosure.status)   ? alike[1]
           : two && looksLike(*alike[0], *alike[1], enclosure.status) ? alike[0]
                                                                      : nullptr;
}

bool hasNoReading(const EnclosureStatus_t& status) {
    const auto silent = [](const Fan_t& fan) { return !fan.rpm; };
    const auto unread = [](const TemperatureSensor_t& sensor) { return !sensor.celsius; };
    return !status.fans.empty() && std::ranges::all_of(status.fans, silent) && !status.sensors.empty() &&
           std::ranges::all_of(status.sensors, unread);
}

/** An adapter without an enclosure reports what its memory held at start: 0 degrees everywhere. */
bool isUntouched(const EnclosureStatus_t& status) {
    return std::ranges::all_of(status.sensors, [](const TemperatureSensor_t& sensor) { return sensor.celsius == 0; });
}

void setUnreachedCause(Enclosure_t& enclosure, const AdapterFacts_t& facts) {
    const bool isNone = facts.chassis != nullptr && facts.chassis->type == VORAN_E_CHASSIS_NONE;
    const bool isNamed = facts.chassis != nullptr && !isNone;
    const std::string name = isNamed ? std::string(facts.chassis->name) + " " : "";
    if (!isUntouched(enclosure.status)) {
        enclosure.cause = "no answer on the I2C bus when the adapter started: no chip of the " + name +
                          "enclosure was found; check cable and chassis type, then restart it";
    } else if (!name.empty()) {
        enclosure.cause = std::string("the adapter has no enclosure: ") + BUS_K_DEVICE +
                          " could not be opened for the " + name + "enclosure when it started";
    } else {
        enclosure.cause = "the adapter has no enclosure: chassis type None";
        enclosure.cause += isNone ? "" : std::string(", or ") + BUS_K_DEVICE + " could not be opened when it started";
        enclosure.causeIsMeant = true;
    }
}

template <typename Elements>
void forget(Elements& elements) {
    for (auto& element : elements) {
        element.known = false;
        element.code = SES_E_ELEMENT_STATUS_CODE_UNKNOWN;
    }
}

void forgetAll(EnclosureStatus_t& status) {
    forget(status.drives);
    forget(status.supplies);
    forget(status.fans);
    forget(status.sensors);
    for (Fan_t& fan : status.fans) {
        fan.rpm.reset();
    }
    for (TemperatureSensor_t& sensor : status.sensors) {
        sensor.celsius.reset();
    }
}

} // namespace

AdapterFacts_t readAdapterFacts(const std::string& directory) {
    AdapterFacts_t facts;
    std::ifstream file(directory + "/adapter");
    for (std::string line; std::getline(file, line);) {
        const std::size_t equals = line.find('=');
        const std::string value = equals == std::string::npos ? "" : line.substr(equals + 1);
        if (line.starts_with("chassis=")) {
            facts.chassis = findChassis(value);
        } else if (line.starts_with("version=")) {
            facts.version = value;
        }
    }
    return facts;
}

bool isUnreached(const Configuration_t& configuration) {
    return std::ranges::equal(countsOf(configuration), UNREACHED);
}

bool isOutOfReach(const Enclosure_t& enclosure) {
    return isUnreached(enclosure.configuration) || hasNoReading(enclosure.status);
}

void diagnose(Enclosure_t& enclosure, const AdapterFacts_t& facts) {
    EnclosureStatus_t& status = enclosure.status;
    if (isUnreached(enclosure.configuration)) {
        setUnreachedCause(enclosure, facts);
    } else {
        enclosure.chassis = recognise(enclosure, facts);
        if (hasNoReading(status)) {
            const std::string since = facts.lastTransfer == nullptr ? "" : facts.lastTransfer();
            enclosure.cause = "no answer on the I2C bus" + (since.empty() ? "" : " since " + since) +
                              ": no fan and no sensor has a reading";
        }
    }
    const std::size_t all = status.sensors.size();
    const std::size_t unread = enclosure.chassis == nullptr ? 0 : enclosure.chassis->sensorsUnread;
    for (std::size_t i = all - std::min(all, unread); i < all; ++i) {
        status.sensors[i].fitted = status.sensors[i].celsius.has_value();
    }
    if (!enclosure.cause.empty()) {
        forgetAll(status);
    }
}

std::string lastTransferTime() {
    // The adapter's own service tells; whoever runs it otherwise has nobody to ask.
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> answer(
        popen("systemctl show --property StatusText --value esa.service 2>/dev/null", "re"), pclose);
    char text[512] = "";
    if (answer == nullptr || std::fgets(text, sizeof text, answer.get()) == nullptr) {
        return "";
    }
    constexpr std::string_view BEFORE = "last transfer ";
    const std::string line(text);
    const std::size_t at = line.find(BEFORE);
    constexpr std::size_t TIME_LENGTH = 20;
    return at == std::string::npos ? "" : line.substr(at + BEFORE.size(), TIME_LENGTH);
}
