/** The bytes of an event message as the event manager gets it, for comparison. */
#pragma once

#include <array>
#include <cstdio>
#include <string>

#include "esa_fixture.h"

/** Hex text of big-endian words. */
template <std::size_t N>
std::string hexWords(const std::array<U32_t, N>& words) {
    std::string text;
    for (U32_t word : words) {
        char four[16];
        std::snprintf(four, sizeof(four), "%s%02X %02X %02X %02X", text.empty() ? "" : " ", word >> 24,
                      (word >> 16) & 0xFFU, (word >> 8) & 0xFFU, word & 0xFFU);
        text += four;
    }
    return text;
}

inline std::string zeros(int count) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += "00 ";
    }
    return text;
}

/**
 * Bytes 8 to 299 of an event message: type and identifier of the event, then its record as 21 words. The temperature
 * is the high half of word 12, the chassis type the high byte of word 0.
 */
inline std::string eventBytes(const std::string& type, const std::string& id, const std::array<U32_t, 21>& record) {
    return "0E 01 01 2C 08 00 00 01 21 00 00 00 08 00 00 00 " + zeros(40) + // common header
           zeros(147) + type + " 03 01 00 " + id + " " + hexWords(record);  // log header, record
}

/** Everything of a message behind its two link words, which hold an address. */
inline std::string behindLinks(const Bytes_t& message) {
    std::string text;
    for (std::size_t i = 8; i < message.size(); ++i) {
        char two[8];
        std::snprintf(two, sizeof(two), i == 8 ? "%02X" : " %02X", static_cast<unsigned>(message[i]));
        text += two;
    }
    return text;
}
