#include "render_json.h"

#include <ctime>

#include "acceptance.h"
#include "hex.h"
#include "names.h"
#include "ses_mesgs.h"

namespace {

template <typename Elements, typename Describe>
Json_t list(const Elements& elements, Describe&& describe) {
    Json_t all = Json_t::array();
    unsigned index = 0;
    for (const auto& element : elements) {
        all.add(describe(index++, element));
    }
    return all;
}

Json_t driveJson(unsigned slot, const DriveSlot_t& drive) {
    const Condition_e condition = driveCondition(drive);
    return Json_t::object({{"name", slotName(slot)},
                           {"slot", slot},
                           {"state", conditionName(condition)},
                           {"status", elementStatusName(drive.code)},
                           {"present", drive.known ? Json_t(condition != CONDITION_E_ABSENT) : Json_t()},
                           {"fault_led", drive.faultRequested}});
}

Json_t supplyJson(unsigned index, const PowerSupply_t& supply) {
    return Json_t::object({{"name", supplyName(index)},
                           {"index", index},
                           {"state", conditionName(supplyCondition(supply))},
                           {"status", elementStatusName(supply.code)},
                           {"fail", supply.fail},
                           {"ac_fail", supply.acFail},
                           {"requested_on", supply.requestedOn},
                           {"requested_fail", supplyFailRequested(supply)}});
}

Json_t fanJson(unsigned index, const Fan_t& fan) {
    const Json_t running = fan.rpm ? Json_t(*fan.rpm != 0) : Json_t(nullptr);
    return Json_t::object({{"name", fanName(index)},
                           {"index", index},
                           {"state", conditionName(fanCondition(fan))},
                           {"rpm", fan.rpm},
                           {"minimum_rpm", SES_K_FAN_FAULT_RPM_LIMIT},
                           {"running", running},
                           {"fail", fan.fail},
                           {"requested_on", fan.requestedOn}});
}

Json_t sensorJson(unsigned index, const TemperatureSensor_t& sensor) {
    return Json_t::object({{"name", sensorName(index)},
                           {"index", index},
                           {"state", conditionName(sensorCondition(sensor))},
                           {"celsius", sensor.celsius},
                           {"limits", Json_t::object({{"low_failure", SES_K_UNDER_TEMPERATURE_FAILURE},
                                                      {"low_warning", SES_K_UNDER_TEMPERATURE_WARNING},
                                                      {"high_warning", SES_K_OVER_TEMPERATURE_WARNING},
                                                      {"high_failure", SES_K_OVER_TEMPERATURE_FAILURE}})}});
}

Json_t alarmJson(unsigned index, const Alarm_t& alarm) {
    const auto tone = [&](bool AlarmTones_t::*which) {
        return alarm.tones ? Json_t((*alarm.tones).*which) : Json_t(nullptr);
    };
    return Json_t::object({{"name", alarmName(index)},
                           {"index", index},
                           {"muted", tone(&AlarmTones_t::muted)},
                           {"requested", Json_t::object({{"mute", tone(&AlarmTones_t::requestedMute)},
                                                         {"remind", tone(&AlarmTones_t::remind)},
                                                         {"information", tone(&AlarmTones_t::info)},
                                                         {"noncritical", tone(&AlarmTones_t::nonCrit)},
                                                         {"critical", tone(&AlarmTones_t::crit)},
                                                         {"unrecoverable", tone(&AlarmTones_t::unrecov)}})}});
}

} // namespace

Json_t newDocument(const char* schema) {
    return Json_t::object({{"schema", schema}, {"version", JSON_K_VERSION}});
}

Json_t statusJson(const Enclosure_t& enclosure, const Health_t& health, const std::string& time) {
    Json_t document = newDocument("esactl.status");
    document.set("time", time);
    document.set("state", conditionName(health.overall));
    document.set("exit_status", health.exitStatus);
    document.set("problems", list(health.problems, [](unsigned, const Problem_t& problem) {
                     return Json_t::object({{"element", problem.element},
                                            {"elements", elementsOf(problem)},
                                            {"state", conditionName(problem.condition)},
                                            {"text", problem.text}});
                 }));
    document.set("accepted", list(health.accepted, [](unsigned, const Accepted_t& accepted) {
                     return Json_t::object({{"element", accepted.problem.element},
                                            {"elements", elementsOf(accepted.problem)},
                                            {"state", conditionName(accepted.problem.condition)},
                                            {"text", accepted.problem.text},
                                            {"until", accepted.until}});
                 }));
    document.set("chassis_name", enclosure.chassis == nullptr ? Json_t() : Json_t(enclosure.chassis->name));
    document.set("cause", enclosure.cause.empty() ? Json_t() : Json_t(enclosure.cause));
    const EnclosureStatus_t& status = enclosure.status;
    document.set("drives", list(status.drives, driveJson));
    document.set("power_supplies", list(status.supplies, supplyJson));
    document.set("fans", list(status.fans, fanJson));
    document.set("temperatures", list(status.sensors, sensorJson));
    document.set("alarms", list(status.alarms, alarmJson));
    return document;
}

Json_t configurationJson(const Configuration_t& configuration) {
    Json_t document = newDocument("esactl.config");
    document.set("generation", configuration.generation);
    document.set("sub_enclosures", configuration.subEnclosures);
    document.set("processes", configuration.processes);
    document.set("logical_id", hexText(configuration.logicalId));
    document.set("vendor", configuration.vendor);
    document.set("product", configuration.product);
    document.set("revision", configuration.revision);
    document.set("drives", configuration.count(SES_K_ELEMENT_TYPE_DEVICE));
    document.set("power_supplies", configuration.count(SES_K_ELEMENT_TYPE_POWER_SUPPLY));
    document.set("fans", configuration.count(SES_K_ELEMENT_TYPE_COOLING));
    document.set("temperatures", configuration.count(SES_K_ELEMENT_TYPE_TEMPERATURE_SENSOR));
    document.set("alarms", configuration.count(SES_K_ELEMENT_TYPE_AUDIBLE_ALARM));
    return document;
}

Json_t eventJson(const Event_t& event, unsigned repeats, const std::string& time) {
    Json_t document = newDocument(event.startup ? "esactl.startup" : "esactl.event");
    document.set("time", time);
    document.set("id", event.id);
    document.set("name", event.name);
    document.set("severity", event.severity);
    if (!event.startup) {
        document.set("chassis", event.chassis);
        document.set("chassis_name", event.chassisName);
    }
    document.set("elements", event.elements);
    Json_t data = Json_t::object();
    for (const auto& [name, value] : event.numbers) {
        data.set(name, value);
    }
    document.set("data", data);
    document.set("repeats_held_back", repeats);
    document.set("text", event.text);
    return document;
}

Json_t errorJson(const ToolError_t& error) {
    Json_t document = newDocument("esactl.error");
    document.set("error",
                 Json_t::object({{"code", error.code()}, {"exit_status", error.exitStatus()}, {"text", error.what()}}));
    return document;
}

Json_t commandJson(const std::string& command, const std::vector<std::string>& elements, const std::string& request,
                   const std::string& outlook) {
    Json_t document = newDocument("esactl.command");
    document.set("command", command);
    document.set("elements", elements);
    document.set("request", request);
    document.set("result", "accepted");
    document.set("outlook", outlook.empty() ? Json_t() : Json_t(outlook));
    return document;
}

std::string timeText() {
    return timeTextOf(std::time(nullptr));
}
