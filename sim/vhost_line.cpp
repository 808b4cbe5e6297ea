#include "vhost_line.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>

namespace {

void takeFiles(msghdr& message, std::vector<OwnedFd_t>& files) {
    for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr; part = CMSG_NXTHDR(&message, part)) {
        if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS) {
            continue;
        }
        for (std::size_t at = 0; CMSG_LEN(at + sizeof(int)) <= part->cmsg_len; at += sizeof(int)) {
            int file;
            std::memcpy(&file, CMSG_DATA(part) + at, sizeof file);
            files.emplace_back(file);
        }
    }
}

/** All of `bytes`, and the files that come with the first of them; false when the other end is gone. */
bool receive(int socket, std::span<std::uint8_t> bytes, std::vector<OwnedFd_t>& files) {
    while (!bytes.empty()) {
        iovec part{bytes.data(), bytes.size()};
        alignas(cmsghdr) char ancillary[CMSG_SPACE(sizeof(int) * VhostDevice_t::MOST_FILES)];
        msghdr message{};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        message.msg_control = ancillary;
        message.msg_controllen = sizeof ancillary;
        const ssize_t count = recvmsg(socket, &message, MSG_CMSG_CLOEXEC);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return false;
        }
        takeFiles(message, files);
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return true;
}

bool sendAll(int socket, std::span<const std::uint8_t> bytes) {
    return bytes.empty() ||
           send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

/** An emulator that stops in the middle of a message must not stop the simulator for good. */
void limitWaiting(int socket) {
    const timeval second{.tv_sec = 1, .tv_usec = 0};
    (void)setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &second, sizeof second);
    (void)setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &second, sizeof second);
}

} // namespace

std::vector<pollfd> VhostLine_t::watched() const {
    return {{listener_.fd(), POLLIN, 0},
            {emulator_.get(), POLLIN, 0},
            {device_ && !silent_ ? device_->kick() : -1, POLLIN, 0}};
}

void VhostLine_t::serve(std::span<const pollfd> ready) {
    std::uint64_t kicks;
    if (ready[2].revents != 0 && read(ready[2].fd, &kicks, sizeof kicks) > 0) {
        device_->serve();
    }
    if (ready[1].revents != 0 && !serveMessage()) {
        hangUp();
    }
    if (ready[0].revents != 0) {
        serveListener();
    }
}

void VhostLine_t::setSilent(bool silent) {
    silent_ = silent;
    if (device_) {
        device_->setSilent(silent);
    }
}

void VhostLine_t::serveListener() {
    OwnedFd_t fd(accept4(listener_.fd(), nullptr, nullptr, SOCK_CLOEXEC));
    // A second emulator finds its device gone; the first keeps it.
    if (fd.get() < 0 || device_) {
        return;
    }
    limitWaiting(fd.get());
    emulator_ = std::move(fd);
    device_.emplace(bus_);
    device_->setSilent(silent_);
}

bool VhostLine_t::serveMessage() {
    std::uint8_t head[VhostDevice_t::HEADER];
    VhostMessage_t message;
    if (!receive(emulator_.get(), head, message.files)) {
        return false;
    }
    std::uint32_t size = 0;
    std::memcpy(&message.request, head, sizeof message.request);
    std::memcpy(&message.flags, head + 4, sizeof message.flags);
    std::memcpy(&size, head + 8, sizeof size);
    if (size > VhostDevice_t::LARGEST_PAYLOAD) {
        return false;
    }
    message.payload.resize(size);
    if (!receive(emulator_.get(), message.payload, message.files)) {
        return false;
    }
    const auto reply = device_->handle(std::move(message));
    return reply && sendAll(emulator_.get(), *reply);
}

void VhostLine_t::hangUp() {
    device_.reset();
    emulator_ = OwnedFd_t();
}
