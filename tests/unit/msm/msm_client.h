/** A real switch in a directory of its own, and clients on its sockets. */
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "program.h"
#include "test_message.h"

namespace msmtest {

/** Long enough for an emulated program on a busy machine; only a failing test waits that long. */
inline constexpr testsupport::Milliseconds PATIENCE(20000);
/** How long a test watches for something that must not come. */
inline constexpr testsupport::Milliseconds MOMENT(150);

/** One connection to a socket of the switch. */
class Client {
public:
    explicit Client(const std::string& path);
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /** Whether the connection was made. */
    bool connected() const { return connected_; }
    /** Sends all bytes, waiting as long as it takes; false when the switch has closed. */
    bool send(const Bytes& bytes) const;
    /** The next whole message; nothing when the switch closes or none comes in time. */
    std::optional<Bytes> receive(testsupport::Milliseconds timeout = PATIENCE) const;
    /** The handle of the next message, -1 when there is none. */
    std::int64_t receiveHandle(testsupport::Milliseconds timeout = PATIENCE) const;
    /** True when nothing comes for a moment and the connection stays open. */
    bool isSilent() const;
    /** True when the switch closes the connection without sending anything more. */
    bool isClosed() const;
    void close();

private:
    std::size_t read(std::uint8_t* to, std::size_t count, testsupport::Milliseconds timeout) const;

    int socket_;
    bool connected_;
};

/** Starts and stops switches in a fresh directory, which goes with the test. */
class SwitchTest : public testing::Test {
protected:
    SwitchTest();
    ~SwitchTest() override;

    /** Starts the switch with further arguments and waits until it is ready. */
    void start(const std::vector<std::string>& args = {});
    testsupport::Process& process() { return *process_; }
    const std::string& directory() const { return directory_; }
    std::string path(const std::string& name) const { return directory_ + "/" + name; }

    std::unique_ptr<Client> connect(const std::string& name) const;
    /** Connects to `peer` and takes the greeting; `id` is the id given. */
    std::unique_ptr<Client> connectPeer(std::uint8_t& id) const;
    /** A peer's round trip to itself: whatever was sent to the switch before has been switched when it returns. */
    static void settle(const Client& peer, std::uint8_t id);

    /** What the switch has printed with --log so far, once `text` is there: each line without its time. */
    std::vector<std::string> logUntil(const std::string& text);

private:
    std::string directory_;
    std::unique_ptr<testsupport::Process> process_;
};

} // namespace msmtest
