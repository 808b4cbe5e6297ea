#pragma once

#include <string>
#include <string_view>

/** "a, b, c". */
template <typename Words>
[[nodiscard]] std::string listed(const Words& words) {
    std::string text;
    for (const std::string_view word : words) {
        text.append(text.empty() ? "" : ", ").append(word);
    }
    return text;
}
