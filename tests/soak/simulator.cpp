#include "simulator.h"

#include <cstdio>
#include <stdexcept>
#include <sys/socket.h>

namespace soak {

std::string Simulator::command(const std::string& text) {
    const std::string line = text + "\n";
    if (send(socket_.get(), line.data(), line.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(line.size())) {
        throw std::runtime_error("the simulator does not take \"" + text + "\"");
    }
    std::string reply;
    while (!reply.ends_with("ok\n")) {
        char bytes[4096];
        const ssize_t count = recv(socket_.get(), bytes, sizeof bytes, 0);
        if (count <= 0) {
            throw std::runtime_error("the simulator has ended");
        }
        reply.append(bytes, static_cast<std::size_t>(count));
        if (reply.starts_with("error: ") && reply.ends_with('\n')) {
            throw std::runtime_error("the simulator refuses \"" + text + "\": " + reply);
        }
    }
    reply.resize(reply.size() - 3);
    return reply;
}

Transfers Simulator::transfers() {
    const std::string reply = command("transfers");
    unsigned long long total = 0;
    unsigned long long reads = 0;
    unsigned long long writes = 0;
    if (std::sscanf(reply.c_str(), "total %llu reads %llu writes %llu", &total, &reads, &writes) != 3) {
        throw std::runtime_error("the simulator counts its transfers as \"" + reply + "\"");
    }
    return {reads, writes};
}

} // namespace soak
