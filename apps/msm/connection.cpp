#include "connection.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <sys/socket.h>

namespace {

constexpr std::size_t LENGTH_OFFSET = offsetof(MMCH_t, mmsg_length);
constexpr std::size_t LENGTH_END = LENGTH_OFFSET + sizeof(be16_t);

/** Bytes that the kernel took, 0 when it is full; nothing when the peer is gone. */
std::optional<std::size_t> sendNow(int socket, std::span<const U8_t> bytes) {
    ssize_t count = 0;
    do {
        count = ::send(socket, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    } while (count < 0 && errno == EINTR);
    if (count >= 0) {
        return static_cast<std::size_t>(count);
    }
    if (errno == EAGAIN || errno == ENOBUFS) {
        return 0;
    }
    return std::nullopt;
}

} // namespace

std::span<U8_t> InStream_t::space() {
    if (begin_ != 0) {
        std::copy(bytes_.begin() + static_cast<std::ptrdiff_t>(begin_),
                  bytes_.begin() + static_cast<std::ptrdiff_t>(end_), bytes_.begin());
        end_ -= begin_;
        begin_ = 0;
    }
    return std::span(bytes_).subspan(end_);
}

unsigned InStream_t::announcedLength() const {
    return wireAt<be16_t>(&bytes_[begin_ + LENGTH_OFFSET]);
}

Frame_e InStream_t::front(std::span<const U8_t>& message) const {
    if (pending() < LENGTH_END) {
        return Frame_e::INCOMPLETE;
    }
    const std::size_t length = announcedLength();
    if (length < MMSG_K_HEADER_SIZE || length > MMSG_K_MAX_SIZE) {
        return Frame_e::NONSENSE;
    }
    if (pending() < length) {
        return Frame_e::INCOMPLETE;
    }
    message = std::span<const U8_t>(&bytes_[begin_], length);
    return Frame_e::MESSAGE;
}

Frame_e InStream_t::next(std::span<const U8_t>& message) {
    const Frame_e found = front(message);
    if (found == Frame_e::MESSAGE) {
        begin_ += message.size();
    }
    return found;
}

Send_e OutStream_t::send(int socket, std::span<const U8_t> message) {
    if (waiting() != 0) {
        if (waiting() + message.size() > limit_) {
            return Send_e::DROPPED;
        }
        append(message);
        return Send_e::BUFFERED;
    }
    const std::optional<std::size_t> sent = sendNow(socket, message);
    if (!sent) {
        return giveUp();
    }
    if (*sent == message.size()) {
        return Send_e::SENT;
    }
    append(message.subspan(*sent));
    return Send_e::BUFFERED;
}

Send_e OutStream_t::flush(int socket) {
    while (waiting() != 0) {
        const std::optional<std::size_t> sent = sendNow(socket, std::span(bytes_).subspan(begin_));
        if (!sent) {
            return giveUp();
        }
        if (*sent == 0) {
            return Send_e::BUFFERED;
        }
        begin_ += *sent;
    }
    bytes_.clear();
    begin_ = 0;
    return Send_e::SENT;
}

void OutStream_t::append(std::span<const U8_t> bytes) {
    // Moving the rest only once half has gone keeps the cost per byte constant and the memory below twice the limit.
    if (begin_ > bytes_.size() / 2) {
        bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(begin_));
        begin_ = 0;
    }
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
}

Send_e OutStream_t::giveUp() {
    bytes_.clear();
    begin_ = 0;
    return Send_e::GONE;
}
