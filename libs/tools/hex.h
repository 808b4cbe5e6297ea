/** Bytes as hexadecimal digits, two each. */
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "basetypes.h"

/** Lower-case digits, with `between` from one byte to the next. */
[[nodiscard]] std::string hexText(std::span<const U8_t> bytes, std::string_view between = "");

/** The same, separated by blanks, in lines of 16 bytes. */
[[nodiscard]] std::vector<std::string> hexLines(std::span<const U8_t> bytes);

/** Appends the bytes that `digits` stands for; false, with nothing appended, when it is no row of pairs of digits. */
[[nodiscard]] bool parseHex(std::string_view digits, std::vector<U8_t>* bytes);
