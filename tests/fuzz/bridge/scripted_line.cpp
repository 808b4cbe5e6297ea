#include "scripted_line.h"

#include <cerrno>
#include <termios.h>
#include <unistd.h>

namespace {

int fail(int cause) {
    errno = cause;
    return -1;
}

/** Three of four events are pieces: what a bridge does most. */
LineEvent_t nextEvent(fuzz::Input_t& input) {
    const std::uint8_t code = input.byte();
    if (code >= 0x40) {
        return {LineEvent_t::BYTES, 0, input.bytes(1U + code % 0x40U)};
    }
    const auto kind = static_cast<LineEvent_t::Kind_e>(1 + code % 6);
    return {kind, kind == LineEvent_t::SILENCE ? 4U * input.byte() : code / 6U, {}};
}

} // namespace

ScriptedLine_t* ScriptedLine_t::current = nullptr;

ScriptedLine_t::ScriptedLine_t(int fd, fuzz::Input_t& input) : fd_(fd) {
    const std::uint8_t flags = input.byte();
    writeFault_ = flags % 16U;
    flushWorks_ = (flags & 0x80) == 0;
    while (!input.empty()) {
        events_.push_back(nextEvent(input));
    }
    current = this;
}

ScriptedLine_t::~ScriptedLine_t() {
    current = nullptr;
}

void ScriptedLine_t::newTransfer() {
    sent.clear();
    received.clear();
    writes = 0;
}

int ScriptedLine_t::poll(pollfd& line, int timeoutMs) {
    fuzz::require(timeoutMs >= 0);
    auto left = static_cast<unsigned>(timeoutMs);
    while (!events_.empty() && events_.front().kind == LineEvent_t::SILENCE) {
        LineEvent_t& silence = events_.front();
        const unsigned passed = std::min(left, silence.number);
        timeMs += passed;
        left -= passed;
        silence.number -= passed;
        if (silence.number > 0) {
            return 0;
        }
        pop();
    }
    if (events_.empty() || events_.front().kind == LineEvent_t::REQUEST) {
        timeMs += left;
        return 0;
    }
    const LineEvent_t& event = events_.front();
    if (event.kind == LineEvent_t::SIGNAL) {
        pop();
        return fail(EINTR);
    }
    if (event.kind == LineEvent_t::FAILURE && event.number % 2 == 0) {
        pop();
        return fail(ENOMEM);
    }
    line.revents = event.kind == LineEvent_t::CLOSED && event.number % 2 != 0 ? POLLHUP : POLLIN;
    return 1;
}

ssize_t ScriptedLine_t::read(std::span<std::uint8_t> space) {
    // The line blocks: whoever reads without having been told of input would wait for ever.
    fuzz::require(!events_.empty() && events_.front().kind != LineEvent_t::SILENCE &&
                  events_.front().kind != LineEvent_t::REQUEST);
    LineEvent_t& event = events_.front();
    if (event.kind == LineEvent_t::CLOSED) {
        return 0;
    }
    if (event.kind != LineEvent_t::BYTES) {
        const int cause = event.kind == LineEvent_t::SIGNAL ? EINTR : event.kind == LineEvent_t::AGAIN ? EAGAIN : EIO;
        pop();
        return fail(cause);
    }
    const std::size_t count = std::min(space.size(), event.bytes.size());
    std::copy_n(event.bytes.begin(), count, space.begin());
    event.bytes.erase(event.bytes.begin(), event.bytes.begin() + static_cast<std::ptrdiff_t>(count));
    if (writes > 0) {
        received.insert(received.end(), space.begin(), space.begin() + static_cast<std::ptrdiff_t>(count));
    }
    if (event.bytes.empty()) {
        pop();
    }
    return static_cast<ssize_t>(count);
}

ssize_t ScriptedLine_t::write(std::span<const std::uint8_t> bytes) {
    const unsigned fault = writeFault_;
    writeFault_ = 0;
    if (fault == 1) {
        return fail(EINTR);
    }
    if (fault == 2) {
        return fail(EIO);
    }
    if (bytes.size() == 2) { // no request is that short: a greeting, answered by whatever comes next
        fuzz::require(bytes[0] == 0x48 && bytes[1] >= 0x80 && writes == 0);
        return static_cast<ssize_t>(fault == 3 ? bytes.size() - 1 : bytes.size());
    }
    sent.insert(sent.end(), bytes.begin(), bytes.end());
    ++writes;
    requestMs = timeMs;
    const auto wait =
        std::ranges::find_if(events_, [](const LineEvent_t& event) { return event.kind == LineEvent_t::REQUEST; });
    if (wait != events_.end()) {
        events_.erase(wait);
    }
    return static_cast<ssize_t>(fault == 3 ? bytes.size() - 1 : bytes.size());
}

int ScriptedLine_t::flush() {
    if (!flushWorks_) {
        return fail(EIO);
    }
    while (!events_.empty() && events_.front().kind == LineEvent_t::BYTES) {
        pop();
    }
    return 0;
}

timespec ScriptedLine_t::now() const {
    timespec time{};
    time.tv_sec = static_cast<time_t>(timeMs / 1000);
    time.tv_nsec = static_cast<long>(timeMs % 1000) * 1000000;
    return time;
}

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): names that the linker's --wrap gives
int __real_poll(pollfd* fds, nfds_t count, int timeout);
int __wrap_poll(pollfd* fds, nfds_t count, int timeout);
ssize_t __real_read(int fd, void* bytes, size_t count);
ssize_t __wrap_read(int fd, void* bytes, size_t count);
ssize_t __real_write(int fd, const void* bytes, size_t count);
ssize_t __wrap_write(int fd, const void* bytes, size_t count);
int __wrap_tcflush(int fd, int queue);
int __real_clock_gettime(clockid_t clock, timespec* time);
int __wrap_clock_gettime(clockid_t clock, timespec* time);
int __wrap___clock_gettime64(clockid_t clock, timespec* time);
// NOLINTEND(bugprone-reserved-identifier)
}

int __wrap_poll(pollfd* fds, nfds_t count, int timeout) {
    ScriptedLine_t* const line = ScriptedLine_t::current;
    return line != nullptr && line->isFor(fds->fd) ? line->poll(*fds, timeout) : __real_poll(fds, count, timeout);
}

ssize_t __wrap_read(int fd, void* bytes, size_t count) {
    ScriptedLine_t* const line = ScriptedLine_t::current;
    return line != nullptr && line->isFor(fd) ? line->read({static_cast<std::uint8_t*>(bytes), count})
                                              : __real_read(fd, bytes, count);
}

ssize_t __wrap_write(int fd, const void* bytes, size_t count) {
    ScriptedLine_t* const line = ScriptedLine_t::current;
    return line != nullptr && line->isFor(fd) ? line->write({static_cast<const std::uint8_t*>(bytes), count})
                                              : __real_write(fd, bytes, count);
}

int __wrap_tcflush(int /*fd*/, int /*queue*/) {
    return ScriptedLine_t::current->flush();
}

int __wrap_clock_gettime(clockid_t clock, timespec* time) {
    if (ScriptedLine_t::current == nullptr) {
        return __real_clock_gettime(clock, time); // the fuzzer's own stop-watch
    }
    *time = ScriptedLine_t::current->now();
    return 0;
}

int __wrap___clock_gettime64(clockid_t /*clock*/, timespec* time) {
    *time = ScriptedLine_t::current->now();
    return 0;
}
