/** The configuration reader on a block of its own, with what it reports. */
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace nonxmltest {

/** 744 bytes of the block and the four that the index behind the last array reaches, read from `text`. */
struct Result_t {
    std::vector<std::uint8_t> block = std::vector<std::uint8_t>(748);
    std::string err;

    [[nodiscard]] std::uint32_t word(std::size_t offset) const;
    [[nodiscard]] std::uint16_t half(std::size_t offset) const;
    [[nodiscard]] std::string text(std::size_t offset, std::size_t size) const;

    /** Whether all bytes outside offset..offset+size-1 are zero. */
    [[nodiscard]] bool zeroOutside(std::size_t offset, std::size_t size) const;
};

/** What reading `text` into a zeroed block gives. */
Result_t read(const std::string& text);

/** What reading `text` into a block full of `filler` gives. */
Result_t readOver(std::uint8_t filler, const std::string& text);

} // namespace nonxmltest
