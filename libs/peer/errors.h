/** How a command fails: the bits of the exit status, and an error for each way. */
#pragma once

#include "tool_error.h"

/** Bits of the exit status; 0 when the command did what was asked and nothing is wrong with the enclosure. */
inline constexpr int ESACTL_K_EXIT_USAGE = TOOL_K_EXIT_USAGE;
inline constexpr int ESACTL_K_EXIT_NO_ANSWER = 2; /**< no switch, or no (usable) answer in time */
inline constexpr int ESACTL_K_EXIT_REFUSED = 4;   /**< the adapter answered, negatively */
inline constexpr int ESACTL_K_EXIT_FAULT = 8;
inline constexpr int ESACTL_K_EXIT_WARNING = 16;

inline ToolError_t noSwitchError(const std::string& text) {
    return {"no-switch", ESACTL_K_EXIT_NO_ANSWER, text};
}
inline ToolError_t noAnswerError(const std::string& text) {
    return {"no-answer", ESACTL_K_EXIT_NO_ANSWER, text};
}
inline ToolError_t badAnswerError(const std::string& text) {
    return {"bad-answer", ESACTL_K_EXIT_NO_ANSWER, text};
}
inline ToolError_t refusedError(const std::string& text) {
    return {"refused", ESACTL_K_EXIT_REFUSED, text};
}
inline ToolError_t outputError(const std::string& text) {
    return {"output", ESACTL_K_EXIT_USAGE, text};
}
inline ToolError_t internalError(const std::string& text) {
    return {"internal", ESACTL_K_EXIT_NO_ANSWER, text};
}
