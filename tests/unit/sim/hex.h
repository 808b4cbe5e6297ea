/** Bytes written as a person reads them: "52 41 10 01". */
#pragma once

#include <cstdint>
#include <cstdio>
#include <span>
#include <sstream>
#include <string>
#include <vector>

inline std::vector<std::uint8_t> bytes(const std::string& hex) {
    std::istringstream words(hex);
    std::vector<std::uint8_t> all;
    for (std::string word; words >> word;) {
        all.push_back(static_cast<std::uint8_t>(std::stoul(word, nullptr, 16)));
    }
    return all;
}

inline std::string hex(std::span<const std::uint8_t> data) {
    std::string text;
    for (const std::uint8_t byte : data) {
        char word[4];
        std::snprintf(word, sizeof word, "%s%02x", text.empty() ? "" : " ", unsigned{byte});
        text += word;
    }
    return text;
}

/**
 * Hex of a read of `length` bytes, "nack" when it was not acknowledged. `source` is a device or, with an address
 * before the register, a bus.
 */
template <typename Source, typename... Where>
std::string readHex(Source& source, std::size_t length, Where... where) {
    std::vector<std::uint8_t> out(length);
    return source.read(static_cast<std::uint8_t>(where)..., out) ? hex(out) : "nack";
}
