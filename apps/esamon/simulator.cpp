#include "simulator.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "errors.h"
#include "simulator_reply.h"
#include "unix_stream.h"

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
    while (isOpen && (last = simulatorVerdict(reply)) == std::string::npos) {
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
