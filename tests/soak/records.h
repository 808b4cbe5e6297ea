#pragma once
// Messages of the adapter as one line of text each, so that what came and what should have come compare as texts.

#include <cstdint>
#include <span>
#include <string>

namespace soak {

using Bytes = std::span<const std::uint8_t>;

std::uint32_t be16(Bytes bytes, std::size_t offset);
std::uint32_t be32(Bytes bytes, std::size_t offset);

/// The handle of a reply, 0 for any other message: the adapter's own requests carry none.
std::uint32_t replyHandle(Bytes message);

/// One line for a whole message of the adapter: its kind, then everything about it that a fault could get wrong.
std::string describe(Bytes message);

/// The first word or two of such a line: what messages are counted by.
std::string kindOf(const std::string& line);

} // namespace soak
