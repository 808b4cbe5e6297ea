/** encsim: a simulated enclosure behind a serial I2C bridge on a pseudo-terminal, or as a virtual machine's I2C bus. */
#include <cstdio>
#include <memory>
#include <optional>

#include "bridge_line.h"
#include "chassis_list.h"
#include "client.h"
#include "command_line.h"
#include "failure.h"
#include "listed.h"
#include "server.h"
#include "vhost_line.h"

namespace {

struct Options_t {
    std::string chassis;
    std::string link = "/dev/enc-0";
    std::string vhostUser;
    std::string commandSocket;
    std::string command;
    double speed = 1.0;
    bool frozen = false;
    bool quiet = false;
};

CliProgram_t commandLine(Options_t& options) {
    return {
        .name = "encsim",
        .description =
            "Simulated enclosure: chips, wiring and physics behind a serial I2C bridge or as a virtual machine's bus.",
        .options = {
            {.name = "--chassis",
             .description = "the enclosure to be: " + listed(chassisNames()),
             .target = &options.chassis,
             .type = "NAME",
             .suggest = [] { return chassisNames(); }},
            {.name = "--link",
             .description = "link made to the line",
             .target = &options.link,
             .type = "FILE",
             .showsDefault = true},
            {.name = "--vhost-user",
             .description = "be the I2C bus of a virtual machine whose emulator connects here",
             .target = &options.vhostUser,
             .type = "FILE",
             .excludes = "--link"},
            {.name = "--control",
             .description = "UNIX socket for commands",
             .target = &options.commandSocket,
             .type = "FILE"},
            {.name = "--send",
             .description = "give the simulator that runs at --control this command, print its reply",
             .target = &options.command,
             .type = "COMMAND",
             .needs = "--control",
             .excludes = "--chassis"},
            {.name = "--speed",
             .description = "simulated seconds a second",
             .target = &options.speed,
             .showsDefault = true,
             .range = CliRange_t<double>{0.01, 1000.0}},
            {.name = "--frozen", .description = "start with time standing still", .target = &options.frozen},
            {.name = "--quiet", .description = "print \"ready\" and nothing else", .target = &options.quiet},
        }};
}

std::unique_ptr<Line_t> makeLine(const Options_t& options, Bus_t& bus) {
    if (options.vhostUser.empty()) {
        return std::make_unique<BridgeLine_t>(bus, options.link);
    }
    return std::make_unique<VhostLine_t>(bus, options.vhostUser);
}

void serve(const Options_t& options, Enclosure_t& enclosure) {
    Server_t::catchSignals();
    enclosure.setFrozen(options.frozen);
    const std::unique_ptr<Line_t> line = makeLine(options, enclosure.bus());
    Commands_t commands(enclosure, line->silenceable());
    commands.setSpeed(options.speed);

    std::optional<Listener_t> listener;
    if (!options.commandSocket.empty()) {
        listener.emplace(options.commandSocket);
    }
    if (!options.quiet) {
        std::printf("%s enclosure at %s; commands here%s%s, \"help\" lists them\n", options.chassis.c_str(),
                    line->place().c_str(), listener ? " and at " : "", options.commandSocket.c_str());
    }
    std::puts("ready");
    std::fflush(stdout);
    Server_t(commands, *line, listener ? &*listener : nullptr).run();
}

int runTool(int argc, char** argv) {
    Options_t options;
    const CliResult_t result = parseCommandLine(commandLine(options), argc, argv);
    if (result.exitStatus) {
        return *result.exitStatus;
    }
    if (result.isGiven("--send")) {
        return sendCommand(options.commandSocket, options.command);
    }
    if (options.chassis.empty()) {
        throw failure("--chassis is required: expected one of " + listed(chassisNames()) + "; see encsim --help");
    }
    // The long names of the controller's configuration will do as well.
    if (const ChassisFacts_t* const facts = findChassis(options.chassis); facts != nullptr) {
        options.chassis = facts->name;
    }
    const std::unique_ptr<Enclosure_t> enclosure = makeEnclosure(options.chassis);
    if (enclosure == nullptr) {
        throw failure("no chassis \"" + options.chassis + "\": expected one of " + listed(chassisNames()));
    }
    serve(options, *enclosure);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return runTool(argc, argv);
    } catch (const ToolError_t& error) {
        return reportError("encsim", error.exitStatus(), error.what());
    } catch (...) {
        std::fputs("encsim: out of memory\n", stderr); // whatever else can go wrong has been reported
        return ENCSIM_K_EXIT_FAILED;
    }
}
