/** Creates, shows, changes and deletes the platform's shared parameter block. */
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <functional>

#include "commands.h"
#include "segment.h"
#include "tool_error.h"
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

CLI::App* addCommand(CLI::App& app, Options_t& options, const char* name, const char* description, const char* example,
                     std::function<void(int)> run) {
    CLI::App* const command = app.add_subcommand(name, description);
    command->add_option("-k,--key", options.key, "Key of the segment: 100 or more, decimal or 0x hexadecimal")
        ->required()
        ->type_name("KEY");
    command->footer(std::string("Example: ") + example);
    command->final_callback([&options, run = std::move(run)] { run(parseKey(options.key)); });
    return command;
}

std::string checkFileName(const std::string& name) {
    return name.empty() ? "expected the name of a file" : "";
}

void addCreate(CLI::App& app, Options_t& options) {
    CLI::App* const command =
        addCommand(app, options, "create", "Create the block; an older one of that key is replaced",
                   "mpuparams create --key 0x1234 --config examples/quadra.conf",
                   [&options](int key) { createBlock(key, options.config, options.image); });
    CLI::Option_group* const source = command->add_option_group("source", "Where the contents come from");
    source->add_option("-c,--config", options.config, "Text configuration file")
        ->type_name("FILE")
        ->check(checkFileName);
    source->add_option("-i,--image", options.image, "Binary image of 744 bytes in network byte order")
        ->type_name("FILE")
        ->check(checkFileName);
    source->require_option(1);
    command->footer("The manual page mpuparams(8) lists the keys of the text file.\n" + command->get_footer());
}

void addShow(CLI::App& app, Options_t& options) {
    CLI::App* const command =
        addCommand(app, options, "show", "Print every field of the block", "mpuparams show --key 0x1234 --json",
                   [&options](int key) { options.json ? showBlockJson(key) : showBlock(key); });
    command->add_flag("-j,--json", options.json,
                      "One JSON object: \"version\" of this format (1), \"key\", and the fields in \"params\"");
}

void addSet(CLI::App& app, Options_t& options) {
    CLI::App* const command = addCommand(
        app, options, "set", "Change fields of a live block: all assignments, or none if one is wrong",
        "mpuparams set --key 0x1234 chassisType=Chenbro3U16ATX flags+=RcpComplete macAddress[1]=00:17:34:01:02:03",
        [&options](int key) { setFields(key, options.assignments); });
    command->add_option("assignments", options.assignments, "Fields are named as \"show\" names them")
        ->required()
        ->type_name("FIELD=VALUE");
}

void addImage(CLI::App& app, Options_t& options) {
    CLI::App* const command = addCommand(app, options, "image", "Write the block as a binary image",
                                         "mpuparams image --key 0x1234 configMpu.bin",
                                         [&options](int key) { writeImage(key, options.file); });
    command->add_option("file", options.file, "File that is written or replaced")
        ->required()
        ->type_name("FILE")
        ->check(checkFileName);
}

/** One line, whatever the names and values in the message hold. */
int report(int status, std::string message) {
    std::ranges::replace_if(
        message, [](unsigned char c) { return std::iscntrl(c) != 0; }, '?');
    std::fprintf(stderr, "mpuparams: %s\n", message.c_str());
    return status;
}

/** The command, which comes first. Nothing, when help is asked for instead. */
std::string findCommand(const CLI::App& app, int argc, char** argv) {
    std::string first = argc < 2 ? "" : argv[1];
    if (first == "-h" || first == "--help") {
        return "";
    }
    std::string known;
    for (const CLI::App* command : app.get_subcommands(nullptr)) {
        if (command->get_name() == first) {
            return first;
        }
        known += (known.empty() ? "" : ", ") + command->get_name();
    }
    throw usageError((argc < 2 ? "no command" : "\"" + first + "\" is no command") + ": expected one of " + known +
                     "; see mpuparams --help");
}

int runTool(int argc, char** argv) {
    Options_t options;
    CLI::App app("Creates, shows, changes and deletes the shared parameter block of the management processes.",
                 "mpuparams");
    app.require_subcommand(1);
    app.footer("Exit status: 0 done, 1 wrong command line, 2 the operation failed.\n"
               "Example: mpuparams create --key 0x1234 --config examples/quadra.conf");
    addCreate(app, options);
    addShow(app, options);
    addSet(app, options);
    addImage(app, options);
    (void)addCommand(app, options, "delete", "Remove the block; processes that have it attached keep it",
                     "mpuparams delete --key 0x1234", deleteBlock);
    std::string command;
    try {
        command = findCommand(app, argc, argv);
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        return app.exit(help);
    } catch (const CLI::ParseError& error) {
        return report(EXIT_USAGE, std::string(error.what()) + "; see mpuparams " + command + " --help");
    } catch (const ToolError& error) {
        return report(error.status(), error.what());
    }
    return std::fflush(stdout) == 0 && std::ferror(stdout) == 0
               ? 0
               : report(EXIT_FAILED, "cannot write to standard output");
}

} // namespace

int main(int argc, char** argv) {
    try {
        return runTool(argc, argv);
    } catch (...) {
        std::fputs("mpuparams: out of memory\n", stderr); // whatever else can go wrong has been reported
        return EXIT_FAILED;
    }
}
