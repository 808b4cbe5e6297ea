#include "listener.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <sys/stat.h>

#include "unix_socket.h"

namespace {

/** Removes a socket that a simulator which has died left behind; a file of another kind stays. */
void clearStale(const sockaddr_un& address, const char* option) {
    struct stat there {};
    if (lstat(address.sun_path, &there) != 0 || !S_ISSOCK(there.st_mode)) {
        return;
    }
    const OwnedFd_t probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (connect(probe.get(), generic(address), sizeof address) == 0) {
        throw std::runtime_error(std::string("another process serves ") + address.sun_path +
                                 "; stop it or give another " + option);
    }
    if (errno == ECONNREFUSED) {
        unlink(address.sun_path);
    }
}

} // namespace

Listener_t::Listener_t(std::string path, const char* option) : path_(std::move(path)) {
    const sockaddr_un address = socketAddress(path_);
    clearStale(address, option);
    fd_ = OwnedFd_t(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (fd_.get() < 0 || bind(fd_.get(), generic(address), sizeof address) != 0 || listen(fd_.get(), 8) != 0) {
        throw std::runtime_error("cannot listen at " + path_ + ": " + std::strerror(errno) + "; give another " +
                                 option);
    }
}

Listener_t::~Listener_t() {
    unlink(path_.c_str());
}
