/** Values of fields: how they are written for a person and read back. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "fields.h"

/**
 * The element at `at` as a person reads it: flags as "0x00000010 (CacheValid)", a byte that has names as
 * "3 (Quadra)", anything else in the form that parseValue() takes.
 */
[[nodiscard]] std::string formatValue(const Field_t& field, const U8_t* at);

/** Names of the flags that are up in `flags`, separated by `separator`; bits without a name come as one number. */
[[nodiscard]] std::string formatFlags(U32_t flags, std::string_view separator);

/** The host integer of 1, 2 or 4 bytes at `at`. */
[[nodiscard]] U32_t loadInteger(const U8_t* at, std::size_t size);

/**
 * The bytes that `text` stands for in one element of the field. Throws a usage error that says what would be right;
 * `what` names the value in it.
 */
[[nodiscard]] std::string parseValue(const Field_t& field, std::string_view text, const std::string& what);

/** The bits that names of flags and numbers, separated by ",", stand for. Throws a usage error as parseValue(). */
[[nodiscard]] U32_t parseFlags(std::string_view text, const std::string& what);

/** A whole number, decimal or 0x and hexadecimal; none when it is anything else or above `most`. */
[[nodiscard]] bool parseNumber(std::string_view text, std::uint64_t most, std::uint64_t* number);
