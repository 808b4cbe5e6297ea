/** What esactl's commands are called, what each takes and who carries it out. */
#pragma once

#include <vector>

#include "command_line.h"
#include "mmsg.h"
#include "options.h"

inline constexpr CliRange_t<int> CLI_K_ENDPOINTS{0, MMSG_K_LAST_PEER};

using Run_t = int (*)(const Options_t&);

/** A command as the program's list has it, and what runs it. */
struct Command_t {
    CliCommand_t line;
    Run_t run;
};

/** Options that every command takes, before its name or after it. They fill `options`, which has to outlive them. */
std::vector<CliOption_t> commonOptions(Options_t& options);

/** All commands in the order of the help; each with the common options before its own. */
std::vector<Command_t> allCommands(Options_t& options);
