/** The line to a serial I2C bridge, and the time, as a fuzzer's input scripts them; nothing really waits. */
#pragma once

#include <ctime>
#include <deque>
#include <poll.h>

#include "fuzz_input.h"

/** What happens on the line next. */
struct LineEvent_t {
    enum Kind_e : std::uint8_t {
        BYTES,   /**< a piece of input */
        SILENCE, /**< `number` milliseconds of nothing */
        REQUEST, /**< nothing more until the next request has gone out */
        SIGNAL,  /**< interrupts the wait, or the read */
        AGAIN,   /**< input is announced, and gone when it is read */
        FAILURE, /**< the wait (even `number`) or the read (odd) fails */
        CLOSED,  /**< the far end hangs up: an end of file for ever (even) or POLLHUP for ever (odd) */
    };
    Kind_e kind;
    unsigned number;
    std::vector<std::uint8_t> bytes;
};

/** While one of these lives, the process's calls for `fd`, and every look at the clock, come to it. */
class ScriptedLine_t {
public:
    ScriptedLine_t(int fd, fuzz::Input_t& input);
    ~ScriptedLine_t();
    ScriptedLine_t(const ScriptedLine_t&) = delete;
    ScriptedLine_t& operator=(const ScriptedLine_t&) = delete;

    bool isFor(int descriptor) const { return descriptor == fd_; }
    int poll(pollfd& line, int timeoutMs);
    ssize_t read(std::span<std::uint8_t> space);
    ssize_t write(std::span<const std::uint8_t> bytes);
    int flush();
    timespec now() const;

    /** Forgets the last transfer; what it left on the line stays there. */
    void newTransfer();

    std::vector<std::uint8_t> sent;     /**< every byte of this transfer's requests */
    unsigned writes = 0;                /**< requests that were taken */
    std::vector<std::uint8_t> received; /**< read since this transfer's request */
    std::uint64_t timeMs = 1000;
    std::uint64_t requestMs = 0; /**< when the last request was taken */

    static ScriptedLine_t* current;

private:
    void pop() { events_.pop_front(); }

    int fd_;
    unsigned writeFault_;
    bool flushWorks_;
    std::deque<LineEvent_t> events_;
};
