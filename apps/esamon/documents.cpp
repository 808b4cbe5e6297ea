#include "documents.h"

#include <algorithm>
#include <cmath>

#include "errors.h"
#include "render_json.h"

namespace {

Json_t monitorJson(const Present_t& present, const MonitorOptions_t& options) {
    const Millis_t age = std::max<Millis_t>(0, millisNow() - present.answered);
    return Json_t::object({{"answering", present.isAnswering.value_or(false)},
                           {"switch", present.hasSwitch},
                           {"age_seconds", present.answered == 0 ? 0.0 : static_cast<double>(age) / 1000},
                           {"poll_seconds", options.pollSeconds},
                           {"error", present.error.empty() ? Json_t() : Json_t(present.error)}});
}

} // namespace

std::string presentStatusText(const Present_t& present, const MonitorOptions_t& options) {
    Json_t document = statusJson(*present.enclosure, judged(*present.enclosure, options), millisText(present.answered));
    document.set("monitor", monitorJson(present, options));
    return document.text(-1);
}

std::string snapshotText(const Snapshot_t& snapshot, const Present_t& present, const MonitorOptions_t& options) {
    const Enclosure_t enclosure = diagnosed(snapshot.enclosure, present, options);
    return statusJson(enclosure, assessHealth(enclosure), millisText(snapshot.time)).text(-1);
}

std::string configText(const Present_t& present, const MonitorOptions_t& options) {
    Json_t document = configurationJson(present.enclosure->configuration);
    document.set("chassis_name", present.chassis.empty() ? Json_t() : Json_t(present.chassis));
    Json_t actions = Json_t::array();
    if (!options.tokenFile.empty()) {
        for (const char* action : {"leds", "alarm", "fans"}) {
            actions.add(action);
        }
    }
    document.set("actions", actions);
    document.set("simulator", !options.simulator.empty());
    return document.text(-1);
}

std::string aliveText(const Present_t& present, const MonitorOptions_t& options) {
    Json_t document = newDocument("esamon.alive");
    document.set("time", millisText(millisNow()));
    document.set("monitor", monitorJson(present, options));
    return document.text(-1);
}

std::string entryText(const Entry_t& entry) {
    return entry.document.substr(0, entry.document.size() - 1) + ",\"sequence\":" + std::to_string(entry.sequence) +
           ",\"count\":" + std::to_string(entry.count) + ",\"last_time\":\"" + millisText(entry.lastTime) + "\"}";
}

std::string entriesText(const std::vector<Entry_t>& entries, bool more) {
    std::string text =
        R"({"schema":"esamon.events","version":1,"time":")" + millisText(millisNow()) + R"(","events":[)";
    for (const Entry_t& entry : entries) {
        text += (text.back() == '[' ? "" : ",") + entryText(entry);
    }
    return text + "],\"more\":" + (more ? "true}" : "false}");
}

std::string errorText(const std::string& code, const std::string& text) {
    return errorJson(ToolError_t(code.c_str(), ESACTL_K_EXIT_USAGE, text)).text(-1);
}
