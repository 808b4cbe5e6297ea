/** msm: the message switch that the management processes meet at while they are developed and tested. */
#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>
#include <string>

#include "server.h"

namespace {

int fail(const std::string& why) {
    (void)std::fprintf(stderr, "msm: %s\n", why.c_str());
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    MsmOptions_t options;
    CLI::App app("Message switch of the management processes: UNIX stream sockets esadapter, startup, eventlog, volmgr "
                 "and peer in one directory.",
                 "msm");
    app.add_option("--directory", options.directory, "Directory of the sockets; must exist")->required();
    app.add_flag("--log", options.log, "Print a line for each message and each connection");
    app.add_option("--queue", options.queueLimit, "Messages kept for an endpoint that is not connected")
        ->check(CLI::Range(1, 16384))
        ->capture_default_str();
    app.add_flag("--quiet", options.quiet, "No \"ready\" line and no notices of refusals and losses");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return error.get_exit_code() == 0 ? app.exit(error) : fail(error.what());
    }

    // A reader of the log that goes away must not take the switch with it.
    (void)std::signal(SIGPIPE, SIG_IGN);
    Server_t server(options);
    if (const std::string error = server.open(); !error.empty()) {
        return fail(error);
    }
    const std::string error = server.run();
    return error.empty() ? 0 : fail(error);
}
