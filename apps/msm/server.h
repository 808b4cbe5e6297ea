/** The switch itself: connections in, messages routed, one thread, never waiting for a single peer. */
#pragma once

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "connection.h"
#include "router.h"
#include "sockets.h"

struct MsmOptions_t {
    std::string directory;
    std::size_t queueLimit = 256; /**< messages kept per absent endpoint */
    bool log = false;             /**< a line per message and connection on standard output */
    bool quiet = false;           /**< no "ready" line and no notices */
};

/** Bytes that wait for a slow connection at most; a full queue of greatest messages always fits, see Server_t. */
inline constexpr std::size_t MSM_K_OUTPUT_LIMIT = std::size_t{1024} * 1024;
/** Connections at a time; further ones are closed at once. */
inline constexpr std::size_t MSM_K_CONNECTIONS = 256;

/**
 * A connection that reads too slowly loses messages, whole ones, but never the connection: the adapter connects once in
 * its life and does not read while it waits for the platform, and a process held in a debugger should find its
 * connection again. What it lost is counted in notices.
 */
class Server_t {
public:
    explicit Server_t(const MsmOptions_t& options);
    Server_t(const Server_t&) = delete;
    Server_t& operator=(const Server_t&) = delete;
    ~Server_t();

    /** Starts listening; a line on what is wrong, or an empty text. SIGINT and SIGTERM are held back from here on. */
    std::string open();

    /** Switches messages until SIGINT or SIGTERM; a line on what is wrong when the system fails it, else empty. */
    std::string run();

private:
    struct Connection_t {
        int descriptor;
        U8_t endpoint;
        InStream_t in;
        OutStream_t out;
        std::uint64_t lost = 0; /**< messages that found the output buffer full */
    };

    void acceptFrom(const Listener_t& listener);
    void admit(int descriptor, const Listener_t& listener);
    void reap(const Listener_t& listener);
    void welcome(int descriptor, U8_t endpoint);
    void greet(Connection_t& peer);
    void serve(Connection_t& connection, U32_t events);
    void receive(Connection_t& connection, bool toTheEnd);
    bool switchMessages(Connection_t& sender);
    void switchMessage(const Connection_t& sender, std::span<const U8_t> message);
    void reportLosses(const Routing_t& routing);
    void deliver(Connection_t& receiver, std::span<const U8_t> message);
    void disconnect(Connection_t& connection, const std::string& why);
    Connection_t* find(int descriptor);
    const Listener_t* findListener(int descriptor) const;
    bool watch(int descriptor, int operation, U32_t events) const;

    void print(std::string_view line) const;
    void trace(std::string_view line) const;
    void notice(std::string_view line) const;

    MsmOptions_t options_;
    Router_t router_;
    SocketDirectory_t sockets_;
    std::vector<std::unique_ptr<Connection_t>> connections_; /**< by descriptor */
    std::size_t connectionCount_ = 0;
    std::uint64_t unaddressed_ = 0; /**< messages that were for nobody */
    int epoll_ = -1;
    sigset_t waitMask_{};
};
