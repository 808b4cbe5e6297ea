/** Bytes of messages and records, as they travel: big-endian. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace model::octets {

/** `width` bytes at `offset` as a number; bytes behind the end count as zero. */
inline std::uint32_t number(std::span<const std::uint8_t> bytes, std::size_t offset, std::size_t width) {
    std::uint32_t value = 0;
    for (std::size_t i = offset; i < offset + width; ++i)
        value = value << 8 | (i < bytes.size() ? bytes[i] : 0U);
    return value;
}

inline void put(std::span<std::uint8_t> bytes, std::size_t offset, std::size_t width, std::uint32_t value) {
    for (std::size_t i = offset + width; i-- > offset; value >>= 8)
        bytes[i] = static_cast<std::uint8_t>(value);
}

} // namespace model::octets
