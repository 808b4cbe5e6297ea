/** The adapter's own log file, taken apart into the pieces of the ordered stream. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace model {

struct TracePiece_t {
    std::string function;
    std::string text;
};

/**
 * One piece as it came into the log: a line of information with its time stamp, or a dump. Stamp, line number and the
 * line's end go; addresses of a dump are counted from its first byte. What does not look like a piece comes back whole,
 * with the function "?".
 */
TracePiece_t takeApart(std::string_view piece);

/**
 * Puts SEND_BUFFER_ADDRESS in the place of `address`, the send buffer's, where a message begins: the first two words of
 * a dump, or of `bytes`.
 */
void hideAddressInDump(std::string& text, std::uint32_t address);
void hideAddress(std::uint8_t* bytes, std::size_t size, std::uint32_t address);

} // namespace model
