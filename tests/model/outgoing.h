/** Big-endian fields of messages, and the common header as every message of the adapter starts with it. */
#pragma once

#include "adapter.h"

namespace model {

inline std::uint32_t wordAt(std::span<const std::uint8_t> bytes, std::size_t offset) {
    std::uint32_t word = 0;
    for (std::size_t i = 0; i < 4; i++)
        word = word << 8 | bytes[offset + i];
    return word;
}

inline void putWord(std::span<std::uint8_t> bytes, std::size_t offset, std::uint32_t word) {
    for (std::size_t i = 0; i < 4; i++)
        bytes[offset + i] = static_cast<std::uint8_t>(word >> (24 - 8 * i));
}

inline void putHalf(std::span<std::uint8_t> bytes, std::size_t offset, std::size_t half) {
    bytes[offset] = static_cast<std::uint8_t>(half >> 8);
    bytes[offset + 1] = static_cast<std::uint8_t>(half);
}

/** All 64 bytes but byte 19, which nobody writes. */
inline void clearHeader(std::span<std::uint8_t> message) {
    putWord(message, 0, SEND_BUFFER_ADDRESS);
    putWord(message, 4, SEND_BUFFER_ADDRESS);
    message[8] = 14;
    message[9] = 1;
    putHalf(message, 10, 0);
    putWord(message, 12, 0);
    message[16] = 16;
    message[17] = 0;
    message[18] = 0;
    for (std::size_t offset = 20; offset < 64; offset += 4)
        putWord(message, offset, 0);
}

/** A header of the adapter's own request: its length, `protocol` in the upper byte and type of `opcode`, one recipient.
 */
inline void putRequestHeader(std::span<std::uint8_t> message, std::size_t length, std::uint32_t opcode,
                             std::uint32_t firstRecipientWord) {
    clearHeader(message);
    putHalf(message, 10, length);
    putWord(message, 12, opcode);
    message[16] = 33;
    putWord(message, 20, firstRecipientWord);
}

} // namespace model
