#include "cli.h"

#include <charconv>
#include <csignal>
#include <optional>
#include <pwd.h>
#include <string>

#include "command_line.h"
#include "server.h"
#include "tool_error.h"

namespace {

constexpr int EXIT_FAILED = 1;

ToolError_t failed(const std::string& why) {
    return {"failed", EXIT_FAILED, why};
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

CliProgram_t commandLine(MsmOptions_t& options, std::string& adapterUser) {
    return {.name = "msm",
            .description = "Message switch of the management processes: UNIX stream sockets esadapter, startup, "
                           "eventlog, volmgr and peer in one directory.",
            .options = {
                {.name = "--directory",
                 .description = "Directory of the sockets; must exist",
                 .target = &options.directory,
                 .type = "DIR",
                 .required = true},
                {.name = "--log",
                 .description = "Print a line for each message and each connection",
                 .target = &options.log},
                {.name = "--queue",
                 .description = "Messages kept for an endpoint that is not connected",
                 .target = &options.queueLimit,
                 .showsDefault = true,
                 .range = CliRange_t<int>{1, 16384}},
                {.name = "--keep-seconds",
                 .description = "Seconds that messages for the adapter and shutdown requests are kept",
                 .target = &options.keepSeconds,
                 .showsDefault = true,
                 .range = CliRange_t<int>{1, 86400}},
                {.name = "--rate",
                 .description = "Messages a second that the adapter gets of one sender; 0 for any number",
                 .target = &options.rate,
                 .showsDefault = true,
                 .range = CliRange_t<int>{0, 100000}},
                {.name = "--per-user",
                 .description = "Connections of one user at a time, the adapter's not counted; 0 for any number",
                 .target = &options.perUser,
                 .showsDefault = true,
                 .range = CliRange_t<int>{0, 1024}},
                {.name = "--adapter-user",
                 .description = "User who may connect to esadapter besides root, the switch's user and the directory's",
                 .target = &adapterUser,
                 .type = "USER"},
                {.name = "--ask-directory",
                 .description = "Directory of a second socket peer, whose connections may only ask for status pages; "
                                "must exist",
                 .target = &options.askDirectory,
                 .type = "DIR"},
                {.name = "--quiet",
                 .description = "No \"ready\" line and no notices of refusals and losses",
                 .target = &options.quiet},
            }};
}

int runSwitch(int argc, const char* const* argv) {
    MsmOptions_t options;
    std::string adapterUser;
    const CliResult_t result = parseCommandLine(commandLine(options, adapterUser), argc, argv);
    if (result.exitStatus) {
        return *result.exitStatus;
    }
    if (!adapterUser.empty()) {
        options.adapterUser = userNumber(adapterUser);
        if (!options.adapterUser) {
            throw usageError("--adapter-user: there is no user " + adapterUser);
        }
    }
    // A reader of the log that goes away must not take the switch with it.
    (void)std::signal(SIGPIPE, SIG_IGN);
    Server_t server(options);
    if (const std::string error = server.open(); !error.empty()) {
        throw failed(error);
    }
    if (const std::string error = server.run(); !error.empty()) {
        throw failed(error);
    }
    return 0;
}

} // namespace

int msmMain(int argc, const char* const* argv) {
    try {
        return runSwitch(argc, argv);
    } catch (const ToolError_t& error) {
        return reportError("msm", error.exitStatus(), error.what());
    }
}
