/** A connection to the message switch: whole messages in and out, with time limits. */
#pragma once

#include <chrono>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "mmsg.h"

/** One whole message, header included; at least 64 bytes and as long as its mmsg_length says. */
using Message = std::vector<U8_t>;
using Clock = std::chrono::steady_clock;
using Deadline = Clock::time_point;

inline const MMCH_t& messageHeader(const Message& message) {
    return wireAt<MMCH_t>(message.data());
}

class SwitchConnection {
public:
    /**
     * Connects to the switch's socket `name` in `directory`. Throws ToolError "no-switch" when nobody listens there
     * and "usage" when the path is too long for a socket address.
     */
    SwitchConnection(const std::string& directory, const std::string& name);
    ~SwitchConnection();
    SwitchConnection(const SwitchConnection&) = delete;
    SwitchConnection& operator=(const SwitchConnection&) = delete;

    int fd() const { return fd_; }

    /** Sends a whole message. Throws ToolError "no-switch" when the switch has gone away. */
    void send(std::span<const U8_t> message);

    /**
     * Waits for the next message, at most until `deadline`; nothing when none came. Throws ToolError "no-switch" when
     * the switch closed the connection, "bad-answer" when the stream makes no sense any more, and Interrupted.
     */
    std::optional<Message> receive(Deadline deadline);

    /** The next message that is here already; reads what the socket holds and never blocks. Throws as receive(). */
    std::optional<Message> receiveQueued();

private:
    std::optional<Message> takeBuffered();
    bool readAvailable();

    std::string path_;
    int fd_ = -1;
    std::vector<U8_t> buffer_;
};

/** Waits until one of `fds` is readable, a stop is asked for (throws Interrupted) or `deadline` has passed. */
void waitReadable(std::span<const int> fds, Deadline deadline);

/** Connects as a peer and takes the greeting that names the endpoint id the switch has given to this connection. */
class PeerConnection {
public:
    PeerConnection(const std::string& directory, Deadline deadline);
    SwitchConnection& connection() { return connection_; }
    U8_t endpointId() const { return endpointId_; }

private:
    SwitchConnection connection_;
    U8_t endpointId_;
};
