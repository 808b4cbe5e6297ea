/** How a command of this tool fails. */
#pragma once

#include "tool_error.h"

inline constexpr int EXIT_FAILED = 2;   /**< the command line is right, the operation could not be carried out */
inline constexpr int EXIT_FINDINGS = 3; /**< something is wrong with the file that was judged */

[[nodiscard]] inline ToolError_t failure(const std::string& message) {
    return {"failed", EXIT_FAILED, message};
}
