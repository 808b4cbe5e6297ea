#pragma once
// The one loop: bridge line, control socket, terminal, passing time.

#include "sim/control.h"
#include "sim/descriptor.h"
#include "sim/pty.h"

#include <list>
#include <string>

namespace encsim {

/// A UNIX stream socket that listens at a path, and removes it at the end.
class Listener {
public:
    /// A socket nobody answers at any more is replaced. Throws std::runtime_error when the path is taken otherwise.
    explicit Listener(std::string path);
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    int fd() const { return fd_.get(); }

private:
    std::string path_;
    Descriptor fd_;
};

class Server {
public:
    /// `listener` may be null: no control socket.
    Server(Control& control, Pty& line, const Listener* listener)
        : control_(control), line_(line), listener_(listener) {}

    /// Runs until the command "quit", SIGINT or SIGTERM; catchSignals() must have been called before.
    void run();

    /// From now on SIGINT and SIGTERM end run(), and a reader that goes away does no harm.
    static void catchSignals();

private:
    struct Peer {
        Descriptor fd;
        std::string in, out;
        bool closing = false;
    };

    void passTime();
    void serveLine();
    void serveTerminal();
    void acceptPeer();
    void servePeer(Peer& peer, short events);
    void send(Peer& peer);
    void printTransfers();

    Control& control_;
    Pty& line_;
    const Listener* listener_;
    std::list<Peer> peers_;
    std::string terminal_;
    bool terminalOpen_ = true;
    std::uint64_t printed_ = 0;
    Bridge::Clock::time_point last_ = Bridge::Clock::now();
};

} // namespace encsim
