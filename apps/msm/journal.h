/** The switch's lines on standard output, which never make it wait. */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <sys/types.h>

#include "letter.h"

/** Kinds of notices: a crowd of one kind does not hide the others. */
enum class Notice_e : U8_t { REFUSED, HASTY, NONSENSE, FOREIGN_NAME, NO_QUESTION, LOST, EXPIRED, SYSTEM, KINDS };

/** Bytes of lines that wait for whoever reads the log; what comes on top is dropped and counted. */
inline constexpr std::size_t MSM_K_LOG_LIMIT = std::size_t{256} * 1024;

/**
 * Writes lines to a descriptor without ever blocking: a pipe or terminal is opened anew, so that not waiting holds for
 * the switch alone and not for everybody who shares the descriptor.
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

/** Lines for people: what the switch does (the trace) and what goes wrong (notices). */
class Journal_t {
public:
    /** `log`: the trace and a time in each line; `quiet`: neither notices nor the ready line, unless there is a trace.
     */
    Journal_t(bool log, bool quiet) : log_(log), quiet_(quiet) {}

    /** Starts writing to standard output. */
    void open();
    bool isTracing() const { return log_; }
    void trace(std::string_view line);
    /** A notice; at most 20 of a kind at once and one a second on the average, with the number of those left out. */
    void notice(Notice_e kind, std::string_view line);
    void ready(std::string_view line);
    void flush() { writer_.flush(); }
    bool isWaiting() const { return writer_.isWaiting(); }

private:
    struct Limit_t {
        double level = 20;
        MsmClock_t::time_point at{};
        std::uint64_t hidden = 0;
    };

    void print(std::string_view line);

    bool log_;
    bool quiet_;
    LogWriter_t writer_;
    std::array<Limit_t, static_cast<std::size_t>(Notice_e::KINDS)> limits_{};
};

/** Notices of a loss that goes on come at 1, 2, 4, 8 ... messages: a flood must not become a flood of lines. */
bool isWorthNotice(std::uint64_t count);
