#include "standard_pages.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "health.h"
#include "ses_mesgs.h"

namespace {

using Page_t = std::vector<U8_t>;
using Record_t = std::array<U8_t, 4>;

enum Code_e : U8_t { OK = 1, CRITICAL = 2, NONCRITICAL = 3, NOT_INSTALLED = 5, UNKNOWN = 6 };

/* Bits of the standard's records, by byte. */
constexpr U8_t PAGE_CRIT = 0x02;
constexpr U8_t PAGE_NONCRIT = 0x04;
constexpr U8_t SLOT_FAULT_SENSED = 0x40;
constexpr U8_t SLOT_FAULT_REQUESTED = 0x20;
constexpr U8_t FAIL = 0x40; /* supply and fan, byte 3 */
constexpr U8_t REQUESTED_ON = 0x20;
constexpr U8_t OFF = 0x10;
constexpr U8_t SUPPLY_AC_FAIL = 0x02;
constexpr U8_t SUPPLY_DC_FAIL = 0x01;
constexpr unsigned LAST_SPEED = 0x7FF;
constexpr std::array<U8_t, 4> TEMPERATURE_FLAGS{0x08, 0x04, 0x02,
                                                0x01}; /* over failure, warning, under failure, warning */

/** How bad a code is, to tell the worst of a list. */
int gravity(U8_t code) {
    constexpr std::array<int, 8> GRAVITY{0, 1, 5, 4, 6, 0, 3, 2};
    return GRAVITY[code & 7U];
}

U8_t bit(bool isSet, U8_t mask) {
    return isSet ? mask : U8_t{0};
}

void put16(Page_t& page, std::size_t at, std::size_t value) {
    page[at] = static_cast<U8_t>(value >> 8);
    page[at + 1] = static_cast<U8_t>(value);
}

void append32(Page_t& page, U32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        page.push_back(static_cast<U8_t>(value >> shift));
    }
}

void appendText(Page_t& page, std::string_view text, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        page.push_back(static_cast<U8_t>(i < text.size() ? text[i] : ' '));
    }
}

std::string_view titleOf(U8_t type) {
    switch (type) {
    case SES_K_ELEMENT_TYPE_DEVICE:
        return "Drive slots";
    case SES_K_ELEMENT_TYPE_POWER_SUPPLY:
        return "Power supplies";
    case SES_K_ELEMENT_TYPE_COOLING:
        return "Fans";
    case SES_K_ELEMENT_TYPE_TEMPERATURE_SENSOR:
        return "Temperatures";
    case SES_K_ELEMENT_TYPE_AUDIBLE_ALARM:
        return "Alarm";
    default:
        return "";
    }
}

U8_t codeOf(Condition_e condition) {
    return condition == CONDITION_E_FAULT
               ? CRITICAL
               : (condition == CONDITION_E_WARNING ? NONCRITICAL
                                                   : (condition == CONDITION_E_ABSENT ? NOT_INSTALLED : OK));
}

Record_t recordOf(const DriveSlot_t& drive, unsigned slot) {
    return {
        codeOf(driveCondition(drive)), static_cast<U8_t>(slot), 0,
        static_cast<U8_t>(bit(drive.faultSensed, SLOT_FAULT_SENSED) | bit(drive.faultRequested, SLOT_FAULT_REQUESTED))};
}

Record_t recordOf(const PowerSupply_t& supply, unsigned /*index*/) {
    return {codeOf(supplyCondition(supply)), 0, 0,
            static_cast<U8_t>(bit(supply.fail, FAIL) | bit(supply.requestedOn, REQUESTED_ON) | bit(supply.off, OFF) |
                              bit(supply.acFail, SUPPLY_AC_FAIL) | bit(supply.dcFail, SUPPLY_DC_FAIL))};
}

Record_t recordOf(const Fan_t& fan, unsigned /*index*/) {
    const Condition_e condition = fanCondition(fan);
    const unsigned speed = std::min(fan.rpm.value_or(0) / 10, LAST_SPEED);
    // Speed code 7 is "highest" there; without a speed, the code of a fan that stands still.
    const auto code = static_cast<U8_t>(fan.rpm.value_or(0) == 0 ? 0 : fan.speedCode & 7U);
    return {codeOf(condition), static_cast<U8_t>(speed >> 8), static_cast<U8_t>(speed),
            static_cast<U8_t>(bit(condition == CONDITION_E_FAULT, FAIL) | bit(fan.requestedOn, REQUESTED_ON) |
                              bit(fan.off, OFF) | code)};
}

Record_t recordOf(const TemperatureSensor_t& sensor, unsigned /*index*/) {
    if (!sensor.celsius) {
        return {UNKNOWN, 0, 0, 0};
    }
    const int celsius = std::clamp(*sensor.celsius + SES_K_TEMPERATURE_OFFSET, 1, 255);
    const std::array flags{sensor.overFailure, sensor.overWarning, sensor.underFailure, sensor.underWarning};
    U8_t bits = 0;
    for (std::size_t i = 0; i < flags.size(); ++i) {
        bits = static_cast<U8_t>(bits | bit(flags[i], TEMPERATURE_FLAGS[i]));
    }
    return {codeOf(sensorCondition(sensor)), 0, static_cast<U8_t>(celsius), bits};
}

Record_t recordOf(const Alarm_t& alarm, unsigned /*index*/) {
    if (!alarm.tones) {
        return {UNKNOWN, 0, 0, 0};
    }
    const AlarmTones_t& tones = *alarm.tones;
    return {OK, 0, 0,
            static_cast<U8_t>(bit(tones.requestedMute, 0x80) | bit(tones.muted, 0x40) | bit(tones.remind, 0x10) |
                              bit(tones.info, 0x08) | bit(tones.nonCrit, 0x04) | bit(tones.crit, 0x02) |
                              bit(tones.unrecov, 0x01))};
}

/** A list: the worst of its elements as the overall record, then the elements. */
template <typename Elements>
void appendList(Page_t& page, const Elements& elements) {
    const std::size_t overall = page.size();
    append32(page, 0);
    unsigned index = 0;
    for (const auto& element : elements) {
        const Record_t record = recordOf(element, index++);
        page.insert(page.end(), record.begin(), record.end());
        if (gravity(record[0]) > gravity(page[overall])) {
            page[overall] = record[0];
        }
    }
    if (!elements.empty() && page[overall] == 0) {
        page[overall] = OK; // slots that are all empty: nothing is wrong with them
    }
}

} // namespace

std::vector<U8_t> standardConfigurationPage(const Configuration_t& configuration) {
    constexpr U8_t ONE_PROCESS_OF_ONE = 0x11;
    constexpr U8_t DESCRIPTOR_REST = 36;
    Page_t page{SES_K_CONFIGURATION_DIAGNOSTIC_PAGE, 0, 0, 0};
    append32(page, configuration.generation);
    page.insert(page.end(), {ONE_PROCESS_OF_ONE, 0, static_cast<U8_t>(configuration.groups.size()), DESCRIPTOR_REST});
    page.insert(page.end(), configuration.logicalId.begin(), configuration.logicalId.end());
    appendText(page, configuration.vendor, 8);
    appendText(page, configuration.product, 16);
    appendText(page, configuration.revision, 4);
    for (const ElementGroup_t& group : configuration.groups) {
        page.insert(page.end(), {group.type, group.count, 0, static_cast<U8_t>(titleOf(group.type).size())});
    }
    for (const ElementGroup_t& group : configuration.groups) {
        appendText(page, titleOf(group.type), titleOf(group.type).size());
    }
    put16(page, 2, page.size() - 4);
    return page;
}

std::vector<U8_t> standardStatusPage(const Enclosure_t& enclosure) {
    const EnclosureStatus_t& status = enclosure.status;
    const Condition_e overall = assessHealth(status).overall;
    Page_t page{SES_K_ENCLOSURE_STATUS_DIAGNOSTIC_PAGE,
                static_cast<U8_t>(bit(overall == CONDITION_E_FAULT, PAGE_CRIT) |
                                  bit(overall == CONDITION_E_WARNING, PAGE_NONCRIT)),
                0, 0};
    append32(page, status.generation);
    for (const ElementGroup_t& group : enclosure.configuration.groups) {
        switch (group.type) {
        case SES_K_ELEMENT_TYPE_DEVICE:
            appendList(page, status.drives);
            break;
        case SES_K_ELEMENT_TYPE_POWER_SUPPLY:
            appendList(page, status.supplies);
            break;
        case SES_K_ELEMENT_TYPE_COOLING:
            appendList(page, status.fans);
            break;
        case SES_K_ELEMENT_TYPE_TEMPERATURE_SENSOR:
            appendList(page, status.sensors);
            break;
        case SES_K_ELEMENT_TYPE_AUDIBLE_ALARM:
            appendList(page, status.alarms);
            break;
        default:
            page.insert(page.end(), std::size_t{4} * (1U + group.count), 0);
        }
    }
    put16(page, 2, page.size() - 4);
    return page;
}
