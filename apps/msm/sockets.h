/** The switch's listening sockets in a directory. */
#pragma once

#include <optional>
#include <span>
#include <string>
#include <sys/types.h>
#include <vector>

#include "places.h"
#include "router.h"

/** File name of the sockets whose connections are given a free id. */
inline constexpr const char* MSM_K_PEER_SOCKET = "peer";
/** File name of the sockets whose connections hear what the adapter reports. */
inline constexpr const char* MSM_K_LISTEN_SOCKET = "listen";
/** File that a switch locks in its directory. */
inline constexpr const char* MSM_K_LOCK_FILE = ".msm.lock";

/** A listening socket, non-blocking, and a descriptor kept for its next connection. */
struct Listener_t {
    int descriptor;
    Door_e door;
    std::string path;
    int spare = -1;        /**< given up when the process has run out of descriptors; -1 when it has been */
    bool isPaused = false; /**< connections wait, since there is no room for them */
};

/**
 * Owns a directory and the sockets in it. A lock on a file of the switch's own tells a live switch from a dead one: it
 * goes with the process however that ends, so sockets that a dead switch left behind are simply replaced. The file
 * cannot be opened by others, as the directory could: whoever may look into it would keep the switch from starting.
 */
class SocketDirectory_t {
public:
    SocketDirectory_t() = default;
    SocketDirectory_t(const SocketDirectory_t&) = delete;
    SocketDirectory_t& operator=(const SocketDirectory_t&) = delete;
    /** Closes and removes the sockets and the lock. */
    ~SocketDirectory_t();

    /** Locks the directory and listens on all sockets; a line on what is wrong when that fails, else an empty text. */
    std::string open(const std::string& directory);
    /** The same with `peer`, for questions only, and `listen`: whoever can enter the directory can use them. */
    std::string openForQuestions(const std::string& directory);

    std::vector<Listener_t>& listeners() { return listeners_; }
    /** User that the directory belongs to. */
    uid_t owner() const { return owner_; }

    /** Takes a descriptor from the socket's own reserve; false when there is none. */
    static bool useSpare(Listener_t& listener);
    /** Fills the reserves again as far as there are descriptors. */
    void renewSpares();

private:
    std::string lock(const std::string& directory);
    std::string listenOn(const std::string& path, Door_e door, std::optional<mode_t> mode);

    std::string lockPath_;
    int lock_ = -1;
    uid_t owner_ = 0;
    std::vector<Listener_t> listeners_;
};
