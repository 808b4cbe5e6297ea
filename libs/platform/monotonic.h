/** The clock that the library's limits are measured with. */
#pragma once

#include <cstdint>
#include <ctime>

/** Milliseconds of a clock that nobody sets. */
inline std::int64_t monotonicMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}
