#include "series.h"

#include <algorithm>
#include <string_view>

#include "diagnosis.h"
#include "health.h"
#include "names.h"
#include "ses_mesgs.h"

std::vector<Series_t> seriesOf(const Configuration_t& configuration) {
    std::vector<Series_t> all;
    all.reserve(configuration.count(SES_K_ELEMENT_TYPE_TEMPERATURE_SENSOR) +
                std::size_t{2} * configuration.count(SES_K_ELEMENT_TYPE_COOLING) +
                configuration.count(SES_K_ELEMENT_TYPE_POWER_SUPPLY));
    for (unsigned i = 0; i < configuration.count(SES_K_ELEMENT_TYPE_TEMPERATURE_SENSOR); ++i) {
        all.push_back({sensorName(i), sensorName(i), "temperature", "celsius"});
    }
    for (unsigned i = 0; i < configuration.count(SES_K_ELEMENT_TYPE_COOLING); ++i) {
        all.push_back({fanName(i), fanName(i), "speed", "rpm"});
        all.push_back({fanName(i) + ".load", fanName(i), "load", "code"});
    }
    for (unsigned i = 0; i < configuration.count(SES_K_ELEMENT_TYPE_POWER_SUPPLY); ++i) {
        all.push_back({supplyName(i), supplyName(i), "health", "bool"});
    }
    return all;
}

std::vector<std::optional<double>> valuesOf(const Enclosure_t& enclosure) {
    const EnclosureStatus_t& status = enclosure.status;
    std::vector<std::optional<double>> values;
    values.reserve(status.sensors.size() + 2 * status.fans.size() + status.supplies.size());
    for (const TemperatureSensor_t& sensor : status.sensors) {
        values.push_back(sensor.celsius);
    }
    for (const Fan_t& fan : status.fans) {
        values.push_back(fan.rpm);
        values.push_back(fan.speedCode);
    }
    for (const PowerSupply_t& supply : status.supplies) {
        values.push_back(supplyCondition(supply) == CONDITION_E_OK ? 1 : 0);
    }
    if (isOutOfReach(enclosure)) {
        std::ranges::fill(values, std::nullopt);
    }
    return values;
}

Json_t limitsOf(const Series_t& series) {
    const std::string_view quantity = series.quantity;
    if (quantity == "temperature") {
        return Json_t::object({{"low_failure", SES_K_UNDER_TEMPERATURE_FAILURE},
                               {"low_warning", SES_K_UNDER_TEMPERATURE_WARNING},
                               {"high_warning", SES_K_OVER_TEMPERATURE_WARNING},
                               {"high_failure", SES_K_OVER_TEMPERATURE_FAILURE}});
    }
    if (quantity == "speed") {
        return Json_t::object({{"minimum", SES_K_FAN_FAULT_RPM_LIMIT}});
    }
    return Json_t::object();
}

std::optional<Series_t> seriesNamed(const std::string& name) {
    const std::size_t digits = name.find_first_of("0123456789");
    const std::size_t end = name.find_first_not_of("0123456789", digits);
    if (digits == std::string::npos || (end == std::string::npos ? name.size() : end) - digits > 3) {
        return std::nullopt;
    }
    const std::string kind = name.substr(0, digits);
    const std::string rest = end == std::string::npos ? "" : name.substr(end);
    const std::string element = name.substr(0, end);
    if (kind == "temp" && rest.empty()) {
        return Series_t{name, element, "temperature", "celsius"};
    }
    if (kind == "fan" && rest.empty()) {
        return Series_t{name, element, "speed", "rpm"};
    }
    if (kind == "fan" && rest == ".load") {
        return Series_t{name, element, "load", "code"};
    }
    if (kind == "psu" && rest.empty()) {
        return Series_t{name, element, "health", "bool"};
    }
    return std::nullopt;
}
