/** A connection to the message switch: whole messages in and out, with time limits. */
#pragma once

#include <chrono>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "unix_stream.h"

using Clock_t = std::chrono::steady_clock;
using Deadline_t = Clock_t::time_point;

inline const MMCH_t& messageHeader(const Message_t& message) {
    return wireAt<MMCH_t>(message.data());
}

class SwitchConnection_t {
public:
    /**
     * Connects to the switch's socket `name` in `directory`, until `deadline` at most; a later send waits no longer
     * than was left then. Throws ToolError_t "no-switch" when nobody listens there, "no-answer" when the connection is
     * not taken in time and "usage" when the path is too long for a socket address.
     */
    SwitchConnection_t(const std::string& directory, const std::string& name, Deadline_t deadline);
    ~SwitchConnection_t();
    SwitchConnection_t(const SwitchConnection_t&) = delete;
    SwitchConnection_t& operator=(const SwitchConnection_t&) = delete;

    int fd() const { return fd_; }

    /**
     * Sends a whole message. Throws ToolError_t "no-switch" when the switch has gone away, "no-answer" when it does not
     * read.
     */
    void send(std::span<const U8_t> message);

    /**
     * Waits for the next message, at most until `deadline`; nothing when none came. Throws ToolError_t "no-switch" when
     * the switch closed the connection, "bad-answer" when the stream makes no sense any more, and Interrupted.
     */
    std::optional<Message_t> receive(Deadline_t deadline);

    /** The next message that is here already; reads what the socket holds and never blocks. Throws as receive(). */
    std::optional<Message_t> receiveQueued();

private:
    std::optional<Message_t> takeBuffered();

    std::string path_;
    int fd_ = -1;
    MessageReader_t reader_;
};

/** Waits until one of `fds` is readable, a stop is asked for (throws Interrupted) or `deadline` has passed. */
void waitReadable(std::span<const int> fds, Deadline_t deadline);

/** How a peer gets in. */
struct PeerDoor_t {
    std::string socket = "peer"; /**< name in the directory, or a path from the root */
    std::optional<U8_t> endpoint =
        {}; /**< a number of our own, with a switch that greets nobody; none: the greeting's */
};

/** Connects as a peer and, without a number of its own, takes the greeting that names the one it has been given. */
class PeerConnection_t {
public:
    PeerConnection_t(const std::string& directory, Deadline_t deadline, const PeerDoor_t& door = {});
    SwitchConnection_t& connection() { return connection_; }
    U8_t endpointId() const { return endpointId_; }

private:
    SwitchConnection_t connection_;
    U8_t endpointId_;
};
