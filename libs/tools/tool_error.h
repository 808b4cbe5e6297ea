/** How a command of a tool ends when it cannot do what it was asked for. */
#pragma once

#include <stdexcept>
#include <string>

/** Ends a command. `what()` says what is wrong and what would be right. */
class ToolError_t : public std::runtime_error {
public:
    ToolError_t(const char* code, int exitStatus, const std::string& text)
        : std::runtime_error(text), code_(code), exitStatus_(exitStatus) {}

    /** Stable word for programs, such as "usage". */
    [[nodiscard]] const char* code() const { return code_; }
    [[nodiscard]] int exitStatus() const { return exitStatus_; }

private:
    const char* code_;
    int exitStatus_;
};

/** Exit status where the command line names something that does not exist or does not fit. */
inline constexpr int TOOL_K_EXIT_USAGE = 1;

[[nodiscard]] inline ToolError_t usageError(const std::string& text) {
    return {"usage", TOOL_K_EXIT_USAGE, text};
}

/**
 * Prints "program: text" on standard error, on one line whatever the names and values in the text hold. Returns
 * `exitStatus`.
 */
int reportError(const char* program, int exitStatus, std::string text);
