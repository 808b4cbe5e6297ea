/** Command lines: a program says what it takes, and gets its values, or help, or one line on what is wrong. */
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/** Both are allowed themselves. The type is the one that help and complaints name. */
template <typename T>
struct CliRange_t {
    T least;
    T most;
};

/** An option ("--queue" or "-k,--key"), or an argument without a name of its own on the line ("FILE"). */
struct CliOption_t {
    const char* name;
    std::string description;
    /** Where the value goes; a bool is a flag without a value, a vector takes one value or more. */
    std::variant<bool*, int*, unsigned*, double*, std::string*, std::vector<std::string>*> target;
    const char* type = nullptr; /**< what help calls the value; nullptr: its C type */
    bool required = false;
    bool showsDefault = false; /**< help names what the target holds now */
    bool isFileName = false;   /**< an empty text is refused */
    std::vector<const char*> choices = {};
    std::variant<std::monostate, CliRange_t<int>, CliRange_t<unsigned>, CliRange_t<double>> range = {};
    const char* needs = nullptr; /**< name of an option, given earlier in the list, without which this one is refused */
    const char* excludes = nullptr; /**< name of one, given earlier in the list, beside which this one is refused */
    /** What a shell may offer for it; called when what stands before on the line has reached its targets. */
    std::function<std::vector<std::string>()> suggest = {};
    bool isList = false; /**< items separated by commas: a shell completes the last one */
};

/** Options of which exactly one must be given. */
struct CliChoice_t {
    std::string name;
    std::string description;
    std::vector<CliOption_t> options;
};

struct CliCommand_t {
    std::string name;
    std::string description;
    std::string footer; /**< of its help */
    std::vector<CliOption_t> options;
    std::optional<CliChoice_t> choice = {};
};

struct CliProgram_t {
    std::string name;
    std::string description;
    std::string footer = {};
    std::vector<CliOption_t> options = {};   /**< given before a command */
    std::vector<CliCommand_t> commands = {}; /**< exactly one must be given; none: the program has no commands */
};

struct CliResult_t {
    std::optional<int> exitStatus = {};  /**< help or the version was printed: end with this */
    std::size_t command = 0;             /**< index of the one that was given */
    std::vector<std::string> given = {}; /**< names of the program's own options that were given */

    [[nodiscard]] bool isGiven(std::string_view option) const;
};

/**
 * Fills the targets from the command line. Throws usageError() when something is wrong with it, and where to read on;
 * they may be half filled then. A line of "--complete" and words is a shell's question: what may stand in the place of
 * the last word is printed (completion.h).
 */
[[nodiscard]] CliResult_t parseCommandLine(const CliProgram_t& program, int argc, const char* const* argv);

/** The same for a program whose commands are the `line` of each row. */
template <typename Row>
[[nodiscard]] CliResult_t parseCommandLine(CliProgram_t program, const std::vector<Row>& rows, int argc,
                                           const char* const* argv) {
    for (const Row& row : rows) {
        program.commands.push_back(row.line);
    }
    return parseCommandLine(program, argc, argv);
}
