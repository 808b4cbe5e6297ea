#include "simulator_reply.h"

#include <string_view>

std::size_t simulatorVerdict(const std::string& reply) {
    if (!reply.ends_with('\n')) {
        return std::string::npos;
    }
    const std::string_view lines(reply.data(), reply.size() - 1);
    const std::size_t begin = lines.rfind('\n') + 1; // of the only line: npos and 1 are 0
    const std::string_view last = lines.substr(begin);
    return last == "ok" || last.starts_with("error: ") ? begin : std::string::npos;
}
