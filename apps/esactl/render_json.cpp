#include "render_json.h"

#include <ctime>

#include "names.h"
#include "ses_mesgs.h"

namespace {

template <typename T>
Json orNull(const std::optional<T>& value) {
    return value ? Json(*value) : Json(nullptr);
}

template <typename Elements, typename Describe>
Json list(const Elements& elements, Describe&& describe) {
    Json all = Json::array();
    unsigned index = 0;
    for (const auto& element : elements) {
        all.push_back(describe(index++, element));
    }
    return all;
}

Json driveJson(unsigned slot, const DriveSlot& drive) {
    const Condition_e condition = driveCondition(drive);
    return {{"name", slotName(slot)},
            {"slot", slot},
            {"state", conditionName(condition)},
            {"status", elementStatusName(drive.code)},
            {"present", condition != CONDITION_E_ABSENT},
            {"fault_led", drive.faultRequested}};
}

Json supplyJson(unsigned index, const PowerSupply& supply) {
    return {{"name", supplyName(index)},
            {"index", index},
            {"state", conditionName(supplyCondition(supply))},
            {"status", elementStatusName(supply.code)},
            {"fail", supply.fail},
            {"ac_fail", supply.acFail},
            {"requested_on", supply.requestedOn},
            {"requested_fail", supplyFailRequested(supply)}};
}

Json fanJson(unsigned index, const Fan& fan) {
    const Json running = fan.rpm ? Json(*fan.rpm != 0) : Json(nullptr);
    return {{"name", fanName(index)},
            {"index", index},
            {"state", conditionName(fanCondition(fan))},
            {"rpm", orNull(fan.rpm)},
            {"minimum_rpm", HEALTH_K_FAN_MINIMUM_RPM},
            {"running", running},
            {"fail", fan.fail},
            {"requested_on", fan.requestedOn}};
}

Json sensorJson(unsigned index, const TemperatureSensor& sensor) {
    return {{"name", sensorName(index)},
            {"index", index},
            {"state", conditionName(sensorCondition(sensor))},
            {"celsius", orNull(sensor.celsius)},
            {"limits",
             {{"low_failure", HEALTH_K_LOW_FAILURE_CELSIUS},
              {"low_warning", HEALTH_K_LOW_WARNING_CELSIUS},
              {"high_warning", HEALTH_K_HIGH_WARNING_CELSIUS},
              {"high_failure", HEALTH_K_HIGH_FAILURE_CELSIUS}}}};
}

Json alarmJson(unsigned index, const Alarm& alarm) {
    const auto tone = [&](bool AlarmTones::*which) {
        return alarm.tones ? Json((*alarm.tones).*which) : Json(nullptr);
    };
    return {{"name", alarmName(index)},
            {"index", index},
            {"muted", tone(&AlarmTones::muted)},
            {"requested",
             {{"mute", tone(&AlarmTones::requestedMute)},
              {"remind", tone(&AlarmTones::remind)},
              {"information", tone(&AlarmTones::info)},
              {"noncritical", tone(&AlarmTones::nonCrit)},
              {"critical", tone(&AlarmTones::crit)},
              {"unrecoverable", tone(&AlarmTones::unrecov)}}}};
}

std::string hexText(std::span<const U8_t> bytes) {
    constexpr char DIGITS[] = "0123456789abcdef";
    std::string text;
    for (U8_t byte : bytes) {
        text += DIGITS[byte >> 4];
        text += DIGITS[byte & 0xF];
    }
    return text;
}

} // namespace

Json newDocument(const char* schema) {
    return {{"schema", schema}, {"version", JSON_K_VERSION}};
}

Json statusJson(const Enclosure& enclosure, const Health& health, const std::string& time) {
    Json document = newDocument("esactl.status");
    document["time"] = time;
    document["state"] = conditionName(health.overall);
    document["exit_status"] = health.exitStatus;
    document["problems"] = list(health.problems, [](unsigned, const Problem& problem) -> Json {
        return {{"element", problem.element}, {"state", conditionName(problem.condition)}, {"text", problem.text}};
    });
    const EnclosureStatus& status = enclosure.status;
    document["drives"] = list(status.drives, driveJson);
    document["power_supplies"] = list(status.supplies, supplyJson);
    document["fans"] = list(status.fans, fanJson);
    document["temperatures"] = list(status.sensors, sensorJson);
    document["alarms"] = list(status.alarms, alarmJson);
    return document;
}

Json configurationJson(const Configuration& configuration) {
    Json document = newDocument("esactl.config");
    document["generation"] = configuration.generation;
    document["sub_enclosures"] = configuration.subEnclosures;
    document["processes"] = configuration.processes;
    document["logical_id"] = hexText(configuration.logicalId);
    document["vendor"] = configuration.vendor;
    document["product"] = configuration.product;
    document["revision"] = configuration.revision;
    document["drives"] = configuration.count(SES_K_ELEMENT_TYPE_DEVICE);
    document["power_supplies"] = configuration.count(SES_K_ELEMENT_TYPE_POWER_SUPPLY);
    document["fans"] = configuration.count(SES_K_ELEMENT_TYPE_COOLING);
    document["temperatures"] = configuration.count(SES_K_ELEMENT_TYPE_TEMPERATURE_SENSOR);
    document["alarms"] = configuration.count(SES_K_ELEMENT_TYPE_AUDIBLE_ALARM);
    return document;
}

Json eventJson(const Event& event, unsigned repeats, const std::string& time) {
    Json document = newDocument(event.startup ? "esactl.startup" : "esactl.event");
    document["time"] = time;
    document["id"] = event.id;
    document["name"] = event.name;
    document["severity"] = event.severity;
    if (!event.startup) {
        document["chassis"] = event.chassis;
        document["chassis_name"] = event.chassisName;
    }
    document["elements"] = event.elements;
    Json data = Json::object();
    for (const auto& [name, value] : event.numbers) {
        data[name] = value;
    }
    document["data"] = data;
    document["repeats_held_back"] = repeats;
    document["text"] = event.text;
    return document;
}

Json errorJson(const ToolError& error) {
    Json document = newDocument("esactl.error");
    document["error"] = {{"code", error.code()}, {"exit_status", error.exitStatus()}, {"text", error.what()}};
    return document;
}

Json commandJson(const std::string& command, const std::vector<std::string>& elements, const std::string& request) {
    Json document = newDocument("esactl.command");
    document["command"] = command;
    document["elements"] = elements;
    document["request"] = request;
    document["result"] = "accepted";
    return document;
}

std::string jsonText(const Json& document, int indent) {
    // Texts that came from the command line may hold anything.
    return document.dump(indent, ' ', false, Json::error_handler_t::replace);
}

std::string timeText() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    char text[32];
    gmtime_r(&now, &parts);
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}
