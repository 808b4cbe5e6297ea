#include "cli.h"

#include <cstdlib>

#include "command_line.h"
#include "commands.h"
#include "errors.h"
#include "monitor_client.h"
#include "output.h"
#include "render_json.h"
#include "render_prometheus.h"

namespace {

using Run_t = int (*)(const Options_t&);

constexpr const char* EXIT_STATUS_HELP =
    "Exit status, bits that add up: 1 usage, 2 no switch or no answer in time, 4 refused,\n"
    "8 the enclosure is in fault, 16 warning (a temperature limit, a missing reading).\n"
    "8 and 16 come from status only.\n"
    "\n"
    "Example: esactl status --json | jq .state";

constexpr CliRange_t<double> TIMEOUT_SECONDS{0.01, 86400.0};
constexpr CliRange_t<double> INTERVAL_SECONDS{0.1, 86400.0};

std::string defaultDirectory() {
    const char* const fromEnvironment = std::getenv("ESA_MMSG_DIRECTORY");
    return fromEnvironment != nullptr && *fromEnvironment != '\0' ? fromEnvironment : "/run/esa";
}

/** Options that every command takes, before its name or after it. */
std::vector<CliOption_t> commonOptions(Options_t& options) {
    return {
        {.name = "--directory",
         .description = "Directory of the switch's sockets (or ESA_MMSG_DIRECTORY; else /run/esa)",
         .target = &options.directory,
         .type = "DIR"},
        {.name = "--timeout",
         .description = "How long to wait for an answer, in seconds (default 5)",
         .target = &options.timeoutSeconds,
         .type = "SECONDS",
         .range = TIMEOUT_SECONDS},
        {.name = "--json", .description = "Print JSON, on errors too", .target = &options.jsonFlag},
    };
}

CliOption_t element(Options_t& options, const char* name, const char* description) {
    return {.name = name, .description = description, .target = &options.element, .type = "", .required = true};
}

CliOption_t request(Options_t& options, std::vector<std::string> choices) {
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
            .description = "End after so many events (events) or views (watch)",
            .target = &options.count,
            .type = "N",
            .range = CliRange_t<unsigned>{1, 1000000000}};
}

CliOption_t monitor(Options_t& options) {
    return {.name = "--monitor",
            .description = "The monitor's socket (or ESA_MONITOR_SOCKET; else /run/esa-monitor/api)",
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

/** A command as the program's list has it, and what runs it. */
struct Command_t {
    CliCommand_t line;
    Run_t run;
};

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
        {{"config", "What the enclosure consists of", "esactl config --json", {}}, configCommand},
    };
}

std::vector<Command_t> changes(Options_t& options) {
    return {
        {{"led",
          "Switch a drive slot's fault LED, or all of them; the slot may be empty",
          "esactl led slot03 on",
          {element(options, "SLOT", "Slot address from 0, as 3 or slot03; or all"),
           request(options, {"on", "off"}),
           {.name = "--force",
            .description = "Ask for the opposite first: after its restart the adapter may be wrong about an LED",
            .target = &options.force}}},
         ledCommand},
        {{"fan",
          "Switch a fan to full speed or off (some chassis switch a whole bank)",
          "esactl fan fan1 on",
          {element(options, "FAN", "Fan, as 1 or fan1"), request(options, {"on", "off"})}},
         fanCommand},
        {{"psu",
          "Switch a power supply's fault indication on (fail) or off (ok)",
          "esactl psu psu0 ok",
          {element(options, "SUPPLY", "Supply, as 0 or psu0"), request(options, {"fail", "ok"})}},
         supplyCommand},
        {{"alarm",
          "Silence or sound the audible alarm",
          "esactl alarm mute",
          {request(options, {"mute", "fault", "critical"})}},
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
            .description = "Where the adapter's logs are (default /var/log/esa)",
            .target = &options.logDirectory,
            .type = "DIR"},
           {.name = "--key",
            .description = "Key of the parameter block (default 100)",
            .target = &options.key,
            .type = "N",
            .range = CliRange_t<unsigned>{100, 0x7FFFFFFF}},
           monitor(options)}},
         bundleCommand},
        {{"decode",
          "An event log, or the dumps of a trace log, in words",
          "esactl decode /var/log/esa/altevents.jsonl",
          {{.name = "FILE", .description = "The log", .target = &options.file, .type = "", .required = true}}},
         decodeCommand},
    };
}

/** All commands in the order of the help; each with the common options before its own. */
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

/** Whether JSON was asked for; errors of the command line itself need to know before it is understood. */
bool wantsJson(int argc, const char* const* argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const bool formatJson = word == "--format" && i + 1 < argc && std::string(argv[i + 1]) == "json";
        if (word == "--json" || word == "--format=json" || formatJson) {
            return true;
        }
    }
    return false;
}

int report(const ToolError_t& error, bool json) {
    const int exitStatus = reportError("esactl", error.exitStatus(), error.what());
    if (json) {
        try {
            printJsonLine(errorJson(error));
        } catch (const ToolError_t&) {
            return exitStatus; // standard error has said it already
        }
    }
    return exitStatus;
}

/** A fleet's watch must see that this enclosure cannot be asked, instead of its last state for ever. */
void publishDown(const Options_t& options) {
    deliverText(options.output, prometheusDownText());
}

int runCommand(Run_t run, const Options_t& options) {
    try {
        return run(options);
    } catch (const ToolError_t& error) {
        const bool unknown = (error.exitStatus() & (ESACTL_K_EXIT_NO_ANSWER | ESACTL_K_EXIT_REFUSED)) != 0;
        if (unknown && options.prometheus()) {
            publishDown(options);
        }
        throw;
    }
}

int parseAndRun(int argc, const char* const* argv) {
    Options_t options;
    options.directory = defaultDirectory();
    options.monitor = monitorSocket();
    const std::vector<Command_t> commands = allCommands(options);
    CliProgram_t program{.name = "esactl",
                         .description = "Talks to the enclosure services adapter through the message switch.",
                         .footer = EXIT_STATUS_HELP,
                         .version = std::string("esactl ") + ESACTL_VERSION,
                         .options = commonOptions(options)};
    for (const Command_t& command : commands) {
        program.commands.push_back(command.line);
    }
    const CliResult_t result = parseCommandLine(program, argc, argv);
    if (result.exitStatus) {
        return *result.exitStatus;
    }
    if (!result.error.empty()) {
        throw usageError(result.error + "; see esactl --help");
    }
    return runCommand(commands[result.command].run, options);
}

} // namespace

int esactlMain(int argc, const char* const* argv) {
    const bool json = wantsJson(argc, argv);
    try {
        return parseAndRun(argc, argv);
    } catch (const ToolError_t& error) {
        return report(error, json);
    } catch (const std::exception& error) {
        return report(internalError(error.what()), json);
    }
}
