/** Asking the monitor, where it runs. */
#pragma once

#include <optional>
#include <string>

struct MonitorReply_t {
    unsigned status; /**< of HTTP */
    std::string body;
};

/** Where it listens: ESA_MONITOR_SOCKET, else its usual place. */
[[nodiscard]] std::string monitorSocket();

/**
 * GET of `path`, query included, from the monitor that listens at `socket`; nothing when none does. Throws ToolError_t
 * "no-answer" when it does not answer in `seconds`.
 */
[[nodiscard]] std::optional<MonitorReply_t> askMonitor(const std::string& socket, const std::string& path,
                                                       double seconds);

/** A value in a query, with everything but letters, digits and "-_.~" written as %XX. */
[[nodiscard]] std::string queryValue(const std::string& text);
