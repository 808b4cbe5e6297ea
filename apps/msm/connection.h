/** The two directions of a stream connection: messages cut out of what arrives, whole messages sent in order. */
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <vector>

#include "mmsg.h"

/** What next() of a byte stream found. */
enum class Frame_e {
    MESSAGE,    /**< a whole message */
    INCOMPLETE, /**< more bytes are needed */
    NONSENSE,   /**< an announced length that no message has: the stream cannot be followed any more */
};

/** Received bytes of one connection. */
class InStream_t {
public:
    /** Room for the next recv, at least one greatest message; what next() returned is void from here on. */
    std::span<U8_t> space();
    /** `count` bytes have been written to space(). */
    void filled(std::size_t count) { end_ += count; }
    /** Looks at the next message. A bad length shows as soon as its two bytes are here. */
    Frame_e front(std::span<const U8_t>& message) const;
    /** Cuts off the next message. */
    Frame_e next(std::span<const U8_t>& message);
    /** Bytes of a message that has not arrived in full. */
    std::size_t pending() const { return end_ - begin_; }
    /** The length that the message at the front announces; at least 12 bytes must be pending. */
    unsigned announcedLength() const;

private:
    std::array<U8_t, 16384> bytes_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
};

/** What became of a message that was to be sent. */
enum class Send_e {
    SENT,     /**< handed to the kernel whole */
    BUFFERED, /**< the rest, or all of it, waits for flush() */
    DROPPED,  /**< the buffer has no room for it; nothing of it was sent */
    GONE,     /**< the peer takes nothing any more; what was waiting is thrown away */
};

/** Bytes that wait for a slow receiver; a message is taken whole or not at all. */
class OutStream_t {
public:
    /** `limit`: greatest number of waiting bytes, at least one greatest message. */
    explicit OutStream_t(std::size_t limit) : limit_(limit) {}

    /** Sends a message to the non-blocking socket, or keeps it behind those that wait already. Never blocks. */
    Send_e send(int socket, std::span<const U8_t> message);
    /** Sends waiting bytes as far as the socket takes them: SENT, BUFFERED or GONE. Never blocks. */
    Send_e flush(int socket);
    std::size_t waiting() const { return bytes_.size() - begin_; }

private:
    void append(std::span<const U8_t> bytes);
    Send_e giveUp();

    std::size_t limit_;
    std::vector<U8_t> bytes_;
    std::size_t begin_ = 0;
};
