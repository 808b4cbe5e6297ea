#include "nonxml_reader.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <gtest/gtest.h>

#include "bytes.h"
#include "mpu_gbl.h"

namespace nonxmltest {

namespace {

constexpr std::size_t LONG_RUN = 10;

/** The bytes in hex, a long run of one value at their end as "(00x60)". */
std::string shown(const std::vector<U8_t>& bytes) {
    const auto last = std::find_if(bytes.rbegin(), bytes.rend(), [&](U8_t byte) { return byte != bytes.back(); });
    const auto count = static_cast<std::size_t>(last - bytes.rbegin());
    if (count < LONG_RUN) {
        return testsupport::lowerHex(bytes, "");
    }
    return testsupport::lowerHex({bytes.data(), bytes.size() - count}, "") + "(" +
           testsupport::lowerHex({&bytes.back(), 1}) + "x" + std::to_string(count) + ")";
}

} // namespace

std::string outcomeOf(const std::function<void(U8_t* block)>& action, U8_t filler) {
    std::vector<U8_t> block(NONXML_K_BLOCK_SIZE, filler);
    testing::internal::CaptureStderr();
    action(block.data());
    std::string result = testing::internal::GetCapturedStderr();
    MPU_PARAMS_t params;
    std::memcpy(&params, block.data(), sizeof params);
    U32_t behind = 0;
    std::memcpy(&behind, &block[744], sizeof behind);
    MPU_swapMpuParams(&params);
    std::memcpy(block.data(), &params, sizeof params);
    testsupport::put32(block, 744, behind);
    for (auto at = block.begin(); at != block.end();) {
        const auto end = std::find(at, block.end(), filler);
        if (at != end) {
            result += (result.empty() || result.back() == '\n' ? "" : " ") + std::to_string(at - block.begin()) + ":" +
                      shown({at, end});
        }
        at = end == block.end() ? end : end + 1;
    }
    return result;
}

std::string read(const std::string& text, U8_t filler) {
    FILE* const stream = std::tmpfile();
    EXPECT_NE(stream, nullptr);
    EXPECT_EQ(std::fwrite(text.data(), 1, text.size(), stream), text.size());
    std::rewind(stream);
    const std::string outcome = outcomeOf([&](U8_t* block) { nonXmlRead(stream, block); }, filler);
    (void)std::fclose(stream);
    return outcome;
}

std::string store(const NonXML_s& tag, const char* value) {
    return outcomeOf([&](U8_t* block) { nonXmlStore(tag, value, block); });
}

void expectOutcomes(const std::string& key, const Outcomes_t& outcomes) {
    for (const auto& [value, outcome] : outcomes) {
        EXPECT_EQ(read(key + value), outcome) << key << value;
    }
}

} // namespace nonxmltest
