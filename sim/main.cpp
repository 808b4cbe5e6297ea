/** encsim: a simulated enclosure behind a serial I2C bridge on a pseudo-terminal, or as a virtual machine's I2C bus. */
#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <optional>

#include "bridge_line.h"
#include "client.h"
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

void declare(CLI::App& app, Options_t& options) {
    CLI::Option* const chassis =
        app.add_option("--chassis", options.chassis, "the enclosure to be")->check(CLI::IsMember(chassisNames()));
    CLI::Option* const link = app.add_option("--link", options.link, "link made to the line")->capture_default_str();
    app.add_option("--vhost-user", options.vhostUser,
                   "be the I2C bus of a virtual machine whose emulator connects here")
        ->excludes(link);
    CLI::Option* const control = app.add_option("--control", options.commandSocket, "UNIX socket for commands");
    app.add_option("--send", options.command, "give the simulator that runs at --control this command, print its reply")
        ->needs(control)
        ->excludes(chassis);
    app.add_option("--speed", options.speed, "simulated seconds a second")
        ->check(CLI::Range(0.01, 1000.0))
        ->capture_default_str();
    app.add_flag("--frozen", options.frozen, "start with time standing still");
    app.add_flag("--quiet", options.quiet, "print \"ready\" and nothing else");
}

std::unique_ptr<Line_t> makeLine(const Options_t& options, Bus_t& bus) {
    if (options.vhostUser.empty()) {
        return std::make_unique<BridgeLine_t>(bus, options.link);
    }
    return std::make_unique<VhostLine_t>(bus, options.vhostUser);
}

void run(const Options_t& options) {
    Server_t::catchSignals();
    const std::unique_ptr<Enclosure_t> enclosure = makeEnclosure(options.chassis);
    enclosure->setFrozen(options.frozen);
    const std::unique_ptr<Line_t> line = makeLine(options, enclosure->bus());
    Commands_t commands(*enclosure, line->silenceable());
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

} // namespace

int main(int argc, char** argv) {
    CLI::App app(
        "Simulated enclosure: chips, wiring and physics behind a serial I2C bridge or as a virtual machine's bus.",
        "encsim");
    Options_t options;
    declare(app, options);
    try {
        app.parse(argc, argv);
        if (app.count("--send") != 0) {
            return sendCommand(options.commandSocket, options.command);
        }
        if (options.chassis.empty()) {
            throw CLI::RequiredError("--chassis");
        }
        run(options);
    } catch (const CLI::CallForHelp& help) {
        return app.exit(help);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "encsim: %s\n", error.what());
        return 1;
    }
    return 0;
}
