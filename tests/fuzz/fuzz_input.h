/** What the fuzz targets share: an input that is eaten from the front, and the end of a target that saw a promise
 * broken. */
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

namespace fuzz {

/** Ends the process, so that the fuzzer keeps the input, when a promise of the code under test is broken. */
inline void require(bool kept) {
    if (!kept) {
        std::abort();
    }
}

/** A fuzzer's bytes; zeros follow their end. */
class Input_t {
public:
    Input_t(const std::uint8_t* data, std::size_t size) : rest_(data, size) {}

    bool empty() const { return rest_.empty(); }

    std::uint8_t byte() {
        if (rest_.empty()) {
            return 0;
        }
        const std::uint8_t value = rest_.front();
        rest_ = rest_.subspan(1);
        return value;
    }

    unsigned word() {
        const unsigned high = byte();
        return high << 8 | byte();
    }

    /** At most `count` bytes in a block of exactly their size: the sanitizer sees the first read beyond it. */
    std::vector<std::uint8_t> bytes(std::size_t count) {
        const auto taken = rest_.first(std::min(count, rest_.size()));
        rest_ = rest_.subspan(taken.size());
        return {taken.begin(), taken.end()};
    }

    std::vector<std::uint8_t> all() { return bytes(rest_.size()); }

private:
    std::span<const std::uint8_t> rest_;
};

} // namespace fuzz
