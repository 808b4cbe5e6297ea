#include "cli.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>

#include "commands.h"
#include "output.h"
#include "render_prometheus.h"

namespace {

using Command = int (*)(const Options&);

constexpr const char* EXIT_STATUS_HELP =
    "Exit status, bits that add up: 1 usage, 2 no switch or no answer in time, 4 refused,\n"
    "8 the enclosure is in fault, 16 warning (a temperature limit, a missing reading).\n"
    "8 and 16 come from status only.\n"
    "\n"
    "Example: esactl status --json | jq .state";

std::string defaultDirectory() {
    const char* fromEnvironment = std::getenv("ESA_MMSG_DIRECTORY");
    return fromEnvironment != nullptr && *fromEnvironment != '\0' ? fromEnvironment : "/run/esa";
}

/** Options that every command takes, before its name or after it. */
void addCommonOptions(CLI::App& app, Options& options) {
    app.add_option("--directory", options.directory,
                   "Directory of the switch's sockets (or ESA_MMSG_DIRECTORY; else /run/esa)")
        ->type_name("DIR");
    app.add_option("--timeout", options.timeoutSeconds, "How long to wait for an answer, in seconds (default 5)")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.01, 86400.0));
    app.add_flag("--json", options.jsonFlag, "Print JSON, on errors too");
}

struct Commands {
    CLI::App& app;
    Options& options;
    Command chosen = nullptr;

    CLI::App& add(const char* name, const char* description, const char* examples, Command command) {
        CLI::App& sub = *app.add_subcommand(name, description);
        addCommonOptions(sub, options);
        sub.footer(std::string("Example: ") + examples);
        sub.callback([this, command] { chosen = command; });
        return sub;
    }

    void addElement(CLI::App& sub, const char* name, const char* description) {
        sub.add_option(name, options.element, description)->required()->type_name("");
    }

    void addRequest(CLI::App& sub, const char* name, std::vector<std::string> choices) {
        sub.add_option(name, options.request, "What to ask for")
            ->required()
            ->type_name("")
            ->check(CLI::IsMember(std::move(choices)));
    }
};

void addQueries(Commands& commands) {
    Options& options = commands.options;
    CLI::App& status =
        commands.add("status", "State of the enclosure and of every element; health in the exit status",
                     "esactl status --format prometheus --output /var/lib/node_exporter/esa.prom", statusCommand);
    status.add_option("--format", options.format, "text, json or prometheus")
        ->type_name("FORMAT")
        ->check(CLI::IsMember(std::vector<std::string>{"text", "json", "prometheus"}));
    status.add_option("--output", options.output, "Replace FILE, all at once, instead of printing")->type_name("FILE");
    commands.add("config", "What the enclosure consists of", "esactl config --json", configCommand);
}

void addControls(Commands& commands) {
    CLI::App& led = commands.add("led", "Switch a drive slot's fault LED, or all of them; the slot may be empty",
                                 "esactl led slot03 on", ledCommand);
    commands.addElement(led, "SLOT", "Slot address from 0, as 3 or slot03; or all");
    commands.addRequest(led, "STATE", {"on", "off"});
    CLI::App& fan = commands.add("fan", "Switch a fan to full speed or off (some chassis switch a whole bank)",
                                 "esactl fan fan1 on", fanCommand);
    commands.addElement(fan, "FAN", "Fan, as 1 or fan1");
    commands.addRequest(fan, "STATE", {"on", "off"});
    CLI::App& psu = commands.add("psu", "Switch a power supply's fault indication on (fail) or off (ok)",
                                 "esactl psu psu0 ok", supplyCommand);
    commands.addElement(psu, "SUPPLY", "Supply, as 0 or psu0");
    commands.addRequest(psu, "STATE", {"fail", "ok"});
    CLI::App& alarm = commands.add("alarm", "Silence or sound the audible alarm", "esactl alarm mute", alarmCommand);
    commands.addRequest(alarm, "STATE", {"mute", "fault", "critical"});
}

void addStreams(Commands& commands) {
    Options& options = commands.options;
    CLI::App& events = commands.add("events", "Events as the event manager gets them, for --timeout seconds",
                                    "esactl events --follow --json", eventsCommand);
    events.add_flag("--follow", options.follow, "Go on until interrupted");
    events.add_flag("--startup", options.startup, "Requests to Startup too");
    CLI::App& watch = commands.add("watch", "Live view of status and events; q or Ctrl-C ends it",
                                   "esactl watch --interval 5", watchCommand);
    watch.add_option("--interval", options.intervalSeconds, "Seconds between two looks (default 2)")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.1, 86400.0));
    for (CLI::App* sub : {&events, &watch}) {
        sub->add_flag("--all", options.everyEvent, "Repeats of a lasting condition too");
        sub->add_option("--count", options.count, "End after so many events (events) or views (watch)")
            ->type_name("N")
            ->check(CLI::Range(1U, 1000000000U));
    }
}

void addRaw(Commands& commands) {
    Options& options = commands.options;
    CLI::App& raw = commands.add("raw", "Send a control page given as hex, or ask for a page; print the reply",
                                 "esactl raw --page 2", rawCommand);
    raw.add_option("HEX", options.hex, "Bytes of the page, as 02 00 00 08 or 02000008; '' for an empty list")
        ->type_name("");
    raw.add_option("--page", options.page, "Page code to ask for")->type_name("N")->check(CLI::Range(0, 255));
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

std::string oneLine(std::string text) {
    for (char& c : text) {
        c = c == '\n' || c == '\r' ? ' ' : c;
    }
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

int reportError(const ToolError& error, bool json) {
    std::fprintf(stderr, "esactl: %s\n", oneLine(error.what()).c_str());
    if (json) {
        const std::string line = jsonText(errorJson(error), -1) + "\n";
        (void)std::fwrite(line.data(), 1, line.size(), stdout);
        (void)std::fflush(stdout); // standard error has said it already
    }
    return error.exitStatus();
}

/** A fleet's watch must see that this enclosure cannot be asked, instead of its last state for ever. */
void publishDown(const Options& options) {
    if (options.output.empty()) {
        printText(prometheusDownText());
    } else {
        replaceFile(options.output, prometheusDownText());
    }
}

int run(const Commands& commands) {
    try {
        return commands.chosen(commands.options);
    } catch (const ToolError& error) {
        const bool unknown = (error.exitStatus() & (ESACTL_K_EXIT_NO_ANSWER | ESACTL_K_EXIT_REFUSED)) != 0;
        if (unknown && commands.options.prometheus()) {
            publishDown(commands.options);
        }
        throw;
    }
}

} // namespace

int esactlMain(int argc, const char* const* argv) {
    CLI::App app{"Talks to the enclosure services adapter through the message switch.", "esactl"};
    Options options;
    options.directory = defaultDirectory();
    app.require_subcommand(1);
    app.set_version_flag("--version", std::string("esactl ") + ESACTL_VERSION);
    app.footer(EXIT_STATUS_HELP);
    addCommonOptions(app, options);
    Commands commands{app, options};
    addQueries(commands);
    addControls(commands);
    addStreams(commands);
    addRaw(commands);
    const bool json = wantsJson(argc, argv);
    try {
        app.parse(argc, argv);
        return run(commands);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error); // help or version
        }
        return reportError(usageError(std::string(error.what()) + "; see esactl --help"), json);
    } catch (const ToolError& error) {
        return reportError(error, json);
    } catch (const std::exception& error) {
        return reportError({"internal", ESACTL_K_EXIT_NO_ANSWER, error.what()}, json);
    }
}
