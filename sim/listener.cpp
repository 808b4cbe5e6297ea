#include "sim/listener.h"

#include "sim/unix_socket.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <sys/stat.h>

namespace encsim {
namespace {

/// Removes a socket that a simulator which has died left behind; a file of another kind stays.
void clearStale(const sockaddr_un& address, const char* option) {
    struct stat there {};
    if (lstat(address.sun_path, &there) != 0 || !S_ISSOCK(there.st_mode)) {
        return;
    }
    const Descriptor probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (connect(probe.get(), generic(address), sizeof address) == 0) {
        throw std::runtime_error(std::string("another process serves ") + address.sun_path +
                                 "; stop it or give another " + option);
    }
    if (errno == ECONNREFUSED) {
        unlink(address.sun_path);
    }
}

} // namespace

Listener::Listener(std::string path, const char* option) : path_(std::move(path)) {
    const sockaddr_un address = socketAddress(path_);
    clearStale(address, option);
    fd_ = Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (fd_.get() < 0 || bind(fd_.get(), generic(address), sizeof address) != 0 || listen(fd_.get(), 8) != 0) {
        throw std::runtime_error("cannot listen at " + path_ + ": " + std::strerror(errno) + "; give another " +
                                 option);
    }
}

Listener::~Listener() {
    unlink(path_.c_str());
}

} // namespace encsim
