/** A serial line in the hands of a test, without threads and without luck in the timing. */
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include "basetypes.h"
#include "bytes.h"
#include "calls.h"
#include "transfers.h"

using testsupport::Bytes_t;

/** A raw pseudo-terminal whose writes and waits the test answers; nothing that is written reaches the far end. */
struct TappedLine_t {
    TappedLine_t() {
        forgetBus();
        termios raw{};
        cfmakeraw(&raw);
        raw.c_cc[VMIN] = 1;
        EXPECT_EQ(openpty(&far, &fd, nullptr, &raw, nullptr), 0);
        calls::write.answer = [this](int to, const void* bytes, std::size_t count) {
            return to == fd ? take(bytes, count) : calls::write.real(to, bytes, count);
        };
        calls::poll.answer = [this](pollfd* fds, nfds_t count, int timeout) {
            if (fds->fd == fd && beforePoll) {
                beforePoll(timeout);
            }
            return calls::poll.real(fds, count, timeout);
        };
    }
    ~TappedLine_t() {
        calls::poll.answer = nullptr;
        calls::read.answer = nullptr;
        calls::write.answer = nullptr;
        close(fd);
        close(far);
    }
    TappedLine_t(const TappedLine_t&) = delete;
    TappedLine_t& operator=(const TappedLine_t&) = delete;

    void answer(const Bytes_t& bytes) const {
        EXPECT_EQ(calls::write.real(far, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }

    ssize_t take(const void* bytes, size_t count) {
        const auto* first = static_cast<const U8_t*>(bytes);
        if (count == 2 && *first == 0x48) {
            ++greetings; // this far end takes no notice of them
            return afterGreeting ? afterGreeting(first[1]) : 2;
        }
        writes.emplace_back(first, first + count);
        return afterWrite ? afterWrite(writes.size(), count) : static_cast<ssize_t>(count);
    }

    int far = -1;
    int fd = -1;
    std::vector<Bytes_t> writes; /**< one entry per call but greetings; nothing of them reaches the far end */
    int greetings = 0;
    std::function<ssize_t(U8_t number)> afterGreeting;
    std::function<ssize_t(std::size_t callNumber, std::size_t count)> afterWrite;
    std::function<void(int timeoutMs)> beforePoll;
};
