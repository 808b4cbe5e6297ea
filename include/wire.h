/**
 * Building blocks of the records that leave the process: integers that are big-endian on every host and bit
 * fields that sit at the same bits on every host. All of them have alignment 1, so that a record made of them
 * can be laid over any offset of a message buffer.
 */
#pragma once

#include <bit>
#include <cstddef>
#include <cstring>
#include <type_traits>

#include "basetypes.h"

/** An unsigned integer of N bytes, most significant byte first; converts to and from the host integer T. */
template <typename T, std::size_t N>
struct be_uint_t {
    U8_t bytes[N];

    be_uint_t() = default;
    constexpr be_uint_t(T value) : bytes{} { store(value); }

    constexpr be_uint_t& operator=(T value) {
        store(value);
        return *this;
    }

    constexpr operator T() const {
        T value = 0;
        for (U8_t byte : bytes) {
            value = static_cast<T>((value << 8) | byte);
        }
        return value;
    }

private:
    constexpr void store(T value) {
        for (std::size_t i = 0; i < N; ++i) {
            bytes[i] = static_cast<U8_t>(value >> (8 * (N - 1 - i)));
        }
    }
};

using be16_t = be_uint_t<U16_t, 2>;
using be24_t = be_uint_t<U32_t, 3>; /**< the low 24 bits of the value; higher bits are dropped */
using be32_t = be_uint_t<U32_t, 4>;

/**
 * The bits of one byte that MASK names (adjacent bits). Several members over the same byte are grouped in an
 * anonymous union; each reads and writes its own bits only. A value wider than the field loses its high bits.
 *
 * Copying one field to another is deleted because it would copy the whole byte: convert explicitly
 * (`a.muted = U8_t{b.setMute}`). Records are copied with wireCopy().
 */
template <U8_t MASK>
struct bits_t {
    static_assert(MASK != 0, "a bit field needs at least one bit");
    static constexpr int SHIFT = std::countr_zero(MASK);

    U8_t byte;

    bits_t() = default;
    bits_t(const bits_t&) = default;
    bits_t& operator=(const bits_t&) = delete;

    constexpr bits_t& operator=(U8_t value) {
        byte = static_cast<U8_t>((byte & ~MASK) | ((value << SHIFT) & MASK));
        return *this;
    }

    constexpr operator U8_t() const { return static_cast<U8_t>((byte & MASK) >> SHIFT); }
};

/** Copies a whole wire record byte for byte. */
template <typename T>
void wireCopy(T& to, const T& from) {
    static_assert(std::is_trivially_copyable_v<T>);
    std::memcpy(static_cast<void*>(&to), &from, sizeof(T));
}

/** Sets every byte of a wire record to zero. */
template <typename T>
void wireClear(T& record) {
    static_assert(std::is_trivially_copyable_v<T>);
    std::memset(static_cast<void*>(&record), 0, sizeof(T));
}

/** The record of type T that starts at `bytes`; wire records have alignment 1, so any address will do. */
template <typename T>
T& wireAt(void* bytes) {
    static_assert(alignof(T) == 1 && std::is_trivially_copyable_v<T>);
    return *static_cast<T*>(bytes);
}

template <typename T>
const T& wireAt(const void* bytes) {
    static_assert(alignof(T) == 1 && std::is_trivially_copyable_v<T>);
    return *static_cast<const T*>(bytes);
}

/** Asserts what every wire record promises: its size, alignment 1 and plain bytes. */
#define WIRE_RECORD(type, size)                                                                                        \
    static_assert(sizeof(type) == (size), #type " has the wrong size");                                                \
    static_assert(alignof(type) == 1, #type " must lie at any offset");                                                \
    static_assert(std::is_trivially_copyable_v<type>, #type " must be plain bytes");                                   \
    static_assert(std::is_standard_layout_v<type>, #type " must have a fixed layout")

/** Asserts the offset of a field that follows padding. */
#define WIRE_OFFSET(type, field, offset)                                                                               \
    static_assert(offsetof(type, field) == (offset), #type "::" #field " has moved")
