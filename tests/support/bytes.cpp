#include "bytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>

namespace testsupport {

namespace {

std::string digitsOf(std::span<const std::uint8_t> bytes, const char* digits, const char* between) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += text.empty() ? "" : between;
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}

} // namespace

Bytes_t unhex(std::string_view text) {
    std::string digits;
    for (const char c : text) {
        if (std::isspace(static_cast<unsigned char>(c)) == 0) {
            EXPECT_NE(std::isxdigit(static_cast<unsigned char>(c)), 0) << "no hex digit in: " << text;
            digits += c;
        }
    }
    EXPECT_EQ(digits.size() % 2, 0U) << "half a byte in: " << text;
    Bytes_t bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

std::string hex(std::span<const std::uint8_t> bytes) {
    return digitsOf(bytes, "0123456789ABCDEF", " ");
}

std::string hex(const void* bytes, std::size_t size) {
    return hex(std::span(static_cast<const std::uint8_t*>(bytes), size));
}

std::string lowerHex(std::span<const std::uint8_t> bytes, const char* between) {
    return digitsOf(bytes, "0123456789abcdef", between);
}

void put16(std::span<std::uint8_t> bytes, std::size_t at, unsigned value) {
    bytes[at] = static_cast<std::uint8_t>(value >> 8);
    bytes[at + 1] = static_cast<std::uint8_t>(value);
}

void put32(std::span<std::uint8_t> bytes, std::size_t at, std::uint32_t value) {
    put16(bytes, at, value >> 16);
    put16(bytes, at + 2, value);
}

std::uint16_t get16(std::span<const std::uint8_t> bytes, std::size_t at) {
    return static_cast<std::uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}

std::uint32_t get32(std::span<const std::uint8_t> bytes, std::size_t at) {
    return std::uint32_t{get16(bytes, at)} << 16 | get16(bytes, at + 2);
}

Bytes_t message(const Header_t& header, const Bytes_t& payload) {
    Bytes_t bytes(64, 0);
    bytes[8] = 14;
    bytes[9] = 1;
    put16(bytes, 10, static_cast<unsigned>(bytes.size() + payload.size()));
    put32(bytes, 12, header.type);
    bytes[12] = static_cast<std::uint8_t>(header.protocol);
    bytes[16] = static_cast<std::uint8_t>(header.requestor);
    for (const unsigned endpoint : header.recipients) {
        addRecipient(bytes, endpoint);
    }
    put32(bytes, 40, header.handle);
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return bytes;
}

void addRecipient(std::span<std::uint8_t> message, unsigned endpoint, std::size_t offset) {
    const std::size_t word = offset + 4 * (endpoint / 32);
    put32(message, word, get32(message, word) | std::uint32_t{1} << (endpoint % 32));
}

std::size_t lengthOf(std::span<const std::uint8_t> header) {
    return get16(header, 10);
}

std::string messageName(const Bytes_t& message) {
    switch (get32(message, 12)) {
    case 0x0C000001:
        return "init";
    case 0x0C00000E:
        return get32(message, 48) == 2 ? "led-on" : "led-off";
    case 0x0C000010:
        return "email";
    case 0x0D000001:
        return "shutdown";
    case 0x08000001:
        return "event " + std::to_string(get16(message, 214)) + "/" + std::to_string(message[211]);
    default:
        return "reply " + std::to_string(message.size());
    }
}

std::string digitsAsZeros(std::string text) {
    std::ranges::replace_if(
        text, [](char c) { return c >= '0' && c <= '9'; }, '0');
    return text;
}

} // namespace testsupport
