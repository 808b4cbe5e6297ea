#include "unix_stream.h"

#include <array>
#include <cerrno>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

using Attach_t = int (*)(int, const sockaddr*, socklen_t);

/** A blocking send or connect gives up after `patience`; 0: never. */
void limitWaiting(int descriptor, std::chrono::milliseconds patience) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(patience);
    timeval limit{};
    limit.tv_sec = static_cast<time_t>(seconds.count());
    limit.tv_usec = static_cast<suseconds_t>(std::chrono::microseconds(patience - seconds).count());
    (void)::setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

/** Makes a socket of `type` and gives it to `attach` (connect or bind) with the address of `path`. */
UnixSocket_t openSocket(const std::string& path, int type, Attach_t attach, std::chrono::milliseconds patience = {}) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() > UNIX_K_MAX_PATH) {
        return {-1, UnixStep_e::PATH};
    }
    path.copy(address.sun_path, path.size());
    const int descriptor = ::socket(AF_UNIX, type, 0);
    if (descriptor < 0) {
        return {-1, UnixStep_e::SOCKET};
    }
    limitWaiting(descriptor, patience);
    if (attach(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const int reason = errno;
        (void)::close(descriptor);
        errno = reason;
        return {-1, UnixStep_e::ADDRESS};
    }
    return {descriptor, UnixStep_e::NONE};
}

/* Direct calls, so that a test can take their place. */
int callConnect(int descriptor, const sockaddr* address, socklen_t size) {
    return ::connect(descriptor, address, size);
}
int callBind(int descriptor, const sockaddr* address, socklen_t size) {
    return ::bind(descriptor, address, size);
}

} // namespace

UnixSocket_t unixConnect(const std::string& path, std::chrono::milliseconds patience) {
    return openSocket(path, SOCK_STREAM | SOCK_CLOEXEC, callConnect, patience);
}

bool unixHasListener(const std::string& path) {
    const UnixSocket_t probe = openSocket(path, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, callConnect);
    if (probe.failed == UnixStep_e::NONE) {
        (void)::close(probe.descriptor);
        return true;
    }
    return probe.failed == UnixStep_e::ADDRESS && errno == EAGAIN; // its queue of connections is full
}

UnixSocket_t unixListen(const std::string& path, int backlog) {
    const UnixSocket_t socket = openSocket(path, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, callBind);
    if (socket.failed != UnixStep_e::NONE || ::listen(socket.descriptor, backlog) == 0) {
        return socket;
    }
    const int reason = errno;
    (void)::close(socket.descriptor);
    (void)::unlink(path.c_str());
    errno = reason;
    return {-1, UnixStep_e::LISTEN};
}

bool sendWhole(int descriptor, std::span<const U8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent < 0) {
            return false;
        }
        bytes = bytes.subspan(static_cast<std::size_t>(sent));
    }
    return true;
}

Arrival_e MessageReader_t::readSome(int descriptor) {
    std::array<U8_t, 4096> piece;
    const ssize_t got = ::recv(descriptor, piece.data(), piece.size(), MSG_DONTWAIT);
    if (got > 0) {
        bytes_.insert(bytes_.end(), piece.begin(), piece.begin() + got);
        return Arrival_e::BYTES;
    }
    const bool later = got < 0 && (errno == EAGAIN || errno == EINTR);
    return later ? Arrival_e::NOTHING : Arrival_e::CLOSED;
}

unsigned MessageReader_t::announcedLength() const {
    return wireAt<MMCH_t>(bytes_.data()).mmsg_length;
}

MessageReader_t::Found_e MessageReader_t::next(Message_t& message) {
    if (bytes_.size() < MMSG_K_HEADER_SIZE) {
        return Found_e::INCOMPLETE;
    }
    const unsigned length = announcedLength();
    if (length < MMSG_K_HEADER_SIZE) {
        return Found_e::NONSENSE;
    }
    if (bytes_.size() < length) {
        return Found_e::INCOMPLETE;
    }
    message.assign(bytes_.begin(), bytes_.begin() + length);
    bytes_.erase(bytes_.begin(), bytes_.begin() + length);
    return Found_e::MESSAGE;
}
