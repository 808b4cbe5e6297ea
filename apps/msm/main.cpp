/** msm: the message switch that the management processes meet at while they are developed and tested. */
#include <CLI/CLI.hpp>

#include <charconv>
#include <csignal>
#include <cstdio>
#include <optional>
#include <pwd.h>
#include <string>

#include "server.h"

namespace {

int fail(const std::string& why) {
    (void)std::fprintf(stderr, "msm: %s\n", why.c_str());
    return 1;
}

/** Number of a user, given by name or number; nothing when there is none. */
std::optional<uid_t> userNumber(const std::string& text) {
    if (const passwd* user = ::getpwnam(text.c_str())) {
        return user->pw_uid;
    }
    uid_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

} // namespace

int main(int argc, char** argv) {
    MsmOptions_t options;
    std::string adapterUser;
    CLI::App app("Message switch of the management processes: UNIX stream sockets esadapter, startup, eventlog, volmgr "
                 "and peer in one directory.",
                 "msm");
    app.add_option("--directory", options.directory, "Directory of the sockets; must exist")->required();
    app.add_flag("--log", options.log, "Print a line for each message and each connection");
    app.add_option("--queue", options.queueLimit, "Messages kept for an endpoint that is not connected")
        ->check(CLI::Range(1, 16384))
        ->capture_default_str();
    app.add_option("--keep-seconds", options.keepSeconds,
                   "Seconds that messages for the adapter and shutdown requests are kept")
        ->check(CLI::Range(1, 86400))
        ->capture_default_str();
    app.add_option("--rate", options.rate, "Messages a second that the adapter gets of one sender; 0 for any number")
        ->check(CLI::Range(0, 100000))
        ->capture_default_str();
    app.add_option("--per-user", options.perUser,
                   "Connections of one user at a time, the adapter's not counted; 0 for any number")
        ->check(CLI::Range(0, 1024))
        ->capture_default_str();
    app.add_option("--adapter-user", adapterUser,
                   "User who may connect to esadapter besides root, the switch's user and the directory's");
    app.add_option("--ask-directory", options.askDirectory,
                   "Directory of a second socket peer, whose connections may only ask for status pages; must exist");
    app.add_flag("--quiet", options.quiet, "No \"ready\" line and no notices of refusals and losses");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return error.get_exit_code() == 0 ? app.exit(error) : fail(error.what());
    }

    if (!adapterUser.empty()) {
        options.adapterUser = userNumber(adapterUser);
        if (!options.adapterUser) {
            return fail("--adapter-user: there is no user " + adapterUser);
        }
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
