#include "simulator_reply.h"

std::size_t simulatorVerdict(const std::string& reply) {
    if (!reply.ends_with('\n')) {
        return std::string::npos;
    }
    const std::size_t before = reply.size() == 1 ? std::string::npos : reply.rfind('\n', reply.size() - 2);
    const std::size_t begin = before == std::string::npos ? 0 : before + 1;
    const bool isVerdict =
        reply.compare(begin, std::string::npos, "ok\n") == 0 || reply.compare(begin, 7, "error: ") == 0;
    return isVerdict ? begin : std::string::npos;
}
