/** The one loop: line, command socket, terminal, passing time. */
#pragma once

#include <chrono>
#include <list>
#include <string>

#include "commands.h"
#include "line.h"
#include "listener.h"
#include "log_writer.h"

class Server_t {
public:
    /** `listener` may be null: no command socket. */
    Server_t(Commands_t& commands, Line_t& line, const Listener_t* listener)
        : commands_(commands), line_(line), listener_(listener) {}

    /** Runs until the command "quit" or a signal of stop_signal.h; catchSignals() must have been called before. */
    void run();

    /** From now on the stop signals end run(), and a reader that goes away does no harm. */
    static void catchSignals();

private:
    using Clock_t = std::chrono::steady_clock;

    struct Peer_t {
        OwnedFd_t fd;
        std::string in, out;
        bool closing = false;
        Clock_t::time_point heard = Clock_t::now();
    };

    void passTime();
    /** `watched` with its results; from `own` on terminal, command socket, stop signal, peers. */
    void serveReady(std::span<const pollfd> watched, std::size_t own);
    void serveTerminal();
    void acceptPeer();
    void servePeer(Peer_t& peer, short events);
    void send(Peer_t& peer);
    void printTransfers();

    Commands_t& commands_;
    Line_t& line_;
    const Listener_t* listener_;
    LogWriter_t log_;          /**< of transfers: the enclosure does not wait for who reads it */
    bool acceptRests_ = false; /**< no descriptor was left: the next try comes with the next tick */
    std::list<Peer_t> peers_;
    std::string terminal_;
    bool terminalOpen_ = true;
    std::uint64_t printed_ = 0;
    Clock_t::time_point last_ = Clock_t::now();
};
