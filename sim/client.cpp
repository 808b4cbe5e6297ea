#include "client.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "failure.h"
#include "listener.h"
#include "owned_fd.h"
#include "simulator_reply.h"
#include "unix_stream.h"

int sendCommand(const std::string& path, const std::string& command) {
    checkSocketPath(path);
    const OwnedFd_t fd(unixConnect(path).descriptor);
    if (fd.get() < 0) {
        throw failure("no simulator answers at " + path + ": " + std::strerror(errno));
    }
    const std::string line = command.substr(0, command.find('\n')) + "\n";
    if (!sendWhole(fd.get(), {reinterpret_cast<const U8_t*>(line.data()), line.size()})) {
        throw failure("cannot send the command to " + path + ": " + std::strerror(errno));
    }
    std::string reply;
    std::size_t last = std::string::npos;
    while ((last = simulatorVerdict(reply)) == std::string::npos) {
        char bytes[4096];
        const ssize_t count = recv(fd.get(), bytes, sizeof bytes, 0);
        if (count <= 0) {
            throw failure("the simulator at " + path + " has ended before its reply was complete");
        }
        reply.append(bytes, static_cast<std::size_t>(count));
    }
    std::fwrite(reply.data(), 1, last, stdout);
    if (reply.compare(last, std::string::npos, "ok\n") == 0) {
        return 0;
    }
    std::fputs(reply.c_str() + last, stderr);
    return 1;
}
