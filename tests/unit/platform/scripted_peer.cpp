#include "scripted_peer.h"

#include <csignal>

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include "transfers.h"

namespace {

constexpr int REQUEST_PATIENCE_MS = 10000;

bool hasInput(int fd, int timeoutMs) {
    pollfd line{fd, POLLIN, 0};
    return poll(&line, 1, timeoutMs) == 1 && (line.revents & POLLIN) != 0;
}

void send(int fd, const Bytes_t& bytes) {
    ASSERT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

void sleepMs(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

} // namespace

ScriptedPeer_t::ScriptedPeer_t(std::vector<Turn_t> turns) {
    forgetBus();
    termios raw{};
    cfmakeraw(&raw);
    raw.c_cc[VMIN] = 1;
    EXPECT_EQ(openpty(&far_, &line_, nullptr, &raw, nullptr), 0);
    player_ = std::thread([this, script = std::move(turns)] { play(script); });
}

ScriptedPeer_t::~ScriptedPeer_t() {
    received();
    close(line_);
    if (far_ >= 0) {
        close(far_);
    }
}

void ScriptedPeer_t::sendNow(const Bytes_t& bytes) const {
    send(far_, bytes);
    EXPECT_TRUE(hasInput(line_, REQUEST_PATIENCE_MS));
}

Bytes_t ScriptedPeer_t::received() {
    if (player_.joinable()) {
        player_.join();
    }
    while (far_ >= 0 && takeByte(50)) {
    }
    return received_;
}

void ScriptedPeer_t::play(const std::vector<Turn_t>& turns) {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr); // signals of a test go to the thread that transfers
    for (const Turn_t& turn : turns) {
        if (!takeRequest(turn.requestLength)) {
            ADD_FAILURE() << "a request is missing or too short";
            return;
        }
        for (const Piece_t& piece : turn.reply) {
            sleepMs(piece.afterMs);
            send(far_, piece.bytes);
        }
        if (turn.hangUp) {
            close(far_);
            far_ = -1;
        }
    }
}

bool ScriptedPeer_t::takeRequest(std::size_t length) {
    for (std::size_t i = 0; i < length; ++i) {
        if (!takeByte(REQUEST_PATIENCE_MS)) {
            return false;
        }
        // A bridge without numbers lets a greeting (48 and a number) pass where a request may begin.
        if (i == 0 && received_.back() == 0x48) {
            if (!takeByte(REQUEST_PATIENCE_MS)) {
                return false;
            }
            received_.resize(received_.size() - 2);
            --i;
        }
    }
    return true;
}

bool ScriptedPeer_t::takeByte(int timeoutMs) {
    U8_t byte = 0;
    if (!hasInput(far_, timeoutMs) || read(far_, &byte, 1) != 1) {
        return false;
    }
    received_.push_back(byte);
    return true;
}
