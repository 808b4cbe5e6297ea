/** UNIX stream sockets, and the messages of the message switch on them. */
#pragma once

#include <chrono>
#include <cstddef>
#include <span>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <vector>

#include "mmsg.h"

/** Most characters that a socket's path can have. */
inline constexpr std::size_t UNIX_K_MAX_PATH = sizeof(sockaddr_un::sun_path) - 1;

/** What could not be done for a socket; errno says why, except for a path that is too long. */
enum class UnixStep_e {
    NONE,
    PATH,    /**< longer than UNIX_K_MAX_PATH */
    SOCKET,  /**< socket() */
    ADDRESS, /**< connect() or bind() */
    LISTEN,  /**< listen() */
};

struct UnixSocket_t {
    int descriptor = -1; /**< -1 unless `failed` is NONE; the caller closes it */
    UnixStep_e failed = UnixStep_e::NONE;
};

/**
 * Connects to whoever listens at `path`. Where connections queue up, waits for at most `patience`, and so does each
 * send afterwards, with errno EAGAIN when it is over; 0: for as long as it takes.
 */
[[nodiscard]] UnixSocket_t unixConnect(const std::string& path, std::chrono::milliseconds patience = {});

/**
 * Listens at `path`, which must not exist yet; accept() on it never blocks. At most `backlog` connections wait to be
 * taken.
 */
[[nodiscard]] UnixSocket_t unixListen(const std::string& path, int backlog = SOMAXCONN);

/** Whether a process listens at `path`, found out without waiting for it. errno says why not. */
[[nodiscard]] bool unixHasListener(const std::string& path);

/** Sends all of `bytes`, waiting while the peer does not read. False with errno set; EAGAIN: it has waited enough. */
[[nodiscard]] bool sendWhole(int descriptor, std::span<const U8_t> bytes);

/** One whole message, header included, as long as its mmsg_length says. */
using Message_t = std::vector<U8_t>;

/** What a stream held. */
enum class Arrival_e {
    BYTES,
    NOTHING, /**< nothing now */
    CLOSED,  /**< nothing any more */
};

/** Cuts the messages out of what arrives on a stream. */
class MessageReader_t {
public:
    enum class Found_e {
        MESSAGE,
        INCOMPLETE, /**< more bytes are needed */
        NONSENSE,   /**< a length below that of a header: the stream cannot be followed any more */
    };

    /** Takes some of what the stream holds; never blocks. */
    [[nodiscard]] Arrival_e readSome(int descriptor);

    /** Moves the next message to `message`. */
    [[nodiscard]] Found_e next(Message_t& message);

    /** The length that the message at the front announces; only after next() found it to be nonsense. */
    [[nodiscard]] unsigned announcedLength() const;

private:
    std::vector<U8_t> bytes_;
};
