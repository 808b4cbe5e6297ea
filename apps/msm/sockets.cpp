#include "sockets.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

std::string failure(const std::string& what) {
    return what + ": " + std::strerror(errno);
}

int openSocket() {
    return ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
}

const sockaddr* generic(const sockaddr_un& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

/** Whether a process listens there; EAGAIN means that its queue of connections is full. */
bool isAlive(const sockaddr_un& address) {
    const int probe = openSocket();
    const bool alive = ::connect(probe, generic(address), sizeof address) == 0 || errno == EAGAIN;
    (void)::close(probe);
    return alive;
}

/** Removes the socket of a dead process; anything else that is in the way is left and reported. */
std::string makeRoom(const std::string& path, const sockaddr_un& address) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        return {};
    }
    if (!S_ISSOCK(status.st_mode)) {
        return path + " is in the way: it is not a socket";
    }
    if (isAlive(address)) {
        return path + " is in use by another process";
    }
    return ::unlink(path.c_str()) == 0 ? std::string() : failure("cannot remove " + path);
}

} // namespace

SocketDirectory_t::~SocketDirectory_t() {
    for (const Listener_t& listener : listeners_) {
        (void)::unlink(listener.path.c_str());
        (void)::close(listener.descriptor);
    }
    if (lock_ >= 0) {
        (void)::close(lock_);
    }
}

std::string SocketDirectory_t::open(const std::string& directory) {
    lock_ = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (lock_ < 0) {
        return failure("cannot open directory " + directory);
    }
    if (::flock(lock_, LOCK_EX | LOCK_NB) != 0) {
        return errno == EWOULDBLOCK ? "a switch is running in " + directory + " already"
                                    : failure("cannot lock " + directory);
    }
    for (const MsmNamedEndpoint_t& named : MSM_K_NAMED_ENDPOINTS) {
        if (std::string error = listenOn(directory + '/' + named.name, named.endpoint); !error.empty()) {
            return error;
        }
    }
    return listenOn(directory + '/' + MSM_K_PEER_SOCKET, MSM_K_FIRST_PEER);
}

std::string SocketDirectory_t::listenOn(const std::string& path, U8_t endpoint) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return "socket name " + path + " is longer than " + std::to_string(sizeof address.sun_path - 1) + " characters";
    }
    path.copy(address.sun_path, path.size());
    if (std::string error = makeRoom(path, address); !error.empty()) {
        return error;
    }
    const int descriptor = openSocket();
    if (descriptor < 0) {
        return failure("cannot create a socket");
    }
    if (::bind(descriptor, generic(address), sizeof address) != 0) {
        std::string error = failure("cannot create " + path);
        (void)::close(descriptor);
        return error;
    }
    listeners_.push_back({descriptor, endpoint, path});
    return ::listen(descriptor, SOMAXCONN) == 0 ? std::string() : failure("cannot listen on " + path);
}
