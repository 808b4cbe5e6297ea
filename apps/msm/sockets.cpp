#include "sockets.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "unix_stream.h"
#include "words.h"

namespace {

/** Connections that wait to be taken: few, since a newcomer waits behind all of a storm's. */
constexpr int BACKLOG = 64;

std::string systemFailure(const std::string& what) {
    return what + ": " + std::strerror(errno);
}

/** Removes the socket of a dead process; anything else that is in the way is left and reported. */
std::string makeRoom(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        return {};
    }
    if (!S_ISSOCK(status.st_mode)) {
        return path + " is in the way: it is not a socket";
    }
    if (unixHasListener(path)) {
        return path + " is in use by another process";
    }
    return ::unlink(path.c_str()) == 0 ? std::string() : systemFailure("cannot remove " + path);
}

std::string complaint(UnixStep_e failed, const std::string& path) {
    switch (failed) {
    case UnixStep_e::NONE:
        return {};
    case UnixStep_e::PATH:
        return "socket name " + path + " is longer than " + std::to_string(UNIX_K_MAX_PATH) + " characters";
    case UnixStep_e::SOCKET:
        return systemFailure("cannot create a socket");
    case UnixStep_e::ADDRESS:
        return systemFailure("cannot create " + path);
    case UnixStep_e::LISTEN:
        break;
    }
    return systemFailure("cannot listen on " + path);
}

} // namespace

SocketDirectory_t::~SocketDirectory_t() {
    for (Listener_t& listener : listeners_) {
        (void)::unlink(listener.path.c_str());
        (void)::close(listener.descriptor);
        (void)useSpare(listener);
    }
    if (lock_ >= 0) {
        (void)::unlink(lockPath_.c_str());
        (void)::close(lock_);
    }
}

std::string SocketDirectory_t::open(const std::string& directory) {
    if (std::string error = lock(directory); !error.empty()) {
        return error;
    }
    constexpr std::array<Door_e, 4> DOORS = {Door_e::ADAPTER, Door_e::STARTUP, Door_e::EVENTLOG, Door_e::VOLMGR};
    for (std::size_t i = 0; i < DOORS.size(); ++i) {
        const std::string path = directory + '/' + std::string(endpointWord(MSM_K_NAMED_ENDPOINTS[i]));
        if (std::string error = listenOn(path, DOORS[i], std::nullopt); !error.empty()) {
            return error;
        }
    }
    std::string error = listenOn(directory + '/' + MSM_K_PEER_SOCKET, Door_e::PEER, std::nullopt);
    return error.empty() ? listenOn(directory + '/' + MSM_K_LISTEN_SOCKET, Door_e::LISTEN, std::nullopt) : error;
}

std::string SocketDirectory_t::openForQuestions(const std::string& directory) {
    constexpr mode_t EVERYBODY = 0666;
    std::string error = lock(directory);
    error = error.empty() ? listenOn(directory + '/' + MSM_K_PEER_SOCKET, Door_e::ASK, EVERYBODY) : error;
    return error.empty() ? listenOn(directory + '/' + MSM_K_LISTEN_SOCKET, Door_e::LISTEN, EVERYBODY) : error;
}

std::string SocketDirectory_t::lock(const std::string& directory) {
    struct stat status {};
    if (::stat(directory.c_str(), &status) != 0) {
        return systemFailure("cannot open directory " + directory);
    }
    if (!S_ISDIR(status.st_mode)) {
        return "cannot open directory " + directory + ": " + std::strerror(ENOTDIR);
    }
    owner_ = status.st_uid;
    const std::string path = directory + '/' + MSM_K_LOCK_FILE;
    // Another try when a switch that was just ending has removed the file between our opening and locking it.
    for (int tries = 0; tries < 100; ++tries) {
        const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
        if (file < 0) {
            return systemFailure("cannot open the lock file " + path);
        }
        if (::flock(file, LOCK_EX | LOCK_NB) != 0) {
            std::string error = errno == EWOULDBLOCK ? "a switch is running in " + directory + " already"
                                                     : systemFailure("cannot lock " + path);
            (void)::close(file);
            return error;
        }
        struct stat named {};
        if (::fstat(file, &status) == 0 && ::lstat(path.c_str(), &named) == 0 && named.st_ino == status.st_ino &&
            named.st_dev == status.st_dev) {
            lock_ = file;
            lockPath_ = path;
            return {};
        }
        (void)::close(file);
    }
    return "cannot lock " + path + ": it is removed again and again";
}

std::string SocketDirectory_t::listenOn(const std::string& path, Door_e door, std::optional<mode_t> mode) {
    if (path.size() > UNIX_K_MAX_PATH) {
        return complaint(UnixStep_e::PATH, path);
    }
    if (std::string error = makeRoom(path); !error.empty()) {
        return error;
    }
    const mode_t mask = mode ? ::umask(static_cast<mode_t>(~*mode & 0777)) : 0;
    const UnixSocket_t socket = unixListen(path, BACKLOG);
    const int reason = errno;
    if (mode) {
        (void)::umask(mask);
    }
    if (socket.failed != UnixStep_e::NONE) {
        errno = reason;
        return complaint(socket.failed, path);
    }
    listeners_.push_back({socket.descriptor, door, path});
    renewSpares();
    return {};
}

bool SocketDirectory_t::useSpare(Listener_t& listener) {
    if (listener.spare < 0) {
        return false;
    }
    (void)::close(listener.spare);
    listener.spare = -1;
    return true;
}

void SocketDirectory_t::renewSpares() {
    for (Listener_t& listener : listeners_) {
        if (listener.spare < 0) {
            listener.spare = ::fcntl(listener.descriptor, F_DUPFD_CLOEXEC, 0);
        }
    }
}
