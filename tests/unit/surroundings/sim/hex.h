/** Reads as a person sees them: "41 ff". */
#pragma once

#include "bytes.h"

using testsupport::lowerHex;
using testsupport::unhex;

/** "0c". */
inline std::string oneByte(unsigned value) {
    const auto byte = static_cast<std::uint8_t>(value);
    return lowerHex({&byte, 1});
}

/**
 * Hex of a read of `length` bytes, "nack" when it was not acknowledged. `source` is a device or, with an address
 * before the register, a bus.
 */
template <typename Source, typename... Where>
std::string readHex(Source& source, std::size_t length, Where... where) {
    std::vector<std::uint8_t> out(length);
    return source.read(static_cast<std::uint8_t>(where)..., out) ? lowerHex(out) : "nack";
}
