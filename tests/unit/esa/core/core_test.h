/** What the tests of start-up, main loop and critical-error handler share. */
#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "esa_fixture.h"
#include "syscalls.h"

class CoreTest : public EsaTest {
protected:
    CoreTest() { systemCalls = {}; }
    ~CoreTest() override {
        systemCalls = {};
        onFakeSleep = nullptr;
    }

    /** Text of a number in hex, as the longer name of one byte or word of an event record. */
    static U32_t wordAt(const Bytes& bytes, std::size_t at) {
        return static_cast<U32_t>(bytes[at]) << 24 | static_cast<U32_t>(bytes[at + 1]) << 16 |
               static_cast<U32_t>(bytes[at + 2]) << 8 | bytes[at + 3];
    }

    /** Message of the n-th critical error since the test began; each error leaves four records. */
    static std::string errorMessage(std::size_t n) {
        const Bytes& record = fakeEventLog.at(4 * n).bytes;
        return textAt(record, 152 + 132);
    }

    /** Function that the n-th critical error names. */
    static std::string errorFunction(std::size_t n) { return textAt(fakeEventLog.at(4 * n).bytes, 152 + 64); }

    /**
     * What the dispatcher made of the messages since the last call: one line for an accepted one, two for one of a
     * wrong length. What the message printer says of them is left out.
     */
    std::vector<std::string> verdicts() {
        std::vector<std::string> lines;
        bool accepted = false;
        for (const std::string& line : takeTrace()) {
            if (line == "Receive a MMSG to the Enclosure Services Adapter") {
                accepted = true;
                lines.emplace_back("nothing");
            } else if (line.rfind("MMSG mmsh_length", 0) == 0 || line.rfind("MMSG requestor", 0) == 0) {
                accepted = false;
                lines.push_back(line);
            } else if (accepted && line.rfind("Un-supported SES Command", 0) == 0) {
                lines.back() = line; // the dispatcher speaks after the printer
            }
        }
        return lines;
    }

    static std::string textAt(const Bytes& bytes, std::size_t at) {
        const char* text = reinterpret_cast<const char*>(bytes.data()) + at;
        return {text, strnlen(text, 64)};
    }
};

/** The message switch's listening socket at a path of its own. */
class SwitchSocket {
public:
    explicit SwitchSocket(const std::string& path) : fd_(socket(AF_UNIX, SOCK_STREAM, 0)) {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path.data(), path.size());
        const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size() + 1);
        EXPECT_EQ(bind(fd_, reinterpret_cast<const sockaddr*>(&address), length), 0) << path;
        EXPECT_EQ(listen(fd_, 1), 0);
    }
    SwitchSocket(const SwitchSocket&) = delete;
    SwitchSocket& operator=(const SwitchSocket&) = delete;
    ~SwitchSocket() { close(fd_); }

    /** The connection that somebody has made. */
    int accept() { return ::accept(fd_, nullptr, nullptr); }

private:
    int fd_;
};
