#include "hex.h"

#include <algorithm>

namespace {

/** 0 to 15, or -1. */
int digitValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

} // namespace

std::string hexText(std::span<const U8_t> bytes, std::string_view between) {
    constexpr char DIGITS[] = "0123456789abcdef";
    std::string text;
    for (const U8_t byte : bytes) {
        text += text.empty() ? "" : between;
        text += DIGITS[byte >> 4];
        text += DIGITS[byte & 0xF];
    }
    return text;
}

std::vector<std::string> hexLines(std::span<const U8_t> bytes) {
    constexpr std::size_t BYTES_PER_LINE = 16;
    std::vector<std::string> lines;
    for (; !bytes.empty(); bytes = bytes.subspan(std::min(bytes.size(), BYTES_PER_LINE))) {
        lines.push_back(hexText(bytes.first(std::min(bytes.size(), BYTES_PER_LINE)), " "));
    }
    return lines;
}

bool parseHex(std::string_view digits, std::vector<U8_t>* bytes) {
    std::vector<U8_t> parsed;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        const int high = digitValue(digits[i]);
        const int low = i + 1 < digits.size() ? digitValue(digits[i + 1]) : -1;
        if (high < 0 || low < 0) {
            return false;
        }
        parsed.push_back(static_cast<U8_t>(high * 16 + low));
    }
    bytes->insert(bytes->end(), parsed.begin(), parsed.end());
    return true;
}
