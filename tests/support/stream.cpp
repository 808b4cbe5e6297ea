#include "stream.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <utility>

namespace testsupport {

namespace {

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

int newSocket() {
    return ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
}

bool isReady(int fd, Milliseconds_t timeout) {
    pollfd one{fd, POLLIN, 0};
    return ::poll(&one, 1, static_cast<int>(timeout.count())) == 1;
}

} // namespace

int listenAt(const std::string& path, int backlog) {
    const sockaddr_un address = addressOf(path);
    const int fd = newSocket();
    EXPECT_EQ(::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0) << path;
    EXPECT_EQ(::listen(fd, backlog), 0);
    return fd;
}

int connectTo(const std::string& path) {
    const sockaddr_un address = addressOf(path);
    const int fd = newSocket();
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        (void)::close(fd);
        return -1;
    }
    return fd;
}

std::array<int, 2> connectedPair() {
    std::array<int, 2> ends{-1, -1};
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    return ends;
}

Stream_t::Stream_t(Stream_t&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

Stream_t& Stream_t::operator=(Stream_t&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
}

void Stream_t::close() {
    if (fd_ >= 0) {
        (void)::close(std::exchange(fd_, -1));
    }
}

bool Stream_t::send(const Bytes_t& bytes) const {
    return sendText({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

bool Stream_t::sendText(std::string_view text) const {
    while (!text.empty()) {
        const ssize_t count = ::send(fd_, text.data(), text.size(), MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

bool Stream_t::read(std::span<std::uint8_t> bytes, Milliseconds_t timeout) const {
    while (!bytes.empty()) {
        if (!isReady(fd_, timeout)) {
            return false;
        }
        const ssize_t count = ::recv(fd_, bytes.data(), bytes.size(), 0);
        if (count <= 0) {
            return false;
        }
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return true;
}

std::optional<Bytes_t> Stream_t::receive(Milliseconds_t timeout) const {
    Bytes_t bytes(64);
    if (!read(bytes, timeout)) {
        return std::nullopt;
    }
    bytes.resize(lengthOf(bytes));
    if (bytes.size() < 64) {
        ADD_FAILURE() << "a message of " << bytes.size() << " bytes";
        return std::nullopt;
    }
    return read(std::span(bytes).subspan(64), timeout) ? std::optional(bytes) : std::nullopt;
}

std::int64_t Stream_t::receiveHandle(Milliseconds_t timeout) const {
    const std::optional<Bytes_t> bytes = receive(timeout);
    return bytes ? std::int64_t{get32(*bytes, 40)} : -1;
}

bool Stream_t::isSilent() const {
    return !isReady(fd_, MOMENT);
}

bool Stream_t::isClosed() const {
    std::uint8_t byte = 0;
    return isReady(fd_, PATIENCE) && ::recv(fd_, &byte, 1, 0) <= 0;
}

} // namespace testsupport
