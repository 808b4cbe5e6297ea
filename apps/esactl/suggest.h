/** What a shell may offer while a command line is being typed; nothing where the adapter cannot be asked. */
#pragma once

#include <string>
#include <vector>

#include "options.h"

std::vector<std::string> suggestChassis();

/* Each asks the enclosure that the options name, for a second at most. */
std::vector<std::string> suggestSlots(Options_t& options);
std::vector<std::string> suggestFans(Options_t& options);
std::vector<std::string> suggestSupplies(Options_t& options);
std::vector<std::string> suggestProblems(Options_t& options);
