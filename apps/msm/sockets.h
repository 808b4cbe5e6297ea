/** The switch's listening sockets in its directory. */
#pragma once

#include <string>
#include <vector>

#include "router.h"

/** File name of the socket whose connections are given a free id. */
inline constexpr const char* MSM_K_PEER_SOCKET = "peer";

struct Listener_t {
    int descriptor; /**< non-blocking */
    U8_t endpoint;  /**< id of its connections; MSM_K_FIRST_PEER for `peer` */
    std::string path;
};

/**
 * Owns the directory and the sockets in it. A lock on the directory itself tells a live switch from a dead one: it goes
 * with the process however that ends, so sockets that a dead switch left behind are simply replaced.
 */
class SocketDirectory_t {
public:
    SocketDirectory_t() = default;
    SocketDirectory_t(const SocketDirectory_t&) = delete;
    SocketDirectory_t& operator=(const SocketDirectory_t&) = delete;
    /** Closes and removes the sockets. */
    ~SocketDirectory_t();

    /** Locks the directory and listens on all sockets; a line on what is wrong when that fails, else an empty text. */
    std::string open(const std::string& directory);

    const std::vector<Listener_t>& listeners() const { return listeners_; }

private:
    std::string listenOn(const std::string& path, U8_t endpoint);

    int lock_ = -1;
    std::vector<Listener_t> listeners_;
};
