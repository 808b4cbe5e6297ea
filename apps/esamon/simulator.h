/** The hands of a simulated enclosure. */
#pragma once

#include <string>

/** Gives the simulator at `path` a command; its reply. Throws ToolError_t with what it says is wrong, or when it is
 * away. */
[[nodiscard]] std::string askSimulator(const std::string& path, const std::string& command);
