#include "values.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <string>
#include <vector>

#include "chassis_list.h"
#include "errors.h"

namespace {

template <typename T>
T load(const U8_t* at) {
    T value = 0;
    std::memcpy(&value, at, sizeof(value));
    return value;
}

template <typename T>
std::string bytesOf(T value) {
    std::string bytes(sizeof(value), '\0');
    std::memcpy(bytes.data(), &value, sizeof(value));
    return bytes;
}

template <typename... Args>
std::string print(const char* format, Args... args) {
    std::array<char, 64> buffer{};
    (void)std::snprintf(buffer.data(), buffer.size(), format, args...);
    return buffer.data();
}

/* --------------------------------------------------------------------------------------------- formatting */

/** Text with what cannot be printed as \xNN, so that one value stays on one line. */
std::string printable(std::string_view text) {
    std::string out;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        out +=
            byte < 0x20 || byte > 0x7E || c == '\\' ? print("\\x%02X", static_cast<unsigned>(byte)) : std::string(1, c);
    }
    return out;
}

std::string formatText(const Field_t& field, const U8_t* at) {
    std::string_view text(reinterpret_cast<const char*>(at), field.size);
    if (field.kind == Kind_e::BLANK) {
        text = text.substr(0, text.find_last_not_of(std::string_view(" \0", 2)) + 1);
    } else {
        text = text.substr(0, text.find('\0'));
    }
    return printable(text);
}

std::string formatName(const Field_t& field, const U8_t* at) {
    const Named_t* const named = findValue(field.names, *at);
    return std::to_string(*at) + (named == nullptr ? "" : std::string(" (") + named->name + ")");
}

std::string formatMac(const U8_t* at) {
    std::string text = print("%02x:%02x:%02x:%02x:%02x:%02x", at[0], at[1], at[2], at[3], at[4], at[5]);
    const U16_t filler = load<U16_t>(at + offsetof(MAC_ADDRESS_t, _filler1));
    return filler == 0 ? text : text + print(" (_filler1 0x%04X)", filler);
}

std::string formatVersion(const U8_t* at) {
    return print("%u.%u.%u.%u", load<U16_t>(at), load<U16_t>(at + 2), load<U16_t>(at + 4), load<U16_t>(at + 6));
}

/* ------------------------------------------------------------------------------------------------ parsing */

[[noreturn]] void refuse(const std::string& what, const std::string& expected) {
    throw usageError(what + ": expected " + expected);
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (;;) {
        const std::size_t end = text.find(separator);
        parts.push_back(text.substr(0, end));
        if (end == std::string_view::npos) {
            return parts;
        }
        text.remove_prefix(end + 1);
    }
}

/** Exactly `count` numbers of `base` up to `most` between separators; false for anything else. */
bool parseParts(std::string_view text, char separator, int base, U32_t most, std::size_t count, U32_t* values) {
    const std::vector<std::string_view> parts = split(text, separator);
    if (parts.size() != count) {
        return false;
    }
    for (const std::string_view part : parts) {
        const auto result = std::from_chars(part.data(), part.data() + part.size(), *values, base);
        if (result.ec != std::errc() || result.ptr != part.data() + part.size() || *values > most) {
            return false;
        }
        ++values;
    }
    return true;
}

std::string parseInteger(const Field_t& field, std::string_view text, const std::string& what) {
    const std::uint64_t most = (std::uint64_t{1} << (8 * field.size)) - 1;
    std::uint64_t number = 0;
    if (!parseNumber(text, most, &number)) {
        refuse(what, "a number from 0 to " + std::to_string(most));
    }
    switch (field.size) {
    case 1:
        return bytesOf(static_cast<U8_t>(number));
    case 2:
        return bytesOf(static_cast<U16_t>(number));
    default:
        return bytesOf(static_cast<U32_t>(number));
    }
}

std::string parseSize(std::string_view text, const std::string& what) {
    static constexpr std::string_view UNITS = "kmgKMG";
    const std::size_t unit = text.empty() ? std::string_view::npos : UNITS.find(text.back());
    const int shift = unit == std::string_view::npos ? 0 : 10 * (static_cast<int>(unit % 3) + 1);
    std::uint64_t number = 0;
    if (!parseNumber(text.substr(0, text.size() - (shift != 0 ? 1 : 0)), 0xFFFFFFFFULL >> shift, &number)) {
        refuse(what, "bytes below 4g, or a number followed by k, m or g");
    }
    return bytesOf(static_cast<U32_t>(number << shift));
}

std::string parseWide(std::string_view text, const std::string& what) {
    std::uint64_t number = 0;
    if (!parseNumber(text, ~std::uint64_t{0}, &number)) {
        refuse(what, "a number of at most 64 bits");
    }
    return bytesOf(static_cast<U32_t>(number >> 32)) + bytesOf(static_cast<U32_t>(number));
}

/** A chassis by either of its names, or by its number: an adapter knows no others. */
std::string parseChassis(const Field_t& field, std::string_view text, const std::string& what) {
    std::uint64_t number = 0;
    const ChassisFacts_t* chassis = findChassis(text);
    if (chassis == nullptr && parseNumber(text, 0xFF, &number)) {
        chassis = findChassis(static_cast<unsigned>(number));
    }
    if (chassis == nullptr) {
        refuse(what, listNames(field.names) + ", or a number from " + std::to_string(CHASSIS_LIST.front().type) +
                         " to " + std::to_string(CHASSIS_LIST.back().type));
    }
    return bytesOf(static_cast<U8_t>(chassis->type));
}

std::string parseName(const Field_t& field, std::string_view text, const std::string& what) {
    if (field.offset == offsetof(MPU_PARAMS_t, chassisType)) {
        return parseChassis(field, text, what);
    }
    const Named_t* const named = findName(field.names, text);
    std::uint64_t number = 0;
    if (named != nullptr) {
        number = named->value;
    } else if (!parseNumber(text, 0xFF, &number)) {
        refuse(what, listNames(field.names) + ", or a number from 0 to 255");
    }
    return bytesOf(static_cast<U8_t>(number));
}

std::string parseIp(std::string_view text, const std::string& what) {
    std::array<U32_t, 4> part{};
    if (!parseParts(text, '.', 10, 255, part.size(), part.data())) {
        refuse(what, "an address such as 192.168.0.1");
    }
    return bytesOf((part[0] << 24) | (part[1] << 16) | (part[2] << 8) | part[3]);
}

std::string parseVersion(std::string_view text, const std::string& what) {
    std::array<U32_t, 4> part{};
    if (!parseParts(text, '.', 10, 0xFFFF, part.size(), part.data())) {
        refuse(what, "major.minor.maintenance.build, each from 0 to 65535");
    }
    std::string bytes;
    for (const U32_t number : part) {
        bytes += bytesOf(static_cast<U16_t>(number));
    }
    return bytes;
}

std::string parseMac(std::string_view text, const std::string& what) {
    std::array<U32_t, 6> part{};
    if (!parseParts(text, ':', 16, 0xFF, part.size(), part.data())) {
        refuse(what, "six hexadecimal bytes such as 00:17:34:01:02:03");
    }
    std::string bytes; // the filler behind them is left as it is
    for (const U32_t byte : part) {
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

std::string parseAdapter(std::string_view text, const std::string& what) {
    std::array<U32_t, 2> half{};
    if (!parseParts(text, '/', 10, 0xFFFF, half.size(), half.data())) {
        refuse(what, "two numbers such as 2/1, each from 0 to 65535");
    }
    return bytesOf((half[0] << 16) | half[1]);
}

std::string parseText(const Field_t& field, std::string_view text, const std::string& what) {
    const std::size_t most = field.kind == Kind_e::PATH ? field.size - 1 : field.size;
    if (text.size() > most) {
        refuse(what, "at most " + std::to_string(most) + " characters, got " + std::to_string(text.size()));
    }
    std::string bytes(text);
    bytes.resize(field.size, field.kind == Kind_e::BLANK ? ' ' : '\0');
    return bytes;
}

} // namespace

U32_t loadInteger(const U8_t* at, std::size_t size) {
    return size == 1 ? *at : size == 2 ? load<U16_t>(at) : load<U32_t>(at);
}

std::string formatFlags(U32_t flags, std::string_view separator) {
    std::string text;
    for (const Named_t& flag : flagNames()) {
        if ((flags & flag.value) != 0) {
            text += (text.empty() ? "" : std::string(separator)) + flag.name;
            flags &= ~flag.value;
        }
    }
    if (flags != 0) {
        text += (text.empty() ? "" : std::string(separator)) + print("0x%X", flags);
    }
    return text;
}

std::string formatValue(const Field_t& field, const U8_t* at) {
    switch (field.kind) {
    case Kind_e::INTEGER:
    case Kind_e::SIZE:
        return std::to_string(loadInteger(at, field.size));
    case Kind_e::WIDE:
        return print("0x%08X%08X", load<U32_t>(at), load<U32_t>(at + 4));
    case Kind_e::FLAGS:
        return print("0x%08X (", load<U32_t>(at)) + formatFlags(load<U32_t>(at), ", ") + ")";
    case Kind_e::NAME:
        return formatName(field, at);
    case Kind_e::IP:
        return print("%u.%u.%u.%u", load<U32_t>(at) >> 24, (load<U32_t>(at) >> 16) & 0xFF,
                     (load<U32_t>(at) >> 8) & 0xFF, load<U32_t>(at) & 0xFF);
    case Kind_e::VERSION:
        return formatVersion(at);
    case Kind_e::MAC:
        return formatMac(at);
    case Kind_e::ADAPTER:
        return print("%u/%u", load<U32_t>(at) >> 16, load<U32_t>(at) & 0xFFFF);
    case Kind_e::TEXT:
    case Kind_e::PATH:
    case Kind_e::BLANK:
        return formatText(field, at);
    }
    return {};
}

std::string parseValue(const Field_t& field, std::string_view text, const std::string& what) {
    switch (field.kind) {
    case Kind_e::INTEGER:
        return parseInteger(field, text, what);
    case Kind_e::SIZE:
        return parseSize(text, what);
    case Kind_e::WIDE:
        return parseWide(text, what);
    case Kind_e::FLAGS:
        return bytesOf(parseFlags(text, what));
    case Kind_e::NAME:
        return parseName(field, text, what);
    case Kind_e::IP:
        return parseIp(text, what);
    case Kind_e::VERSION:
        return parseVersion(text, what);
    case Kind_e::MAC:
        return parseMac(text, what);
    case Kind_e::ADAPTER:
        return parseAdapter(text, what);
    case Kind_e::TEXT:
    case Kind_e::PATH:
    case Kind_e::BLANK:
        return parseText(field, text, what);
    }
    return {};
}

U32_t parseFlags(std::string_view text, const std::string& what) {
    U32_t flags = 0;
    for (const std::string_view part : split(text, ',')) {
        const Named_t* const flag = findName(flagNames(), part);
        std::uint64_t number = 0;
        if (flag == nullptr && !parseNumber(part, 0xFFFFFFFF, &number)) {
            refuse(what, "names separated by \",\" out of " + listNames(flagNames()) + ", or a number of 32 bits");
        }
        flags |= flag != nullptr ? flag->value : static_cast<U32_t>(number);
    }
    return flags;
}

bool parseNumber(std::string_view text, std::uint64_t most, std::uint64_t* number) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    text.remove_prefix(hexadecimal ? 2 : 0);
    const auto result = std::from_chars(text.data(), text.data() + text.size(), *number, hexadecimal ? 16 : 10);
    return result.ec == std::errc() && result.ptr == text.data() + text.size() && *number <= most;
}
