/**
 * The world that a life is lived in: everything the adapter can see or do outside its own memory. The adapter's fakes
 * and the reference model are given one each, made from the same life; each writes down, in one ordered stream, what
 * was done to it and what it answered.
 */
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace model {

using Bytes_t = std::vector<std::uint8_t>;

/** What the adapter reads of the parameter block. */
struct Parameters_t {
    std::string mmsgDirectory;
    std::string logDirectory;
    std::uint8_t chassisType = 0;
};

/** What `select` answers: its result, and whether the socket is in the read set afterwards. */
struct SelectResult_t {
    int result = 0;
    bool readable = false;
};

/** What `recv` answers: its result, and the bytes it put into the buffer (as many as the result, none when negative).
 */
struct ReceiveResult_t {
    long result = 0;
    Bytes_t data;
};

/** What a register read answers: the platform's result, and the bytes that are in the buffer afterwards. */
struct I2cResult_t {
    int result = 0;
    Bytes_t data;
};

/** Thrown by any call when the life is over: the caller unwinds. */
struct EndOfLife_t {};

class World_t {
public:
    virtual ~World_t() = default;

    /** The attached block; nothing when it cannot be attached. */
    virtual std::optional<Parameters_t> attachParameters(long key) = 0;
    /** The block's flags word as it is now; other processes change it. */
    virtual std::uint32_t flags() = 0;

    virtual void standardOutput(std::string_view text) = 0;
    virtual void standardError(std::string_view text) = 0;

    virtual int socket() = 0;
    virtual int connect(int fd, const std::string& path, unsigned addressLength) = 0;
    virtual int openI2c(const std::string& path) = 0;
    /** Waits with a time-out, for the descriptor to become readable. */
    virtual SelectResult_t select(int fd, std::uint32_t seconds, std::uint32_t microseconds) = 0;
    virtual ReceiveResult_t receive(int fd, std::size_t length, int flags) = 0;
    virtual long send(int fd, std::span<const std::uint8_t> message, int flags) = 0;
    virtual void sleep(std::uint64_t microseconds) = 0;

    /** One transfer of the platform: `length` bytes from register `reg` of the device at 7-bit `address`. */
    virtual I2cResult_t readI2c(int fd, std::uint8_t address, std::uint8_t reg, int length) = 0;
    virtual int writeI2c(int fd, std::uint8_t address, std::uint8_t reg, std::span<const std::uint8_t> data) = 0;

    /** A record for the platform's event log: altEventLogM() (no action) or altEventLog() with its action. */
    virtual void eventLog(std::span<const std::uint8_t> record, std::optional<int> action) = 0;

    /**
     * One piece of the trace log. A line of information: `function` is the operation that it belongs to, `text` what
     * follows the prefix, line numbers and time stamps left away. A dump is one piece too: its label, then its lines
     * ("\n0x00000000: 00112233..."), with addresses counted from the dump's first byte.
     */
    virtual void trace(std::string_view function, std::string_view text) = 0;
};

} // namespace model
