#include "listener.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

#include "failure.h"
#include "unix_stream.h"

namespace {

/** Removes a socket that a simulator which has died left behind; a file of another kind stays. */
void clearStale(const std::string& path, const char* option) {
    struct stat there {};
    if (lstat(path.c_str(), &there) != 0 || !S_ISSOCK(there.st_mode)) {
        return;
    }
    if (unixHasListener(path)) {
        throw failure("another process serves " + path + "; stop it or give another " + option);
    }
    if (errno == ECONNREFUSED) {
        unlink(path.c_str());
    }
}

} // namespace

void checkSocketPath(const std::string& path) {
    if (path.empty() || path.size() > UNIX_K_MAX_PATH) {
        throw failure("a socket's path must have 1 to " + std::to_string(UNIX_K_MAX_PATH) + " characters: " + path);
    }
}

Listener_t::Listener_t(std::string path, const char* option) : path_(std::move(path)) {
    checkSocketPath(path_);
    clearStale(path_, option);
    fd_ = OwnedFd_t(unixListen(path_).descriptor);
    if (fd_.get() < 0) {
        throw failure("cannot listen at " + path_ + ": " + std::strerror(errno) + "; give another " + option);
    }
}

Listener_t::~Listener_t() {
    unlink(path_.c_str());
}
