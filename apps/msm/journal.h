/** The switch's lines on standard output, which never make it wait. */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "letter.h"
#include "log_writer.h"

/** Kinds of notices: a crowd of one kind does not hide the others. */
enum class Notice_e : U8_t { REFUSED, HASTY, NONSENSE, FOREIGN_NAME, NO_QUESTION, LOST, EXPIRED, SYSTEM, KINDS };

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
