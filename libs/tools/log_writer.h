/** A log on standard output that never makes its program wait. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <sys/types.h>

/** Bytes of lines that wait for whoever reads the log; what comes on top is dropped and counted. */
inline constexpr std::size_t LOG_K_LIMIT = std::size_t{256} * 1024;

/**
 * Writes lines to a descriptor without ever blocking: a pipe or terminal is opened anew, so that not waiting holds for
 * this program alone and not for everybody who shares the descriptor.
 */
class LogWriter_t {
public:
    LogWriter_t() = default;
    LogWriter_t(const LogWriter_t&) = delete;
    LogWriter_t& operator=(const LogWriter_t&) = delete;
    ~LogWriter_t();

    void open(int descriptor);
    void write(std::string_view line);
    /** Writes what waits, as far as it is taken. */
    void flush();
    bool isWaiting() const { return !waiting_.empty() || lost_ != 0; }

private:
    ssize_t attempt(std::string_view text) const;
    void giveUp();

    int descriptor_ = -1;
    bool isOwn_ = false;    /**< opened anew, to be closed */
    bool isSocket_ = false; /**< the system's journal is one */
    bool isFile_ = false;   /**< never full for long: asking first is of no use */
    std::string waiting_;
    std::uint64_t lost_ = 0; /**< lines that are not in `waiting_` */
    std::uint64_t told_ = 0; /**< lines whose loss the first line of `waiting_` tells, 0 when it tells of none */
};
