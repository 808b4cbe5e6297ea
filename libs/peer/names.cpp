#include "names.h"

#include <cstdio>

#include "errors.h"

std::string slotName(unsigned slot) {
    char text[16];
    std::snprintf(text, sizeof text, "slot%02u", slot);
    return text;
}

std::string supplyName(unsigned index) {
    return "psu" + std::to_string(index);
}

std::string fanName(unsigned index) {
    return "fan" + std::to_string(index);
}

std::string sensorName(unsigned index) {
    return "temp" + std::to_string(index);
}

std::string alarmName(unsigned index) {
    return "alarm" + std::to_string(index);
}

unsigned parseElement(const std::string& prefix, const std::string& text, unsigned count) {
    const auto canonical = [&](unsigned index) {
        return prefix == "slot" ? slotName(index) : prefix + std::to_string(index);
    };
    if (count == 0) {
        throw usageError("this enclosure has no " + prefix + " at all");
    }
    const std::string range = canonical(0) + " to " + canonical(count - 1);
    const std::string digits = text.rfind(prefix, 0) == 0 ? text.substr(prefix.size()) : text;
    if (digits.empty() || digits.size() > 3 || digits.find_first_not_of("0123456789") != std::string::npos) {
        throw usageError("'" + text + "' names no " + prefix + "; this enclosure has " + range);
    }
    const unsigned index = static_cast<unsigned>(std::stoul(digits));
    if (index >= count) {
        throw usageError("there is no " + canonical(index) + "; this enclosure has " + range);
    }
    return index;
}
