/** How the simulator ends when it cannot do what its command line asks for. */
#pragma once

#include "tool_error.h"

inline constexpr int ENCSIM_K_EXIT_FAILED = 1;

[[nodiscard]] inline ToolError_t failure(const std::string& text) {
    return {"failed", ENCSIM_K_EXIT_FAILED, text};
}
