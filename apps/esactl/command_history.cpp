/** history, and events of the past: both from the monitor. */
#include <cstdio>

#include "commands.h"
#include "enclosure.h"
#include "errors.h"
#include "json.h"
#include "moments.h"
#include "monitor_client.h"
#include "names.h"
#include "output.h"
#include "plot.h"
#include "render_text.h"
#include "session.h"

namespace {

/** The monitor's document; nothing when there is no monitor. */
std::optional<JsonInput_t> document(const Options_t& options, const std::string& path) {
    const std::optional<MonitorReply_t> reply = askMonitor(options.monitor, path, options.timeoutSeconds);
    if (!reply) {
        return std::nullopt;
    }
    std::optional<JsonInput_t> parsed = JsonInput_t::parse(reply->body);
    if (!parsed || !parsed->isObject()) {
        throw badAnswerError("the monitor at '" + options.monitor + "' answers with something else than a document");
    }
    if (reply->status != 200) {
        const bool isUsage = reply->status == 400;
        const std::string text =
            (*parsed)["error"]["text"].string().value_or("status " + std::to_string(reply->status));
        throw isUsage ? usageError(text) : noAnswerError("the monitor says: " + text);
    }
    return parsed;
}

std::string query(const std::vector<std::pair<const char*, std::string>>& values) {
    std::string text;
    for (const auto& [name, value] : values) {
        if (!value.empty()) {
            text.append(text.empty() ? "?" : "&").append(name).append("=").append(queryValue(value));
        }
    }
    return text;
}

void tellSource(const std::string& text) {
    (void)std::fprintf(stderr, "esactl: %s\n", text.c_str());
}

std::string entryLine(const JsonInput_t& entry, const Palette_t& palette) {
    Event_t event;
    event.severity = entry["severity"].string().value_or("unknown");
    event.text = entry["text"].string().value_or("");
    if (const std::int64_t count = entry["count"].integer().value_or(1); count > 1) {
        event.text += " (" + std::to_string(count) + " times until " + entry["last_time"].string().value_or("") + ")";
    }
    return eventLine(event, 0, entry["time"].string().value_or(""), palette);
}

/** A reading at this moment, for want of a monitor. */
int presentReading(const Options_t& options, const std::string& name) {
    SesClient_t client = connectAdapter(options);
    const EnclosureStatus_t status = askEnclosure(client, options).status;
    std::optional<std::string> text;
    for (unsigned i = 0; i < status.sensors.size() && !text; ++i) {
        if (name == sensorName(i)) {
            const auto& celsius = status.sensors[i].celsius;
            text = celsius ? std::to_string(*celsius) + " C" : "no reading";
        }
    }
    for (unsigned i = 0; i < status.fans.size() && !text; ++i) {
        if (name == fanName(i)) {
            text = status.fans[i].rpm ? std::to_string(*status.fans[i].rpm) + " RPM" : "no reading";
        }
    }
    if (!text) {
        throw usageError("'" + name +
                         "' names no fan or sensor of this enclosure; without a monitor there is only their "
                         "present reading");
    }
    tellSource("no monitor listens at " + options.monitor + ": this is the reading of now, from the adapter");
    if (options.json()) {
        throw noSwitchError("there is no document without a monitor; start esamon or name its socket with --monitor");
    }
    printText(millisText(millisNow()) + "  " + *text + "\n");
    return 0;
}

std::string cell(const JsonInput_t& value) {
    char text[32] = "         -";
    if (const std::optional<double> number = value.number()) {
        std::snprintf(text, sizeof text, "%10.6g", *number);
    }
    return text;
}

std::vector<std::string> tableLines(const JsonInput_t& series) {
    std::vector<std::string> lines{"time                            min       mean        max"};
    for (const JsonInput_t& point : series["points"].elements()) {
        lines.push_back(millisText(static_cast<Millis_t>(point.element(0).number().value_or(0) * 1000)) +
                        cell(point.element(1)) + " " + cell(point.element(2)) + " " + cell(point.element(3)));
    }
    return lines;
}

std::vector<std::string> curveLines(const JsonInput_t& series) {
    std::vector<PlotPoint_t> points;
    for (const JsonInput_t& point : series["points"].elements()) {
        points.push_back({point.element(0).number().value_or(0), point.element(1).number(), point.element(3).number()});
    }
    const JsonInput_t shown = series["limits"];
    std::vector<std::pair<std::string, double>> limits;
    for (const std::string& name : shown.names()) {
        limits.emplace_back(name, shown[name.c_str()].number().value_or(0));
    }
    return plotLines(points, limits, terminalSize().ws_col);
}

} // namespace

bool wantsHistory(const Options_t& options) {
    return !options.since.empty() || !options.until.empty() || !options.element.empty() || !options.type.empty();
}

int pastEventsCommand(const Options_t& options) {
    const std::string path =
        "/api/v1/events" + query({{"since", options.since},
                                  {"until", options.until},
                                  {"element", options.element},
                                  {"type", options.type},
                                  {"limit", options.count == 0 ? "" : std::to_string(options.count)}});
    const std::optional<JsonInput_t> found = document(options, path);
    if (!found) {
        throw noSwitchError("no monitor listens at '" + options.monitor +
                            "', and only it knows the past; start esamon, name its socket with --monitor, or leave out "
                            "--since, --until, --element and --type");
    }
    const Palette_t palette = standardOutputPalette();
    std::vector<std::string> lines;
    for (const JsonInput_t& entry : (*found)["events"].elements()) {
        lines.push_back(options.json() ? entry.text(-1) : entryLine(entry, palette));
    }
    const std::string none =
        "; it has no event" + (options.element.empty() ? "" : " of " + options.element) +
        (options.type.empty()
             ? ""
             : " of type " + options.type + " (as --json names them: fan-fault-status, state-change ...)") +
        " from that time";
    tellSource("from the history of the monitor at " + options.monitor + (lines.empty() ? none : "") +
               ((*found)["more"].flag() == true ? "; there is more: give --until or --count" : ""));
    printLines(lines);
    return 0;
}

int historyCommand(const Options_t& options) {
    const std::string path =
        "/api/v1/readings" + query({{"element", options.element}, {"since", options.since}, {"until", options.until}});
    const std::optional<JsonInput_t> found = document(options, path);
    if (!found) {
        return presentReading(options, options.element);
    }
    if (options.json()) {
        printText(found->text(2) + "\n");
        return 0;
    }
    const JsonInput_t series = (*found)["series"].element(0);
    tellSource(series["name"].string().value_or("") + " in " + series["unit"].string().value_or("") + ", " +
               ((*found)["source"].string() == "raw" ? "readings" : "five-minute values") + " from the monitor at " +
               options.monitor);
    if (series["points"].elements().empty()) {
        throw noAnswerError("the monitor has no readings of " + options.element + " from that time");
    }
    printLines(options.plot ? curveLines(series) : tableLines(series));
    return 0;
}
