/** Messages as bytes, put together from offsets and not through the records that are tested. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

namespace msmtest {

using Bytes = std::vector<std::uint8_t>;

inline void put32(Bytes& bytes, std::size_t offset, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) {
        bytes.at(offset + i) = static_cast<std::uint8_t>(value >> (24 - 8 * i));
    }
}

inline std::uint32_t get32(std::span<const std::uint8_t> bytes, std::size_t offset) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        value = value << 8 | bytes[offset + i];
    }
    return value;
}

/** A message of `length` bytes from `requestor`; `handle` tells messages apart. Nobody is named yet. */
inline Bytes message(std::uint8_t requestor, std::uint32_t handle, std::size_t length = 64) {
    Bytes bytes(length, 0);
    bytes.at(8) = 14;
    bytes.at(9) = 1;
    bytes.at(10) = static_cast<std::uint8_t>(length >> 8);
    bytes.at(11) = static_cast<std::uint8_t>(length);
    bytes.at(16) = requestor;
    put32(bytes, 40, handle);
    return bytes;
}

/** Sets an endpoint's bit in the bitmap that starts at `offset`: 20 the local one, 28 the other. */
inline Bytes& name(Bytes& bytes, unsigned endpoint, std::size_t offset = 20) {
    const std::size_t word = offset + 4 * (endpoint / 32);
    put32(bytes, word, get32(bytes, word) | std::uint32_t{1} << (endpoint % 32));
    return bytes;
}

/** A message that names each of `endpoints` in its local bitmap. */
inline Bytes messageTo(std::initializer_list<unsigned> endpoints, std::uint8_t requestor, std::uint32_t handle,
                       std::size_t length = 64) {
    Bytes bytes = message(requestor, handle, length);
    for (const unsigned endpoint : endpoints) {
        name(bytes, endpoint);
    }
    return bytes;
}

} // namespace msmtest
