/** UNIX stream sockets, and messages over them. */
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "bytes.h"
#include "program.h"

namespace testsupport {

/** Long enough for an emulated program on a busy machine; only a failing test waits that long. */
inline constexpr Milliseconds_t PATIENCE(60000);
/** How long a test watches for something that must not come. */
inline constexpr Milliseconds_t MOMENT(150);

/** A listening socket at that path. */
int listenAt(const std::string& path, int backlog = 8);

/** A connection to the socket at that path; -1 when there is none. */
int connectTo(const std::string& path);

/** Both ends of a stream. */
std::array<int, 2> connectedPair();

/** An end of a stream, and owner of its descriptor. */
class Stream_t {
public:
    explicit Stream_t(int fd = -1) : fd_(fd) {}
    ~Stream_t() { close(); }
    Stream_t(Stream_t&& other) noexcept;
    Stream_t& operator=(Stream_t&& other) noexcept;

    [[nodiscard]] int fd() const { return fd_; }
    [[nodiscard]] bool isOpen() const { return fd_ >= 0; }
    void close();

    /** Sends all bytes, waiting as long as it takes; false when the other end has closed. */
    bool send(const Bytes_t& bytes) const;
    bool sendText(std::string_view text) const;
    /** The next whole message; nothing when the other end closes, or too little of it comes in time. */
    std::optional<Bytes_t> receive(Milliseconds_t timeout = PATIENCE) const;
    /** The handle of the next message, -1 when there is none. */
    std::int64_t receiveHandle(Milliseconds_t timeout = PATIENCE) const;
    /** True when nothing comes for a moment and the connection stays open. */
    bool isSilent() const;
    /** True when the other end closes the connection without sending anything more. */
    bool isClosed() const;

private:
    bool read(std::span<std::uint8_t> bytes, Milliseconds_t timeout) const;

    int fd_;
};

} // namespace testsupport
