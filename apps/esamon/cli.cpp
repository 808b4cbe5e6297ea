#include "cli.h"

#include <csignal>
#include <unistd.h>

#include "chassis_list.h"
#include "command_line.h"
#include "errors.h"
#include "monitor.h"
#include "places.h"

namespace {

constexpr CliRange_t<double> POLL_SECONDS{1, 3600};
constexpr CliRange_t<double> ANSWER_SECONDS{0.1, 60};

CliOption_t text(const char* name, const char* type, const char* description, std::string& target) {
    return {.name = name, .description = description, .target = &target, .type = type, .showsDefault = true};
}

std::vector<const char*> chassisNames() {
    std::vector<const char*> names;
    names.reserve(CHASSIS_LIST.size());
    for (const ChassisFacts_t& chassis : CHASSIS_LIST) {
        names.push_back(chassis.name);
    }
    return names;
}

std::vector<CliOption_t> optionsOf(MonitorOptions_t& options) {
    CliOption_t chassis =
        text("--chassis", "NAME", "Which enclosure it is, where it should not be found out", options.chassis);
    chassis.choices = chassisNames();
    chassis.showsDefault = false;
    return {
        text("--directory", "DIR", "Directory of the switch's sockets; or ESA_MMSG_DIRECTORY", options.directory),
        text("--database", "FILE", "The history", options.database),
        text("--socket", "FILE", "UNIX socket for HTTP; none: none", options.socket),
        text("--listen", "ADDRESS:PORT", "Address for HTTP; none: none", options.listen),
        {.name = "--host",
         .description = "Further names of this machine in requests",
         .target = &options.hosts,
         .type = "NAME"},
        text("--panel", "DIR", "Files of the panel", options.panel),
        {.name = "--token-file",
         .description = "Lines of NAME TOKEN; with one of them LEDs, alarm and fans can be switched",
         .target = &options.tokenFile,
         .type = "FILE",
         .isFileName = true},
        {.name = "--simulator",
         .description = "Control socket of a simulated enclosure: whoever reaches the monitor can command it",
         .target = &options.simulator,
         .type = "FILE",
         .isFileName = true},
        text("--state", "DIR", "Directory of what operators have accepted; or ESA_STATE_DIRECTORY", options.state),
        chassis,
        {.name = "--poll",
         .description = "Seconds between two looks at the enclosure",
         .target = &options.pollSeconds,
         .type = "SECONDS",
         .showsDefault = true,
         .range = POLL_SECONDS},
        {.name = "--timeout",
         .description = "Seconds to wait for the adapter's answer",
         .target = &options.timeoutSeconds,
         .type = "SECONDS",
         .showsDefault = true,
         .range = ANSWER_SECONDS},
        {.name = "--max-size",
         .description = "Megabytes that the history may have",
         .target = &options.maxMegabytes,
         .type = "N",
         .showsDefault = true,
         .range = CliRange_t<unsigned>{1, 100000}},
        {.name = "--event-manager",
         .description = "Take the places of event manager and Startup, where neither runs",
         .target = &options.eventManager},
    };
}

int parseAndMonitor(int argc, const char* const* argv) {
    MonitorOptions_t options;
    options.directory = switchDirectory();
    options.state = stateDirectory();
    const CliProgram_t program{
        .name = "esamon",
        .description = "Watches an enclosure through the message switch: records what happens, and "
                       "tells it over HTTP.",
        .footer = "Example: esamon --directory /run/esa-ask --database /var/lib/esa-monitor/history.db",
        .options = optionsOf(options)};
    const CliResult_t result = parseCommandLine(program, argc, argv);
    if (result.exitStatus) {
        return *result.exitStatus;
    }
    if (options.socket == "none" && options.listen == "none") {
        throw usageError("--socket none and --listen none together leave nothing to listen at");
    }
    runMonitor(options);
    return 0;
}

} // namespace

int esamonMain(int argc, const char* const* argv) {
    (void)std::signal(SIGPIPE, SIG_IGN);
    try {
        return parseAndMonitor(argc, argv);
    } catch (const ToolError_t& error) {
        return reportError("esamon", error.exitStatus(), error.what());
    } catch (const std::exception& error) {
        return reportError("esamon", ESACTL_K_EXIT_USAGE, error.what());
    }
}
