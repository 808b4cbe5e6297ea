/** What the source files of the trace facility share with each other and with nobody else. */
#pragma once

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <string_view>

#include "trace.h"

/** A text under construction in a buffer of fixed size; what does not fit is cut, and no terminator is kept. */
class TraceText_t {
public:
    TraceText_t(CHAR_t* buffer, U32_t size) : buffer_(buffer), size_(size) {}

    void add(std::string_view text) {
        const std::size_t count = std::min<std::size_t>(text.size(), size_ - length_);
        std::memcpy(buffer_ + length_, text.data(), count);
        length_ += static_cast<U32_t>(count);
    }
    void add(CHAR_t letter) {
        if (length_ < size_) {
            buffer_[length_++] = letter;
        }
    }
    /** Adds a file or function name, cut to 32 characters; nullptr adds nothing. */
    void addName(const CHAR_t* name);
    /** Adds `number` in decimal, filled on the left with `fill` to at least `width` characters. */
    void addNumber(U32_t number, U32_t width = 1, CHAR_t fill = '0');
    [[nodiscard]] U32_t length() const { return length_; }

private:
    CHAR_t* buffer_;
    U32_t size_;
    U32_t length_ = 0;
};

/** vsnprintf(), byte for byte and in its result; faster where the format has nothing but %d, %u, %x, %s and %-*s. */
[[gnu::format(printf, 3, 0)]] int traceFormat(CHAR_t* buffer, std::size_t size, const CHAR_t* format, va_list args);

/** The stream that lines go to: standard error where no log has been opened. */
FILE* traceStream();

/** Counts one line and looks at the log's size when it is time to. */
void traceCountLine();

/** Takes the lock and fills the current-call fields; a writer releases it. */
void traceBeginCall(U8_t module, const CHAR_t* file, const CHAR_t* function, U32_t line);

/** The current time stamp and the blanks behind it, formatted anew only when the second has changed. The caller holds
 * the lock. */
std::string_view traceCurrentStamp();

/** Loads the time zone, with what memory that takes, and makes the next stamp a new one. */
void traceReloadZone();
