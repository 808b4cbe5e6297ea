#pragma once
// The one loop: line, control socket, terminal, passing time.

#include "sim/control.h"
#include "sim/line.h"
#include "sim/listener.h"

#include <chrono>
#include <list>
#include <string>

namespace encsim {

class Server {
public:
    /// `listener` may be null: no control socket.
    Server(Control& control, Line& line, const Listener* listener)
        : control_(control), line_(line), listener_(listener) {}

    /// Runs until the command "quit", SIGINT or SIGTERM; catchSignals() must have been called before.
    void run();

    /// From now on SIGINT and SIGTERM end run(), and a reader that goes away does no harm.
    static void catchSignals();

private:
    using Clock = std::chrono::steady_clock;

    struct Peer {
        Descriptor fd;
        std::string in, out;
        bool closing = false;
    };

    void passTime();
    void serveTerminal();
    void acceptPeer();
    void servePeer(Peer& peer, short events);
    void send(Peer& peer);
    void printTransfers();

    Control& control_;
    Line& line_;
    const Listener* listener_;
    std::list<Peer> peers_;
    std::string terminal_;
    bool terminalOpen_ = true;
    std::uint64_t printed_ = 0;
    Clock::time_point last_ = Clock::now();
};

} // namespace encsim
