#include "cli.h"

#include <charconv>

#include "command_table.h"
#include "errors.h"
#include "monitor_client.h"
#include "output.h"
#include "places.h"
#include "render_json.h"
#include "render_prometheus.h"
#include "session.h"

namespace {

constexpr const char* EXIT_STATUS_HELP =
    "Exit status, bits that add up: 1 usage, 2 no switch or no answer in time, 4 refused,\n"
    "8 the enclosure is in fault, 16 warning (a temperature limit, a missing reading).\n"
    "8 and 16 come from status, and from the last view of watch --count.\n"
    "\n"
    "Example: esactl status --json | jq .state";

void takeEnvironment(Options_t& options) {
    options.directory = switchDirectory();
    options.socket = fromEnvironment("ESA_MMSG_SOCKET", "peer");
    options.chassis = fromEnvironment("ESA_CHASSIS", "");
    options.state = stateDirectory();
    options.slots = fromEnvironment("ESA_SLOTS", "");
    const std::string endpoint = fromEnvironment("ESA_MMSG_ENDPOINT", "");
    const char* const end = endpoint.data() + endpoint.size();
    const auto [stop, error] = std::from_chars(endpoint.data(), end, options.endpoint);
    if (!endpoint.empty() && (error != std::errc() || stop != end || options.endpoint < CLI_K_ENDPOINTS.least ||
                              options.endpoint > CLI_K_ENDPOINTS.most)) {
        throw usageError("ESA_MMSG_ENDPOINT is '" + endpoint + "'; expected an endpoint number from 0 to 63");
    }
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
    takeEnvironment(options);
    options.monitor = monitorSocket();
    const std::vector<Command_t> commands = allCommands(options);
    const CliProgram_t program{.name = "esactl",
                               .description = "Talks to the enclosure services adapter through the message switch.",
                               .footer = EXIT_STATUS_HELP,
                               .options = commonOptions(options)};
    const CliResult_t result = parseCommandLine(program, commands, argc, argv);
    if (result.exitStatus) {
        return *result.exitStatus;
    }
    requireKnownChassis(options);
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
