#include "adapter.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace soak {
namespace {

constexpr int kSilenceMs = 60000;

std::runtime_error failure(const std::string& what) {
    return std::runtime_error(what + ": " + std::strerror(errno));
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw std::runtime_error(path + " is too long for a socket");
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

int openSocket() {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        throw failure("socket");
    }
    return fd;
}

} // namespace

Descriptor::~Descriptor() {
    reset(-1);
}

void Descriptor::reset(int fd) {
    if (fd_ >= 0) {
        close(fd_);
    }
    fd_ = fd;
}

int connectTo(const std::string& path) {
    const sockaddr_un address = addressOf(path);
    const int fd = openSocket();
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw failure(path);
    }
    return fd;
}

int listenAt(const std::string& path) {
    const sockaddr_un address = addressOf(path);
    const int fd = openSocket();
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 || listen(fd, 1) != 0) {
        throw failure(path);
    }
    return fd;
}

void AdapterSocket::accept(std::chrono::seconds timeout) {
    pollfd waiting{listener_.get(), POLLIN, 0};
    if (::poll(&waiting, 1, static_cast<int>(timeout.count()) * 1000) != 1) {
        throw std::runtime_error("the adapter does not connect");
    }
    peer_.reset(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
}

bool AdapterSocket::receive(std::vector<std::string>& lines, std::uint32_t handle) {
    std::uint8_t bytes[65536];
    const ssize_t count = recv(peer_.get(), bytes, sizeof bytes, 0);
    if (count <= 0) {
        throw std::runtime_error("the adapter has closed its socket");
    }
    pending_.insert(pending_.end(), bytes, bytes + count);
    std::size_t at = 0;
    bool found = false;
    while (pending_.size() - at >= 64) {
        const Bytes rest = Bytes(pending_).subspan(at);
        const std::size_t length = be16(rest, 10);
        if (length < 64) {
            throw std::runtime_error("a message of length " + std::to_string(length));
        }
        if (rest.size() < length) {
            break;
        }
        const Bytes message = rest.first(length);
        lines.push_back(describe(message));
        found = found || (handle != 0 && replyHandle(message) == handle);
        at += length;
    }
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(at));
    return found;
}

std::vector<std::string> AdapterSocket::exchange(Bytes bytes, std::uint32_t handle) {
    std::vector<std::string> lines;
    for (bool found = false; !found;) {
        const int wanted = bytes.empty() ? POLLIN : POLLIN | POLLOUT;
        pollfd waiting{peer_.get(), static_cast<short>(wanted), 0};
        if (::poll(&waiting, 1, kSilenceMs) <= 0) {
            throw std::runtime_error("the adapter does not answer any more");
        }
        if ((waiting.revents & POLLOUT) != 0) {
            const ssize_t sent = send(peer_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
            if (sent < 0 && errno != EAGAIN) {
                throw failure("sending to the adapter");
            }
            bytes = bytes.subspan(static_cast<std::size_t>(sent < 0 ? 0 : sent));
        }
        if ((waiting.revents & ~POLLOUT) != 0) {
            found = receive(lines, handle);
        }
    }
    return lines;
}

std::vector<std::string> AdapterSocket::drain(std::chrono::milliseconds quiet) {
    std::vector<std::string> lines;
    pollfd waiting{peer_.get(), POLLIN, 0};
    while (::poll(&waiting, 1, static_cast<int>(quiet.count())) == 1) {
        (void)receive(lines, 0);
    }
    return lines;
}

} // namespace soak
