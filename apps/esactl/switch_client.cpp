#include "switch_client.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "interrupt.h"
#include "tool_error.h"

namespace {

// Endpoint ids that the switch hands out to peers without an id of their own; 63 is the last that a bitmap can name.
constexpr U8_t PEER_K_FIRST_ID = 34;
constexpr U8_t PEER_K_LAST_ID = 63;

int connectTo(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw usageError("socket path '" + path + "' is too long; use a --directory of at most " +
                         std::to_string(sizeof address.sun_path - 10) + " characters");
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        throw noSwitchError(std::string("cannot make a socket: ") + std::strerror(errno));
    }
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const int reason = errno;
        close(fd);
        throw noSwitchError("no switch at '" + path + "' (" + std::strerror(reason) +
                            "); start it or name its directory with --directory");
    }
    return fd;
}

U8_t takeGreeting(SwitchConnection& connection, Deadline deadline) {
    const std::optional<Message> greeting = connection.receive(deadline);
    if (!greeting) {
        throw noAnswerError("the switch took the connection but gave no endpoint id in time");
    }
    const MMCH_t& header = messageHeader(*greeting);
    if (header.opcode.request.protocol != MMSG_E_PROTOCOL_DEFAULT || header.requestor != MMSG_E_EPID_MSMMP ||
        header.dest_ep < PEER_K_FIRST_ID || header.dest_ep > PEER_K_LAST_ID) {
        throw badAnswerError("the switch's greeting names no endpoint id from 34 to 63");
    }
    return header.dest_ep;
}

} // namespace

SwitchConnection::SwitchConnection(const std::string& directory, const std::string& name)
    : path_(directory + "/" + name), fd_(connectTo(path_)) {}

SwitchConnection::~SwitchConnection() {
    close(fd_);
}

void SwitchConnection::send(std::span<const U8_t> message) {
    while (!message.empty()) {
        const ssize_t sent = ::send(fd_, message.data(), message.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent < 0) {
            throw noSwitchError("the switch at '" + path_ + "' has gone away: " + std::strerror(errno));
        }
        message = message.subspan(static_cast<std::size_t>(sent));
    }
}

std::optional<Message> SwitchConnection::receive(Deadline deadline) {
    for (;;) {
        if (std::optional<Message> message = receiveQueued()) {
            return message;
        }
        if (Clock::now() >= deadline) {
            return std::nullopt;
        }
        waitReadable(std::array{fd_}, deadline);
    }
}

std::optional<Message> SwitchConnection::receiveQueued() {
    for (;;) {
        if (std::optional<Message> message = takeBuffered()) {
            return message;
        }
        if (!readAvailable()) {
            return std::nullopt;
        }
    }
}

std::optional<Message> SwitchConnection::takeBuffered() {
    if (buffer_.size() < MMSG_K_HEADER_SIZE) {
        return std::nullopt;
    }
    const U16_t length = wireAt<MMCH_t>(buffer_.data()).mmsg_length;
    if (length < MMSG_K_HEADER_SIZE) {
        throw badAnswerError("a message from the switch claims " + std::to_string(length) +
                             " bytes, less than its own header");
    }
    if (buffer_.size() < length) {
        return std::nullopt;
    }
    Message message(buffer_.begin(), buffer_.begin() + length);
    buffer_.erase(buffer_.begin(), buffer_.begin() + length);
    return message;
}

bool SwitchConnection::readAvailable() {
    std::array<U8_t, 4096> piece;
    const ssize_t got = recv(fd_, piece.data(), piece.size(), MSG_DONTWAIT);
    if (got > 0) {
        buffer_.insert(buffer_.end(), piece.begin(), piece.begin() + got);
        return true;
    }
    if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) {
        return false;
    }
    throw noSwitchError("the switch closed the connection at '" + path_ + "'");
}

void waitReadable(std::span<const int> fds, Deadline deadline) {
    std::vector<pollfd> watched;
    for (int fd : fds) {
        watched.push_back({fd, POLLIN, 0});
    }
    watched.push_back({interruptSignalFd(), POLLIN, 0}); // poll() passes over descriptor -1
    watched.push_back({interruptKeyFd(), POLLIN, 0});
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    constexpr long long LONGEST_WAIT_MS = 60000;
    const int wait = static_cast<int>(left < 0 ? 0 : (left > LONGEST_WAIT_MS ? LONGEST_WAIT_MS : left));
    (void)poll(watched.data(), static_cast<nfds_t>(watched.size()), wait); // whoever waits looks again anyway
    if (interruptRequested()) {
        throw Interrupted{};
    }
}

PeerConnection::PeerConnection(const std::string& directory, Deadline deadline)
    : connection_(directory, "peer"), endpointId_(takeGreeting(connection_, deadline)) {}
