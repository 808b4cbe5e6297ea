#include "simulator.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "errors.h"
#include "unix_stream.h"

namespace {

/** Where the last line of a whole reply begins: "ok" or "error: ..."; npos while it is not there. */
std::size_t lastLine(const std::string& reply) {
    if (!reply.ends_with('\n')) {
        return std::string::npos;
    }
    const std::size_t before = reply.size() == 1 ? std::string::npos : reply.rfind('\n', reply.size() - 2);
    const std::size_t begin = before == std::string::npos ? 0 : before + 1;
    const bool isLast = reply.substr(begin) == "ok\n" || reply.substr(begin).starts_with("error: ");
    return isLast ? begin : std::string::npos;
}

} // namespace

std::string askSimulator(const std::string& path, const std::string& command) {
    const UnixSocket_t socket = unixConnect(path, std::chrono::seconds(1));
    if (socket.failed != UnixStep_e::NONE) {
        throw noAnswerError("no simulator answers at " + path + ": " + std::strerror(errno));
    }
    const timeval second{1, 0};
    (void)setsockopt(socket.descriptor, SOL_SOCKET, SO_RCVTIMEO, &second, sizeof second);
    const std::string line = command + "\n";
    std::string reply;
    std::size_t last = std::string::npos;
    bool isOpen = sendWhole(socket.descriptor, std::span(reinterpret_cast<const U8_t*>(line.data()), line.size()));
    while (isOpen && (last = lastLine(reply)) == std::string::npos) {
        char bytes[4096];
        const ssize_t count = recv(socket.descriptor, bytes, sizeof bytes, 0);
        isOpen = count > 0;
        reply.append(bytes, count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    close(socket.descriptor);
    if (last == std::string::npos) {
        throw noAnswerError("the simulator at " + path + " does not answer");
    }
    if (reply.substr(last) != "ok\n") {
        throw usageError(reply.substr(last, reply.size() - last - 1));
    }
    return reply.substr(0, last);
}
