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

    [[nodiscard]] bool add(const CHAR_t* text, std::size_t length) {
        if (static_cast<std::size_t>(end_ - at_) < length) {
            return false;
        }
        std::memcpy(at_, text, length);
        at_ += length;
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

/** One conversion of a plain kind, `letter` behind the percent sign; false for any other and for what does not fit. */
bool addConversion(Text_t& text, CHAR_t letter, va_list& args) {
    switch (letter) {
    case 'd':
        return text.addNumber(va_arg(args, int), 10);
    case 'u':
        return text.addNumber(va_arg(args, unsigned), 10);
    case 'x':
        return text.addNumber(va_arg(args, unsigned), 16);
    case 's': {
        const CHAR_t* word = va_arg(args, const CHAR_t*);
        return word != nullptr && text.add(word, std::strlen(word));
    }
    default:
        return false;
    }
}

bool addAll(Text_t& text, const CHAR_t* format, va_list& args) {
    for (;;) {
        const CHAR_t* percent = std::strchr(format, '%');
        if (percent == nullptr) {
            return text.add(format, std::strlen(format));
        }
        if (!text.add(format, static_cast<std::size_t>(percent - format)) || !addConversion(text, percent[1], args)) {
            return false;
        }
        format = percent + 2;
    }
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
