#include "trace_log.h"

#include <cctype>
#include <charconv>
#include <cstdio>
#include <cstring>

#include "adapter.h"
#include "octets.h"

namespace model {
namespace {

constexpr std::string_view STAMP = "Aaa 99 99:99:99  ";
constexpr std::string_view LINE_START = "\n0x";
constexpr std::size_t ADDRESS_DIGITS = 8;

bool isDigit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

bool hasStamp(std::string_view piece) {
    if (piece.size() < STAMP.size()) {
        return false;
    }
    for (std::size_t i = 0; i < STAMP.size(); ++i) {
        const bool matches = STAMP[i] == '9'                      ? isDigit(piece[i]) || (i == 4 && piece[i] == ' ')
                             : STAMP[i] == ' ' || STAMP[i] == ':' ? piece[i] == STAMP[i]
                                                                  : std::isalpha(static_cast<unsigned char>(piece[i]));
        if (!matches) {
            return false;
        }
    }
    return true;
}

bool hexValue(std::string_view digits, std::uint32_t& value) {
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
    return result.ec == std::errc() && result.ptr == digits.data() + digits.size();
}

std::string hex8(std::uint32_t value) {
    char text[16];
    (void)std::snprintf(text, sizeof(text), "%08X", value);
    return text;
}

/** Counts the addresses of a dump from its first. */
void countAddresses(std::string& text) {
    std::uint32_t first = 0;
    bool any = false;
    for (std::size_t at = text.find(LINE_START); at != std::string::npos; at = text.find(LINE_START, at + 1)) {
        const std::size_t digits = at + LINE_START.size();
        std::uint32_t address = 0;
        if (text.size() < digits + ADDRESS_DIGITS + 2 || text[digits + ADDRESS_DIGITS] != ':' ||
            !hexValue(std::string_view(text).substr(digits, ADDRESS_DIGITS), address)) {
            continue;
        }
        first = any ? first : address;
        any = true;
        text.replace(digits, ADDRESS_DIGITS, hex8(address - first));
    }
}

} // namespace

TracePiece_t takeApart(std::string_view piece) {
    const TracePiece_t strange = {"?", std::string(piece)};
    if (piece.empty() || piece.back() != '\n') {
        return strange;
    }
    const bool isLine = hasStamp(piece);
    std::string_view rest = piece.substr(isLine ? STAMP.size() : 0);
    rest.remove_suffix(1);
    const std::size_t nameEnd = rest.find(':');
    if (nameEnd == std::string_view::npos) {
        return strange;
    }
    std::size_t numberEnd = nameEnd + 1;
    while (numberEnd < rest.size() && isDigit(rest[numberEnd])) {
        ++numberEnd;
    }
    const std::string_view end = isLine ? ":  " : ": ";
    if (numberEnd == nameEnd + 1 || rest.substr(numberEnd, end.size()) != end) {
        return strange;
    }
    TracePiece_t result = {std::string(rest.substr(0, nameEnd)), std::string(rest.substr(numberEnd + end.size()))};
    if (!isLine) {
        countAddresses(result.text);
    }
    return result;
}

void hideAddressInDump(std::string& text, std::uint32_t address) {
    constexpr std::string_view FIRST_LINE = "\n0x00000000: ";
    const std::size_t start = text.find(FIRST_LINE);
    if (start == std::string::npos) {
        return;
    }
    const std::string own = hex8(address);
    for (const std::size_t at : {start + FIRST_LINE.size(), start + FIRST_LINE.size() + own.size()}) {
        if (at < text.size() && text.compare(at, own.size(), own) == 0) {
            text.replace(at, own.size(), hex8(SEND_BUFFER_ADDRESS));
        }
    }
}

void hideAddress(std::uint8_t* bytes, std::size_t size, std::uint32_t address) {
    for (std::size_t word = 0; word < 2 && (word + 1) * 4 <= size; ++word) {
        const std::span<std::uint8_t> place(bytes + word * 4, 4);
        if (octets::number(place, 0, 4) == address) {
            octets::put(place, 0, 4, SEND_BUFFER_ADDRESS);
        }
    }
}

} // namespace model
