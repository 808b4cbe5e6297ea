#include "command_table.h"

#include "commands.h"
#include "suggest.h"

namespace {

constexpr CliRange_t<double> TIMEOUT_SECONDS{0.01, 86400.0};
constexpr CliRange_t<double> INTERVAL_SECONDS{0.1, 86400.0};

using Suggest_t = std::function<std::vector<std::string>()>;

CliOption_t element(Options_t& options, const char* name, const char* description, Suggest_t suggest = {}) {
    return {.name = name,
            .description = description,
            .target = &options.element,
            .type = "",
            .required = true,
            .suggest = std::move(suggest)};
}

CliOption_t slots(Options_t& options) {
    CliOption_t slots = element(options, "SLOTS", "Slots as 3, slot03, 3,5-7, a label, or all",
                                [&options] { return suggestSlots(options); });
    slots.isList = true;
    return slots;
}

CliOption_t waitFlag(Options_t& options) {
    return {.name = "--wait",
            .description = "Wait for the adapter's next poll and tell what has come of it",
            .target = &options.wait};
}

CliOption_t afterSeconds(Options_t& options) {
    return {.name = "--after",
            .description = "How long --wait waits (default 12: a poll comes every 11)",
            .target = &options.afterSeconds,
            .type = "SECONDS",
            .range = INTERVAL_SECONDS};
}

CliOption_t request(Options_t& options, std::vector<const char*> choices) {
    return {.name = "STATE",
            .description = "What to ask for",
            .target = &options.request,
            .type = "",
            .required = true,
            .choices = std::move(choices)};
}

CliOption_t everyEvent(Options_t& options) {
    return {.name = "--all", .description = "Repeats of a lasting condition too", .target = &options.everyEvent};
}

CliOption_t count(Options_t& options) {
    return {.name = "--count",
            .description = "End after so many events (events), views (watch) or blinks (locate)",
            .target = &options.count,
            .type = "N",
            .range = CliRange_t<unsigned>{1, 1000000000}};
}

CliOption_t monitor(Options_t& options) {
    return {.name = "--monitor",
            .description = std::string("The monitor's socket (or ESA_MONITOR_SOCKET; else ") + PLACES_K_MONITOR + ")",
            .target = &options.monitor,
            .type = "FILE"};
}

CliOption_t since(Options_t& options) {
    return {.name = "--since",
            .description = "From then on: 2h, 2026-11-21T02:33:11Z or UNIX seconds",
            .target = &options.since,
            .type = "WHEN"};
}

CliOption_t until(Options_t& options) {
    return {.name = "--until", .description = "Until then", .target = &options.until, .type = "WHEN"};
}

CliOption_t output(Options_t& options, const char* description) {
    return {.name = "--output", .description = description, .target = &options.output, .type = "FILE"};
}

std::vector<Command_t> queries(Options_t& options) {
    return {
        {{"status",
          "State of the enclosure and of every element; health in the exit status",
          "esactl status --format prometheus --output /var/lib/node_exporter/esa.prom",
          {{.name = "--format",
            .description = "text, json or prometheus",
            .target = &options.format,
            .type = "FORMAT",
            .choices = {"text", "json", "prometheus"}},
           {.name = "--output",
            .description = "Replace FILE, all at once, instead of printing; - prints",
            .target = &options.output,
            .type = "FILE"}}},
         statusCommand},
        {{"config", "What the enclosure consists of, and the adapter's version", "esactl config --json", {}},
         configCommand},
        {{"slots", "Drive slots with their labels", "esactl slots", {}}, slotsCommand},
        {{"accept",
          "Live with a condition for a while: it counts no more unless it gets worse; without ELEMENT, list them",
          "esactl accept temp1 --until 3d",
          {{.name = "ELEMENT",
            .description = "What is wrong, as the status names it",
            .target = &options.element,
            .type = "",
            .suggest = [&options] { return suggestProblems(options); }},
           {.name = "--until",
            .description = "A date as 2026-12-01 or 2026-12-01T18:30 (UTC), or a time from now as 8h, 3d or 2w",
            .target = &options.until,
            .type = "WHEN"},
           {.name = "--revoke", .description = "Let it count again", .target = &options.revoke}}},
         acceptCommand},
    };
}

std::vector<Command_t> changes(Options_t& options) {
    return {
        {{"led",
          "Switch a drive slot's fault LED, or all of them; the slot may be empty",
          "esactl led slot03 on",
          {slots(options),
           request(options, {"on", "off"}),
           {.name = "--force",
            .description = "Ask for the opposite first: after its restart the adapter may be wrong about an LED",
            .target = &options.force},
           waitFlag(options),
           afterSeconds(options)}},
         ledCommand},
        {{"locate",
          "Blink drive slots' LEDs until Ctrl-C, then leave them as they were",
          "esactl locate slot03",
          {slots(options),
           {.name = "--blink",
            .description = "Seconds on and seconds off (default 1)",
            .target = &options.blinkSeconds,
            .type = "SECONDS",
            .range = INTERVAL_SECONDS},
           count(options)}},
         locateCommand},
        {{"fan",
          "Switch a fan to full speed or off (some chassis switch a whole bank)",
          "esactl fan fan1 on",
          {element(options, "FAN", "Fan, as 1 or fan1", [&options] { return suggestFans(options); }),
           request(options, {"on", "off"}),
           {.name = "--force", .description = "Even where on slows the fan", .target = &options.force},
           waitFlag(options),
           afterSeconds(options)}},
         fanCommand},
        {{"psu",
          "Switch a power supply's fault indication on (fail) or off (ok)",
          "esactl psu psu0 ok",
          {element(options, "SUPPLY", "Supply, as 0 or psu0", [&options] { return suggestSupplies(options); }),
           request(options, {"fail", "ok"}), waitFlag(options), afterSeconds(options)}},
         supplyCommand},
        {{"alarm",
          "Silence or sound the audible alarm",
          "esactl alarm mute",
          {request(options, {"mute", "fault", "critical"}), waitFlag(options), afterSeconds(options)}},
         alarmCommand},
    };
}

std::vector<Command_t> streams(Options_t& options) {
    return {
        {{"events",
          "Events as the event manager gets them, for --timeout seconds",
          "esactl events --follow --json",
          {{.name = "--follow", .description = "Go on until interrupted", .target = &options.follow},
           {.name = "--startup", .description = "Requests to Startup too", .target = &options.startup},
           everyEvent(options),
           count(options),
           since(options),
           until(options),
           {.name = "--element",
            .description = "Of the past: those that name it, as fan1",
            .target = &options.element,
            .type = "NAME"},
           {.name = "--type",
            .description = "Of the past: those of this name, as fan-fault-status",
            .target = &options.type,
            .type = "NAME"},
           monitor(options)}},
         eventsCommand},
        {{"history",
          "Readings over time, from the monitor",
          "esactl history temp0 --since 1d --plot",
          {element(options, "SERIES", "temp0, fan1, fan1.load or psu0"),
           since(options),
           until(options),
           {.name = "--plot", .description = "A curve as wide as the terminal", .target = &options.plot},
           monitor(options)}},
         historyCommand},
        {{"watch",
          "Live view of status and events; q or Ctrl-C ends it",
          "esactl watch --interval 5",
          {{.name = "--interval",
            .description = "Seconds between two looks (default 2)",
            .target = &options.intervalSeconds,
            .type = "SECONDS",
            .range = INTERVAL_SECONDS},
           {.name = "--note", .description = "Line that stays above the view", .target = &options.note, .type = "TEXT"},
           everyEvent(options),
           count(options)}},
         watchCommand},
    };
}

std::vector<Command_t> raw(Options_t& options) {
    return {
        {{"raw",
          "Send a control page given as hex, or ask for a page; print the reply",
          "esactl raw --page 2",
          {{.name = "HEX",
            .description = "Bytes of the page, as 02 00 00 08 or 02000008; '' for an empty list",
            .target = &options.hex,
            .type = ""},
           {.name = "--page",
            .description = "Page code to ask for",
            .target = &options.page,
            .type = "N",
            .range = CliRange_t<int>{0, 255}}}},
         rawCommand},
        {{"page",
          "A page as hex, as it is or as the SES standard lays it out",
          "esactl page 2 --standard --output page2.hex",
          {{.name = "PAGE",
            .description = "1 (configuration) or 2 (status)",
            .target = &options.page,
            .type = "",
            .required = true,
            .range = CliRange_t<int>{1, 2}},
           {.name = "--standard", .description = "For sg_ses and other standard decoders", .target = &options.standard},
           output(options, "Replace FILE instead of printing")}},
         pageCommand},
    };
}

std::vector<Command_t> reports(Options_t& options) {
    return {
        {{"bundle",
          "One file for a trouble report: versions, status, history, logs, units, parameters",
          "esactl bundle --output trouble.tar",
          {output(options, "The file (default esa-bundle-TIME.tar here)"),
           {.name = "--log-directory",
            .description = "Where the adapter's logs are (default " + options.logDirectory + ")",
            .target = &options.logDirectory,
            .type = "DIR"},
           {.name = "--key",
            .description = "Key of the parameter block (default " + std::to_string(options.key) + ")",
            .target = &options.key,
            .type = "N",
            .range = CliRange_t<unsigned>{MPU_K_LEAST_KEY, INT32_MAX}},
           monitor(options)}},
         bundleCommand},
        {{"decode",
          "An event log, or the dumps of a trace log, in words",
          "esactl decode /var/log/esa/altevents.jsonl",
          {{.name = "file", .description = "The log", .target = &options.file, .type = "FILE", .required = true}}},
         decodeCommand},
    };
}

} // namespace

std::vector<CliOption_t> commonOptions(Options_t& options) {
    return {
        {.name = "--directory",
         .description =
             std::string("Directory of the switch's sockets (or ESA_MMSG_DIRECTORY; else ") + PLACES_K_SWITCH + ")",
         .target = &options.directory,
         .type = "DIR"},
        {.name = "--socket",
         .description =
             "The switch's socket for peers, a name in the directory or a path (or ESA_MMSG_SOCKET; else peer)",
         .target = &options.socket,
         .type = "NAME"},
        {.name = "--endpoint",
         .description = "Our endpoint number, with a switch that gives none (or ESA_MMSG_ENDPOINT)",
         .target = &options.endpoint,
         .type = "N",
         .range = CLI_K_ENDPOINTS},
        {.name = "--chassis",
         .description = "Which enclosure it is, where esactl cannot make it out (or ESA_CHASSIS)",
         .target = &options.chassis,
         .type = "NAME",
         .suggest = suggestChassis},
        {.name = "--state",
         .description =
             std::string("Directory of what is accepted (or ESA_STATE_DIRECTORY; else ") + PLACES_K_STATE + ")",
         .target = &options.state,
         .type = "DIR"},
        {.name = "--slots",
         .description = "File of the slots' labels (or ESA_SLOTS; else /etc/esa/slots)",
         .target = &options.slots,
         .type = "FILE"},
        {.name = "--timeout",
         .description = "How long to wait for an answer, in seconds (default 5)",
         .target = &options.timeoutSeconds,
         .type = "SECONDS",
         .range = TIMEOUT_SECONDS},
        {.name = "--json", .description = "Print JSON, on errors too", .target = &options.jsonFlag},
    };
}

std::vector<Command_t> allCommands(Options_t& options) {
    std::vector<Command_t> commands;
    for (const auto& part : {queries(options), changes(options), streams(options), raw(options), reports(options)}) {
        commands.insert(commands.end(), part.begin(), part.end());
    }
    const std::vector<CliOption_t> common = commonOptions(options);
    for (Command_t& command : commands) {
        command.line.footer = "Example: " + command.line.footer;
        command.line.options.insert(command.line.options.begin(), common.begin(), common.end());
    }
    return commands;
}
