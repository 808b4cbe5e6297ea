#pragma once
// The simulator's control socket.

#include "adapter.h"

namespace soak {

struct Transfers {
    std::uint64_t reads = 0, writes = 0;
};

class Simulator {
public:
    explicit Simulator(const std::string& path) : socket_(connectTo(path)) {}

    /// The reply to a command without its last line; throws std::runtime_error when the command is refused.
    std::string command(const std::string& text);

    /// What has gone over the bus since the simulator started.
    Transfers transfers();

private:
    Descriptor socket_;
};

} // namespace soak
