#include "nonxml_reader.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>

#include "nonxml_private.h"

namespace nonxmltest {

std::uint32_t Result_t::word(std::size_t offset) const {
    std::uint32_t value = 0;
    std::memcpy(&value, &block[offset], sizeof(value));
    return value;
}

std::uint16_t Result_t::half(std::size_t offset) const {
    std::uint16_t value = 0;
    std::memcpy(&value, &block[offset], sizeof(value));
    return value;
}

std::string Result_t::text(std::size_t offset, std::size_t size) const {
    return {reinterpret_cast<const char*>(&block[offset]), size};
}

bool Result_t::zeroOutside(std::size_t offset, std::size_t size) const {
    auto rest = block;
    std::fill_n(rest.begin() + static_cast<std::ptrdiff_t>(offset), size, std::uint8_t{0});
    return std::ranges::all_of(rest, [](std::uint8_t byte) { return byte == 0; });
}

Result_t readOver(std::uint8_t filler, const std::string& text) {
    Result_t result;
    std::ranges::fill(result.block, filler);
    FILE* const stream = std::tmpfile();
    EXPECT_NE(stream, nullptr);
    EXPECT_EQ(std::fwrite(text.data(), 1, text.size(), stream), text.size());
    std::rewind(stream);
    testing::internal::CaptureStderr();
    nonXmlRead(stream, result.block.data());
    result.err = testing::internal::GetCapturedStderr();
    (void)std::fclose(stream);
    return result;
}

Result_t read(const std::string& text) {
    return readOver(0, text);
}

} // namespace nonxmltest
