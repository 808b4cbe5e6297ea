/** The remembered state as text. */
#include "adapter.h"

#include <type_traits>

namespace model {

namespace {

using Lines_t = std::vector<std::string>;

/** "%x" of a field's own width: -1 in 16 bits is ffff. */
template <typename Number>
std::string hex(Number value) {
    std::string digits;
    auto rest = static_cast<std::uint32_t>(static_cast<std::make_unsigned_t<Number>>(value));
    do {
        digits.insert(digits.begin(), "0123456789abcdef"[rest & 0xF]);
    } while ((rest >>= 4) != 0);
    return digits;
}

void append(std::string& line, std::span<const std::uint8_t> bytes) {
    for (const std::uint8_t byte : bytes) {
        line += ' ';
        line += "0123456789abcdef"[byte >> 4];
        line += "0123456789abcdef"[byte & 0xF];
    }
}

template <typename Number>
void number(Lines_t& lines, const char* name, Number value) {
    lines.push_back(std::string(name) + " = " + hex(value));
}

template <typename Number, std::size_t N>
void numbers(Lines_t& lines, const char* name, const std::array<Number, N>& values) {
    std::string line = std::string(name) + " =";
    for (const Number value : values) {
        line += ' ' + hex(value);
    }
    lines.push_back(line);
}

void bytes(Lines_t& lines, const std::string& name, std::span<const std::uint8_t> values) {
    std::string line = name + " =";
    line.reserve(line.size() + 3 * values.size());
    append(line, values);
    lines.push_back(line);
}

/** Without the zeros at its end, of which a buffer has mostly many. */
std::span<const std::uint8_t> filled(std::span<const std::uint8_t> buffer) {
    while (!buffer.empty() && buffer.back() == 0) {
        buffer = buffer.first(buffer.size() - 1);
    }
    return buffer;
}

template <std::size_t N>
void elements(Lines_t& lines, const char* name, const std::array<Element_t, N>& records) {
    std::string line = std::string(name) + " =";
    for (const Element_t& record : records) {
        append(line, record);
    }
    lines.push_back(line);
}

} // namespace

std::vector<std::string> describe(const State_t& s) {
    Lines_t lines;
    number(lines, "socketFdMSM", s.socketFdMSM);
    lines.push_back("socketPath = " + s.socketPath);
    number(lines, "i2cFileFd", s.i2cFileFd);
    number(lines, "enclosureType", s.enclosureType);
    number(lines, "i2cAddressVsc055", s.i2cAddressVsc055);
    bytes(lines, "i2cAddressLM75", s.i2cAddressLM75);
    number(lines, "i2cAddressW83782d", s.i2cAddressW83782d);
    number(lines, "elementTypeMaxNumber", s.elementTypeMaxNumber);
    number(lines, "deviceMaxNumber", s.deviceMaxNumber);
    number(lines, "powerSupplyMaxNumber", s.powerSupplyMaxNumber);
    number(lines, "coolingMaxNumber", s.coolingMaxNumber);
    number(lines, "temperatureSensorMaxNumber", s.temperatureSensorMaxNumber);
    number(lines, "audibleAlarmMaxNumber", s.audibleAlarmMaxNumber);
    number(lines, "i2cConnected", s.i2cConnected);
    number(lines, "pageCodeInRecentSndDiagCmd", s.pageCodeInRecentSndDiagCmd);
    bytes(lines, "sesTypeDescriptorList", s.sesTypeDescriptorList);
    number(lines, "deviceElementControlOverall", s.deviceElementControlOverall);
    elements(lines, "deviceElementControl", s.deviceElementControl);
    number(lines, "deviceElementStatusOverall", s.deviceElementStatusOverall);
    elements(lines, "deviceElementStatus", s.deviceElementStatus);
    number(lines, "driveFaultLedStatus0", s.driveFaultLedStatus0);
    number(lines, "driveFaultLedStatus1", s.driveFaultLedStatus1);
    number(lines, "powerSupplyElementControlOverall", s.powerSupplyElementControlOverall);
    elements(lines, "powerSupplyElementControl", s.powerSupplyElementControl);
    number(lines, "powerSupplyElementStatusOverall", s.powerSupplyElementStatusOverall);
    elements(lines, "powerSupplyElementStatus", s.powerSupplyElementStatus);
    number(lines, "powerSupplyStatus", s.powerSupplyStatus);
    number(lines, "coolingElementControlOverall", s.coolingElementControlOverall);
    elements(lines, "coolingElementControl", s.coolingElementControl);
    number(lines, "coolingElementStatusOverall", s.coolingElementStatusOverall);
    elements(lines, "coolingElementStatus", s.coolingElementStatus);
    bytes(lines, "coolingElementOnOff", s.coolingElementOnOff);
    number(lines, "fanFaultStatus", s.fanFaultStatus);
    number(lines, "fanFaultRpmLimit", s.fanFaultRpmLimit);
    bytes(lines, "fanPwmLoad", s.fanPwmLoad);
    number(lines, "temperatureSensorElementControlOverall", s.temperatureSensorElementControlOverall);
    elements(lines, "temperatureSensorElementControl", s.temperatureSensorElementControl);
    number(lines, "temperatureSensorElementStatusOverall", s.temperatureSensorElementStatusOverall);
    elements(lines, "temperatureSensorElementStatus", s.temperatureSensorElementStatus);
    numbers(lines, "temperatureSensor", s.temperatureSensor);
    numbers(lines, "temperatureReportStatus", s.temperatureReportStatus);
    number(lines, "temperatureSensorAverage", s.temperatureSensorAverage);
    number(lines, "audibleAlarmElementControlOverall", s.audibleAlarmElementControlOverall);
    elements(lines, "audibleAlarmElementControl", s.audibleAlarmElementControl);
    number(lines, "audibleAlarmElementStatusOverall", s.audibleAlarmElementStatusOverall);
    elements(lines, "audibleAlarmElementStatus", s.audibleAlarmElementStatus);
    number(lines, "alarmState", s.alarmState);
    number(lines, "compositeFaultStatus", s.compositeFaultStatus);
    number(lines, "esaDebug", s.esaDebug);
    bytes(lines, "esaInMsg", filled(s.esaInMsg));
    bytes(lines, "vsc055GPD", s.vsc055GPD);
    bytes(lines, "vsc055DDP", s.vsc055DDP);
    bytes(lines, "vsc055FSC", s.vsc055FSC);
    bytes(lines, "vsc055PWMC", s.vsc055PWMC);
    for (std::size_t i = 0; i < s.winbond.size(); ++i) {
        bytes(lines, "winbond[" + std::to_string(i) + "]", s.winbond[i]);
    }
    number(lines, "selectTimeoutSec", s.selectTimeoutSec);
    number(lines, "selectTimeoutUsec", s.selectTimeoutUsec);
    number(lines, "pollTimeoutSec", s.pollTimeoutSec);
    number(lines, "pollTimeoutUsec", s.pollTimeoutUsec);
    return lines;
}

} // namespace model
