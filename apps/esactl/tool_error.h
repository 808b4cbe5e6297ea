/** How a command fails: the bits of the exit status and the error that carries them to the top. */
#pragma once

#include <stdexcept>
#include <string>

/** Bits of the exit status; 0 when the command did what was asked and nothing is wrong with the enclosure. */
inline constexpr int ESACTL_K_EXIT_USAGE = 1;
inline constexpr int ESACTL_K_EXIT_NO_ANSWER = 2; /**< no switch, or no (usable) answer in time */
inline constexpr int ESACTL_K_EXIT_REFUSED = 4;   /**< the adapter answered, negatively */
inline constexpr int ESACTL_K_EXIT_FAULT = 8;
inline constexpr int ESACTL_K_EXIT_WARNING = 16;

/** Ends a command. `what()` is one line: what is wrong and what would be right. */
class ToolError : public std::runtime_error {
public:
    ToolError(const char* code, int exitStatus, const std::string& text)
        : std::runtime_error(text), code_(code), exitStatus_(exitStatus) {}

    /** Stable word for programs: "usage", "no-switch", "no-answer", "bad-answer", "refused" or "output". */
    const char* code() const { return code_; }
    int exitStatus() const { return exitStatus_; }

private:
    const char* code_;
    int exitStatus_;
};

inline ToolError usageError(const std::string& text) {
    return {"usage", ESACTL_K_EXIT_USAGE, text};
}
inline ToolError noSwitchError(const std::string& text) {
    return {"no-switch", ESACTL_K_EXIT_NO_ANSWER, text};
}
inline ToolError noAnswerError(const std::string& text) {
    return {"no-answer", ESACTL_K_EXIT_NO_ANSWER, text};
}
inline ToolError badAnswerError(const std::string& text) {
    return {"bad-answer", ESACTL_K_EXIT_NO_ANSWER, text};
}
inline ToolError refusedError(const std::string& text) {
    return {"refused", ESACTL_K_EXIT_REFUSED, text};
}
inline ToolError outputError(const std::string& text) {
    return {"output", ESACTL_K_EXIT_USAGE, text};
}
