#pragma once

#include <string>

/**
 * Gives the simulator whose command socket is at `path` one command and prints its reply: the lines before "ok" on
 * standard output, a refusal on standard error. Returns 0, or 1 when the command was refused. Throws
 * ToolError_t when nobody answers there.
 */
int sendCommand(const std::string& path, const std::string& command);
