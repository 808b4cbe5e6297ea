/** A real switch in a directory of its own, and clients on its sockets. */
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "folder.h"
#include "program.h"
#include "stream.h"
#include "test_message.h"

namespace msmtest {

using testsupport::MOMENT;
using testsupport::PATIENCE;

/** A connection to a socket of the switch. */
class Client_t : public testsupport::Stream_t {
public:
    explicit Client_t(const std::string& path) : Stream_t(testsupport::connectTo(path)) {}
};

/** Starts and stops switches in a fresh directory, which goes with the test. */
class SwitchTest : public testing::Test {
protected:
    /** Starts the switch with further arguments and waits until it is ready. */
    void start(const std::vector<std::string>& args = {});
    testsupport::Process_t& process() { return *process_; }
    const std::string& directory() const { return folder_.path(); }
    std::string path(const std::string& name) const { return folder_.path(name); }

    std::unique_ptr<Client_t> connect(const std::string& name) const;
    /** Connects to `peer` and takes the greeting; the connection, and the id given. */
    std::pair<std::unique_ptr<Client_t>, std::uint8_t> connectPeer() const;
    /** A peer's round trip to itself: whatever was sent to the switch before has been switched when it returns. */
    static void settle(const Client_t& peer, std::uint8_t id);

    /** Sends messages with the handles from `first` on and before `end`. */
    static void sendAll(const Client_t& client, const std::vector<unsigned>& endpoints, std::uint8_t requestor,
                        std::uint32_t first, std::uint32_t end, std::size_t length = 64);
    /** The next messages have these handles. */
    static void expectHandles(const Client_t& client, std::uint32_t first, std::uint32_t end);

    /** Whether the switch prints this line, or has. */
    bool says(const std::string& line) { return process_->waitForOut(line, PATIENCE); }
    /** What the switch says when it is started with these arguments, and does not start: one line. */
    std::string refusal(const std::vector<std::string>& args) const;
    /** What the switch has printed with --log so far, once `text` is there: each line without its time. */
    std::vector<std::string> logUntil(const std::string& text);

private:
    const testsupport::Folder_t folder_;
    std::unique_ptr<testsupport::Process_t> process_;
};

} // namespace msmtest
