#include "cli.h"

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
    bool lenient = false;
};

int parseKey(const std::string& text) {
    std::uint64_t key = 0;
    // A leading zero would be octal for the processes that are given the same key.
    const bool octal = text.size() > 1 && text[0] == '0' && text[1] != 'x' && text[1] != 'X';
    if (octal || !parseNumber(text, INT_MAX, &key) || key < MPU_K_LEAST_KEY) {
        throw usageError("key \"" + text + "\": expected a decimal or 0x hexadecimal number from " +
                         std::to_string(MPU_K_LEAST_KEY) + " to " + std::to_string(INT_MAX));
    }
    return static_cast<int>(key);
}

/** A command as the program's list has it, and what runs it and returns the exit status. */
struct Command_t {
    CliCommand_t line;
    std::function<int()> run;
};

/** A command on the block of `options.key`. */
Command_t onBlock(Options_t& options, CliCommand_t line, std::function<void(int key)> run) {
    line.options.insert(line.options.begin(), {.name = "-k,--key",
                                               .description = "Key of the segment: 100 or more, decimal or 0x "
                                                              "hexadecimal",
                                               .target = &options.key,
                                               .type = "KEY",
                                               .required = true});
    return {std::move(line), [&options, run = std::move(run)] {
                run(parseKey(options.key));
                return 0;
            }};
}

CliOption_t assignments(Options_t& options, const char* description, bool required) {
    return {.name = "assignments",
            .description = description,
            .target = &options.assignments,
            .type = "FIELD=VALUE",
            .required = required};
}

Command_t createCommand(Options_t& options) {
    return onBlock(
        options,
        {.name = "create",
         .description = "Create the block; an older one of that key is replaced",
         .footer = "The manual page mpuparams(8) lists the keys of the text file.\n"
                   "Example: mpuparams create --key 0x1234 --config examples/quadra.conf",
         .options = {assignments(options, "Fields to set in it before anybody sees it, as \"set\" does", false)},
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
        [&options](int key) { createBlock(key, options.config, options.image, options.assignments); });
}

Command_t checkCommand(Options_t& options) {
    return {{.name = "check",
             .description = "Judge a text configuration file: what is misread or left out, with its line, and what "
                            "would be right",
             .footer = "Exit status 3 when there is something to say.\n"
                       "Example: mpuparams check examples/quadra.conf",
             .options = {{.name = "file",
                          .description = "Text configuration file",
                          .target = &options.file,
                          .type = "FILE",
                          .required = true,
                          .isFileName = true},
                         assignments(options, "Fields that \"create\" would be given beside the file", false),
                         {.name = "--lenient",
                          .description = "Exit status 0 as long as the management processes can work with the block",
                          .target = &options.lenient}}},
            [&options] { return checkFile(options.file, options.lenient, options.assignments); }};
}

Command_t showCommand(Options_t& options) {
    return onBlock(options,
                   {.name = "show",
                    .description = "Print every field of the block",
                    .footer = "Example: mpuparams show --key 0x1234 --json",
                    .options = {{.name = "-j,--json",
                                 .description = "One JSON object: \"version\" of this format (1), \"key\", and the "
                                                "fields in \"params\"",
                                 .target = &options.json}}},
                   [&options](int key) { options.json ? showBlockJson(key) : showBlock(key); });
}

Command_t setCommand(Options_t& options) {
    return onBlock(options,
                   {.name = "set",
                    .description = "Change fields of a live block: all assignments, or none if one is wrong",
                    .footer = "Example: mpuparams set --key 0x1234 chassisType=chenbro flags+=RcpComplete "
                              "macAddress[1]=00:17:34:01:02:03",
                    .options = {assignments(options, "Fields are named as \"show\" names them", true)}},
                   [&options](int key) { setFields(key, options.assignments); });
}

Command_t imageCommand(Options_t& options) {
    return onBlock(options,
                   {.name = "image",
                    .description = "Write the block as a binary image",
                    .footer = "Example: mpuparams image --key 0x1234 configMpu.bin",
                    .options = {{.name = "file",
                                 .description = "File that is written or replaced",
                                 .target = &options.file,
                                 .type = "FILE",
                                 .required = true,
                                 .isFileName = true}}},
                   [&options](int key) { writeImage(key, options.file); });
}

Command_t deleteCommand(Options_t& options) {
    return onBlock(options,
                   {.name = "delete",
                    .description = "Remove the block; processes that have it attached keep it",
                    .footer = "Example: mpuparams delete --key 0x1234",
                    .options = {}},
                   deleteBlock);
}

/** In the order of the help. */
std::vector<Command_t> allCommands(Options_t& options) {
    return {createCommand(options), checkCommand(options), showCommand(options),
            setCommand(options),    imageCommand(options), deleteCommand(options)};
}

int runTool(int argc, const char* const* argv) {
    Options_t options;
    const std::vector<Command_t> commands = allCommands(options);
    const CliProgram_t program{
        .name = "mpuparams",
        .description = "Creates, shows, changes and deletes the shared parameter block of the management processes.",
        .footer = "Exit status: 0 done, 1 wrong command line, 2 the operation failed, 3 check has found something.\n"
                  "Example: mpuparams create --key 0x1234 --config examples/quadra.conf"};
    const CliResult_t result = parseCommandLine(program, commands, argc, argv);
    if (result.exitStatus) {
        return *result.exitStatus;
    }
    const int status = commands[result.command].run();
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        throw failure("cannot write to standard output");
    }
    return status;
}

} // namespace

int mpuparamsMain(int argc, const char* const* argv) {
    try {
        return runTool(argc, argv);
    } catch (const ToolError_t& error) {
        return reportError("mpuparams", error.exitStatus(), error.what());
    } catch (...) {
        std::fputs("mpuparams: out of memory\n", stderr); // whatever else can go wrong has been reported
        return EXIT_FAILED;
    }
}
