/** Bytes as tests write and read them, and messages as the switch carries them: by offsets, not through the records. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace testsupport {

using Bytes_t = std::vector<std::uint8_t>;

/** The bytes that pairs of hex digits stand for; blanks and line ends between them are passed over. */
Bytes_t unhex(std::string_view text);

/** "01 1C". */
std::string hex(std::span<const std::uint8_t> bytes);
std::string hex(const void* bytes, std::size_t size);
/** "01 1c", or with another text between two bytes. */
std::string lowerHex(std::span<const std::uint8_t> bytes, const char* between = " ");

void put16(std::span<std::uint8_t> bytes, std::size_t at, unsigned value);
void put32(std::span<std::uint8_t> bytes, std::size_t at, std::uint32_t value);
std::uint16_t get16(std::span<const std::uint8_t> bytes, std::size_t at);
std::uint32_t get32(std::span<const std::uint8_t> bytes, std::size_t at);

/** What a header says beside its length. */
struct Header_t {
    unsigned requestor = 0;
    unsigned protocol = 0;
    std::uint32_t type = 0; /**< 24 bits */
    std::uint32_t handle = 0;
    std::vector<unsigned> recipients = {}; /**< named in the local bitmap */
};

/** A header with that payload behind it. */
Bytes_t message(const Header_t& header, const Bytes_t& payload = {});

/** Sets an endpoint's bit in the bitmap that starts at `offset`: 20 the local one, 28 the other. */
void addRecipient(std::span<std::uint8_t> message, unsigned endpoint, std::size_t offset = 20);

/** Length of the message that starts with this header. */
std::size_t lengthOf(std::span<const std::uint8_t> header);

/** A word for a message of the adapter: "init", "led-on", "led-off", "email", "shutdown", "event ID/TYPE", "reply
 * LENGTH". */
std::string messageName(const Bytes_t& message);

/** The text with a 0 for every digit: the shape of a time. */
std::string digitsAsZeros(std::string text);

} // namespace testsupport
