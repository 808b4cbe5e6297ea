#include "command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <functional>

#include "completion.h"
#include "listed.h"
#include "tool_error.h"

namespace {

std::string checkFileName(const std::string& name) {
    return name.empty() ? "expected the name of a file" : "";
}

CLI::Option* addValue(CLI::App& app, const CliOption_t& option) {
    return std::visit(
        [&](auto* target) {
            if constexpr (std::is_same_v<decltype(target), bool*>) {
                return app.add_flag(option.name, *target, option.description);
            } else {
                return app.add_option(option.name, *target, option.description);
            }
        },
        option.target);
}

void addRange(CLI::Option& added, const CliOption_t& option) {
    std::visit(
        [&](const auto& range) {
            if constexpr (!std::is_same_v<std::decay_t<decltype(range)>, std::monostate>) {
                added.check(CLI::Range(range.least, range.most));
            }
        },
        option.range);
}

CLI::Option& addOption(CLI::App& app, const CliOption_t& option) {
    CLI::Option& added = *addValue(app, option);
    if (option.required) {
        added.required();
    }
    if (option.type != nullptr) {
        added.type_name(option.type);
    }
    if (option.isFileName) {
        added.check(checkFileName);
    }
    if (!option.choices.empty()) {
        added.check(CLI::IsMember(std::vector<std::string>(option.choices.begin(), option.choices.end())));
    }
    addRange(added, option);
    if (option.showsDefault) {
        added.capture_default_str();
    }
    if (option.needs != nullptr) {
        added.needs(app.get_option(option.needs));
    }
    if (option.excludes != nullptr) {
        added.excludes(app.get_option(option.excludes));
    }
    return added;
}

void addCommand(CLI::App& app, const CliCommand_t& command, const std::function<void()>& whenGiven) {
    CLI::App& added = *app.add_subcommand(command.name, command.description);
    for (const CliOption_t& option : command.options) {
        (void)addOption(added, option);
    }
    if (command.choice) {
        CLI::Option_group& group = *added.add_option_group(command.choice->name, command.choice->description);
        for (const CliOption_t& option : command.choice->options) {
            (void)addOption(group, option);
        }
        group.require_option(1);
    }
    added.footer(command.footer);
    added.final_callback(whenGiven);
}

/** Returns the program's own options, in their order. */
std::vector<const CLI::Option*> declare(CLI::App& app, const CliProgram_t& program, CliResult_t& result) {
    std::vector<const CLI::Option*> own;
    app.set_version_flag("--version", program.name + " " + ESA_VERSION);
    app.footer(program.footer);
    for (const CliOption_t& option : program.options) {
        own.push_back(&addOption(app, option));
    }
    for (std::size_t i = 0; i < program.commands.size(); ++i) {
        addCommand(app, program.commands[i], [&result, i] { result.command = i; });
    }
    if (!program.commands.empty()) {
        app.require_subcommand(1);
    }
    return own;
}

/** What is wrong with an option that there is none of, or with the command; empty when nothing is. */
std::string unknownWord(const CliProgram_t& program, const CliPlace_t& place) {
    if (place.isHelp) {
        return "";
    }
    if (!place.unknownOption.empty()) {
        return "there is no option '" + place.unknownOption + "'" +
               (place.isBeforeCommand ? " before the command" : "") + ": expected one of " +
               listed(optionNames(program, place.isBeforeCommand ? nullptr : place.command));
    }
    if (program.commands.empty() || place.command != nullptr) {
        return "";
    }
    std::vector<std::string> known;
    for (const CliCommand_t& command : program.commands) {
        known.push_back(command.name);
    }
    return (place.unknown.empty() ? "no command" : "'" + place.unknown + "' is no command") + ": expected one of " +
           listed(known);
}

void printCompletions(const CliProgram_t& program, const std::vector<std::string>& words) {
    for (const std::string& line : completionsOf(program, words)) {
        (void)std::printf("%s\n", line.c_str());
    }
}

} // namespace

bool CliResult_t::isGiven(std::string_view option) const {
    return std::ranges::find(given, option) != given.end();
}

CliResult_t parseCommandLine(const CliProgram_t& program, int argc, const char* const* argv) {
    CliResult_t result;
    if (argc > 1 && std::string_view(argv[1]) == "--complete") {
        printCompletions(program, std::vector<std::string>(argv + 2, argv + argc));
        result.exitStatus = 0;
        return result;
    }
    const CliPlace_t place = findPlace(program, std::vector<std::string>(argv + 1, argv + argc));
    const bool isOwn = place.command == nullptr || place.isBeforeCommand;
    const std::string help = "; see " + program.name + (isOwn ? "" : " " + place.command->name) + " --help";
    if (const std::string wrong = unknownWord(program, place); !wrong.empty()) {
        throw usageError(wrong + help);
    }
    CLI::App app(program.description, program.name);
    const std::vector<const CLI::Option*> own = declare(app, program, result);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            result.exitStatus = app.exit(error); // prints it
        } else {
            throw usageError(error.what() + help);
        }
    }
    for (std::size_t i = 0; i < own.size(); ++i) {
        if (own[i]->count() != 0) {
            result.given.push_back(program.options[i].name);
        }
    }
    return result;
}
