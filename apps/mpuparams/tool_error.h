/** How a command of this tool ends when it cannot do what it was asked for. */
#pragma once

#include <stdexcept>
#include <string>

inline constexpr int EXIT_USAGE = 1;  /**< the command line names something that does not exist or does not fit */
inline constexpr int EXIT_FAILED = 2; /**< the command line is right, the operation could not be carried out */

/** A message of one line for the person at the terminal, and the exit status. */
class ToolError : public std::runtime_error {
public:
    ToolError(int status, const std::string& message) : std::runtime_error(message), status_(status) {}

    [[nodiscard]] int status() const { return status_; }

private:
    int status_;
};

[[nodiscard]] inline ToolError usageError(const std::string& message) {
    return {EXIT_USAGE, message};
}

[[nodiscard]] inline ToolError failure(const std::string& message) {
    return {EXIT_FAILED, message};
}
