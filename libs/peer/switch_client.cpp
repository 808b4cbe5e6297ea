#include "switch_client.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <grp.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "errors.h"
#include "interrupt.h"
#include "stop_signal.h"

namespace {

constexpr std::size_t LONGEST_SOCKET_NAME = 9; // "/eventlog"

/** Whom the socket lets in, or the directory that hides it, as far as it can be seen. */
std::string whoMay(const std::string& path) {
    struct stat status = {};
    const std::string directory = path.substr(0, path.rfind('/'));
    const bool isSeen = stat(path.c_str(), &status) == 0 || stat(directory.c_str(), &status) == 0;
    const bool letsGroupIn = isSeen && (status.st_mode & (S_ISDIR(status.st_mode) ? S_IXGRP : S_IWGRP)) != 0;
    const group* const members = letsGroupIn ? getgrgid(status.st_gid) : nullptr;
    // Nobody should become a member of root's group for this.
    if (members == nullptr || status.st_gid == 0) {
        return "only root and whoever runs the switch may talk to it; ask them, or use sudo";
    }
    const std::string name = members->gr_name;
    return "members of the group " + name + " may talk to the switch; join it (usermod -aG " + name +
           " USER) and log in again";
}

std::chrono::milliseconds left(Deadline_t deadline) {
    const auto time = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock_t::now());
    return std::max(time, std::chrono::milliseconds(1)); // 0 would mean without end
}

int connectTo(const std::string& path, Deadline_t deadline) {
    const UnixSocket_t socket = unixConnect(path, left(deadline));
    switch (socket.failed) {
    case UnixStep_e::NONE:
        return socket.descriptor;
    case UnixStep_e::PATH:
        throw usageError("socket path '" + path + "' is too long; use a --directory of at most " +
                         std::to_string(UNIX_K_MAX_PATH - LONGEST_SOCKET_NAME) + " characters");
    case UnixStep_e::SOCKET:
        throw noSwitchError(std::string("cannot make a socket: ") + std::strerror(errno));
    default:
        if (errno == EACCES) {
            throw noSwitchError("permission denied at '" + path + "': " + whoMay(path));
        }
        if (errno == EAGAIN) {
            throw noAnswerError("the switch at '" + path + "' took no connection in time");
        }
        throw noSwitchError("no switch at '" + path + "' (" + std::strerror(errno) +
                            "); start it or name its directory with --directory");
    }
}

U8_t takeGreeting(SwitchConnection_t& connection, Deadline_t deadline) {
    const std::optional<Message_t> greeting = connection.receive(deadline);
    if (!greeting) {
        throw noAnswerError("the switch took the connection but gave no endpoint id in time");
    }
    const MMCH_t& header = messageHeader(*greeting);
    if (header.opcode.request.protocol != MMSG_E_PROTOCOL_DEFAULT || header.requestor != MMSG_E_EPID_MSMMP ||
        header.dest_ep < MMSG_K_FIRST_PEER || header.dest_ep > MMSG_K_LAST_PEER) {
        throw badAnswerError("the switch's greeting names no endpoint id from 34 to 63");
    }
    return header.dest_ep;
}

} // namespace

SwitchConnection_t::SwitchConnection_t(const std::string& directory, const std::string& name, Deadline_t deadline)
    : path_(name.starts_with('/') ? name : directory + "/" + name), fd_(connectTo(path_, deadline)) {}

SwitchConnection_t::~SwitchConnection_t() {
    close(fd_);
}

void SwitchConnection_t::send(std::span<const U8_t> message) {
    if (!sendWhole(fd_, message)) {
        if (errno == EAGAIN) {
            throw noAnswerError("the switch at '" + path_ + "' took no message in time");
        }
        throw noSwitchError("the switch at '" + path_ + "' has gone away: " + std::strerror(errno));
    }
}

std::optional<Message_t> SwitchConnection_t::receive(Deadline_t deadline) {
    for (;;) {
        if (std::optional<Message_t> message = receiveQueued()) {
            return message;
        }
        if (Clock_t::now() >= deadline) {
            return std::nullopt;
        }
        waitReadable(std::array{fd_}, deadline);
    }
}

std::optional<Message_t> SwitchConnection_t::receiveQueued() {
    for (;;) {
        if (std::optional<Message_t> message = takeBuffered()) {
            return message;
        }
        switch (reader_.readSome(fd_)) {
        case Arrival_e::BYTES:
            break;
        case Arrival_e::NOTHING:
            return std::nullopt;
        case Arrival_e::CLOSED:
            throw noSwitchError("the switch closed the connection at '" + path_ + "'");
        }
    }
}

std::optional<Message_t> SwitchConnection_t::takeBuffered() {
    Message_t message;
    const MessageReader_t::Found_e found = reader_.next(message);
    if (found == MessageReader_t::Found_e::NONSENSE) {
        throw badAnswerError("a message from the switch claims " + std::to_string(reader_.announcedLength()) +
                             " bytes, less than its own header");
    }
    return found == MessageReader_t::Found_e::MESSAGE ? std::optional(std::move(message)) : std::nullopt;
}

void waitReadable(std::span<const int> fds, Deadline_t deadline) {
    std::vector<pollfd> watched;
    for (int fd : fds) {
        watched.push_back({fd, POLLIN, 0});
    }
    watched.push_back({stopSignalFd(), POLLIN, 0}); // poll() passes over descriptor -1
    watched.push_back({interruptKeyFd(), POLLIN, 0});
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock_t::now()).count();
    constexpr long long LONGEST_WAIT_MS = 60000;
    const auto wait = static_cast<int>(std::clamp<long long>(left, 0, LONGEST_WAIT_MS));
    (void)poll(watched.data(), static_cast<nfds_t>(watched.size()), wait); // whoever waits looks again anyway
    if (interruptRequested()) {
        throw Interrupted_t{};
    }
}

PeerConnection_t::PeerConnection_t(const std::string& directory, Deadline_t deadline, const PeerDoor_t& door)
    : connection_(directory, door.socket, deadline),
      endpointId_(door.endpoint ? *door.endpoint : takeGreeting(connection_, deadline)) {}
