#include <charconv>
#include <cstring>

#include "trace_private.h"

namespace {

/** Longest file or function name in a line. */
constexpr std::size_t MAX_NAME_LENGTH = 32;

} // namespace

void TraceText_t::addName(const CHAR_t* name) {
    if (name != nullptr) {
        add({name, strnlen(name, MAX_NAME_LENGTH)});
    }
}

void TraceText_t::addNumber(U32_t number, U32_t width, CHAR_t fill) {
    CHAR_t digits[10];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    const auto count = static_cast<U32_t>(end - digits);
    for (U32_t i = count; i < width && length_ < size_; ++i) {
        add({&fill, 1});
    }
    add({digits, count});
}
