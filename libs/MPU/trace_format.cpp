/** printf for trace lines: nearly all of them hold whole numbers and words only. */
#include <charconv>
#include <cstdio>

#include "trace_private.h"

namespace {

/** A text in a buffer of fixed size, whose last byte is kept for the terminator; it stays as it is when something does
    not fit. */
class Text_t {
public:
    Text_t(CHAR_t* buffer, std::size_t size) : begin_(buffer), at_(buffer), end_(buffer + size - 1) {}

    /** What stands between conversions is short: a call to copy it would cost more than the copying. */
    [[nodiscard]] bool add(CHAR_t letter) {
        if (at_ == end_) {
            return false;
        }
        *at_++ = letter;
        return true;
    }

    /** Adds a word, and behind it blanks up to `width` characters. */
    [[nodiscard]] bool addFilled(const CHAR_t* word, std::size_t width) {
        const std::size_t length = std::strlen(word);
        const std::size_t blanks = std::max(width, length) - length;
        if (static_cast<std::size_t>(end_ - at_) < length + blanks) {
            return false;
        }
        std::memcpy(at_, word, length);
        std::memset(at_ + length, ' ', blanks);
        at_ += length + blanks;
        return true;
    }

    template <typename Number>
    [[nodiscard]] bool addNumber(Number number, int base) {
        const std::to_chars_result result = std::to_chars(at_, end_, number, base);
        if (result.ec != std::errc()) {
            return false;
        }
        at_ = result.ptr;
        return true;
    }

    int finish() {
        *at_ = '\0';
        return static_cast<int>(at_ - begin_);
    }

private:
    CHAR_t* begin_;
    CHAR_t* at_;
    CHAR_t* end_;
};

/**
 * One conversion of a plain kind, or "%-*s"; `at` is behind the percent sign, and then behind the conversion. False for
 * any other and for what does not fit.
 */
bool addConversion(Text_t& text, const CHAR_t*& at, va_list& args) {
    switch (*at++) {
    case 'd':
        return text.addNumber(va_arg(args, int), 10);
    case 'u':
        return text.addNumber(va_arg(args, unsigned), 10);
    case 'x':
        return text.addNumber(va_arg(args, unsigned), 16);
    case 's': {
        const CHAR_t* word = va_arg(args, const CHAR_t*);
        return word != nullptr && text.addFilled(word, 0);
    }
    case '-': {
        if (at[0] != '*' || at[1] != 's') {
            return false;
        }
        at += 2;
        const int width = va_arg(args, int);
        const CHAR_t* word = va_arg(args, const CHAR_t*);
        return width >= 0 && word != nullptr && text.addFilled(word, static_cast<std::size_t>(width));
    }
    default:
        return false;
    }
}

bool addAll(Text_t& text, const CHAR_t* format, va_list& args) {
    while (*format != '\0') {
        const CHAR_t letter = *format++;
        if (letter == '%' ? !addConversion(text, format, args) : !text.add(letter)) {
            return false;
        }
    }
    return true;
}

} // namespace

int traceFormat(CHAR_t* buffer, std::size_t size, const CHAR_t* format, va_list args) {
    va_list plain;
    va_copy(plain, args);
    Text_t text(buffer, size);
    const bool done = addAll(text, format, plain);
    va_end(plain);
    return done ? text.finish() : std::vsnprintf(buffer, size, format, args);
}
