/** Base types of the platform: the same widths on every host. */
#pragma once

#include <cstdint>

using U8_t = std::uint8_t;
using U16_t = std::uint16_t;
using U32_t = std::uint32_t;
using S8_t = std::int8_t;
using S16_t = std::int16_t;
using S32_t = std::int32_t;
using CHAR_t = char;

/** A truth value that keeps its 32 bits wherever a record is shared between processes. */
using BOOLEAN = U32_t;

/** A span of time or a point in it. */
struct MPU_TIME_t {
    U32_t sec;  /**< seconds */
    U32_t usec; /**< microseconds, 0 to 999999 */
};
