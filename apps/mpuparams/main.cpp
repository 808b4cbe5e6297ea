/** Creates, shows, changes and deletes the platform's shared parameter block. */
#include <climits>
#include <cstdio>
#include <functional>

#include "command_line.h"
#include "commands.h"
#include "errors.h"
#include "segment.h"
#include "values.h"

namespace {

/** What the command line gives; each command uses its own part. */
struct Options_t {
    std::string key;
    std::string config;
    std::string image;
    std::string file;
    std::vector<std::string> assignments;
    bool json = false;
};

int parseKey(const std::string& text) {
    std::uint64_t key = 0;
    // A leading zero would be octal for the processes that are given the same key.
    const bool octal = text.size() > 1 && text[0] == '0' && text[1] != 'x' && text[1] != 'X';
    if (octal || !parseNumber(text, INT_MAX, &key) || key < LEAST_KEY) {
        throw usageError("key \"" + text + "\": expected a decimal or 0x hexadecimal number from " +
                         std::to_string(LEAST_KEY) + " to " + std::to_string(INT_MAX));
    }
    return static_cast<int>(key);
}

/** A command as the program's list has it, and what runs it. */
struct Command_t {
    CliCommand_t line;
    std::function<void(int key)> run;
};

Command_t createCommand(Options_t& options) {
    return {{.name = "create",
             .description = "Create the block; an older one of that key is replaced",
             .footer = "The manual page mpuparams(8) lists the keys of the text file.\n"
                       "Example: mpuparams create --key 0x1234 --config examples/quadra.conf",
             .options = {},
             .choice = CliChoice_t{.name = "source",
                                   .description = "Where the contents come from",
                                   .options = {{.name = "-c,--config",
                                                .description = "Text configuration file",
                                                .target = &options.config,
                                                .type = "FILE",
                                                .isFileName = true},
                                               {.name = "-i,--image",
                                                .description = "Binary image of 744 bytes in network byte order",
                                                .target = &options.image,
                                                .type = "FILE",
                                                .isFileName = true}}}},
            [&options](int key) { createBlock(key, options.config, options.image); }};
}

Command_t showCommand(Options_t& options) {
    return {{.name = "show",
             .description = "Print every field of the block",
             .footer = "Example: mpuparams show --key 0x1234 --json",
             .options = {{.name = "-j,--json",
                          .description = "One JSON object: \"version\" of this format (1), \"key\", and the fields in "
                                         "\"params\"",
                          .target = &options.json}}},
            [&options](int key) { options.json ? showBlockJson(key) : showBlock(key); }};
}

Command_t setCommand(Options_t& options) {
    return {{.name = "set",
             .description = "Change fields of a live block: all assignments, or none if one is wrong",
             .footer = "Example: mpuparams set --key 0x1234 chassisType=Chenbro3U16ATX flags+=RcpComplete "
                       "macAddress[1]=00:17:34:01:02:03",
             .options = {{.name = "assignments",
                          .description = "Fields are named as \"show\" names them",
                          .target = &options.assignments,
                          .type = "FIELD=VALUE",
                          .required = true}}},
            [&options](int key) { setFields(key, options.assignments); }};
}

Command_t imageCommand(Options_t& options) {
    return {{.name = "image",
             .description = "Write the block as a binary image",
             .footer = "Example: mpuparams image --key 0x1234 configMpu.bin",
             .options = {{.name = "file",
                          .description = "File that is written or replaced",
                          .target = &options.file,
                          .type = "FILE",
                          .required = true,
                          .isFileName = true}}},
            [&options](int key) { writeImage(key, options.file); }};
}

Command_t deleteCommand() {
    return {{.name = "delete",
             .description = "Remove the block; processes that have it attached keep it",
             .footer = "Example: mpuparams delete --key 0x1234",
             .options = {}},
            deleteBlock};
}

/** In the order of the help; each with the key before its own options. */
std::vector<Command_t> allCommands(Options_t& options) {
    std::vector<Command_t> commands{createCommand(options), showCommand(options), setCommand(options),
                                    imageCommand(options), deleteCommand()};
    for (Command_t& command : commands) {
        command.line.options.insert(command.line.options.begin(),
                                    {.name = "-k,--key",
                                     .description = "Key of the segment: 100 or more, decimal or 0x hexadecimal",
                                     .target = &options.key,
                                     .type = "KEY",
                                     .required = true});
    }
    return commands;
}

/** The command, which comes first. Nothing, when help is asked for instead. */
std::string findCommand(const std::vector<Command_t>& commands, int argc, char** argv) {
    std::string first = argc < 2 ? "" : argv[1];
    if (first == "-h" || first == "--help") {
        return "";
    }
    std::string known;
    for (const Command_t& command : commands) {
        if (command.line.name == first) {
            return first;
        }
        known += (known.empty() ? "" : ", ") + command.line.name;
    }
    throw usageError((argc < 2 ? "no command" : "\"" + first + "\" is no command") + ": expected one of " + known +
                     "; see mpuparams --help");
}

int runTool(int argc, char** argv) {
    Options_t options;
    const std::vector<Command_t> commands = allCommands(options);
    CliProgram_t program{
        .name = "mpuparams",
        .description = "Creates, shows, changes and deletes the shared parameter block of the management processes.",
        .footer = "Exit status: 0 done, 1 wrong command line, 2 the operation failed.\n"
                  "Example: mpuparams create --key 0x1234 --config examples/quadra.conf"};
    for (const Command_t& command : commands) {
        program.commands.push_back(command.line);
    }
    const std::string command = findCommand(commands, argc, argv);
    const CliResult_t result = parseCommandLine(program, argc, argv);
    if (result.exitStatus) {
        return *result.exitStatus;
    }
    if (!result.error.empty()) {
        throw usageError(result.error + "; see mpuparams " + command + " --help");
    }
    commands[result.command].run(parseKey(options.key));
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        throw failure("cannot write to standard output");
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return runTool(argc, argv);
    } catch (const ToolError_t& error) {
        return reportError("mpuparams", error.exitStatus(), error.what());
    } catch (...) {
        std::fputs("mpuparams: out of memory\n", stderr); // whatever else can go wrong has been reported
        return EXIT_FAILED;
    }
}
