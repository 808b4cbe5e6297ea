#pragma once
// Whether the adapter's log files turn over.

#include "processes.h"
#include "traffic.h"

#include <chrono>

namespace soak {

struct Rollover {
    std::uint64_t linesOfFirst = 0;  // in the first log before the second was begun
    std::uint64_t linesOfSecond = 0; // likewise
    std::uint64_t sizeOfFirst = 0;   // bytes, at the end
    Holdings before, after;          // of the adapter
};

/// Lets the traced adapter write until it has turned to its third log file, each before having been made as large as a
/// log may not be. Throws Mismatch when it does not turn, or when `deadline` passes.
Rollover turnLogsOver(Programs& programs, Traffic& traffic, std::chrono::steady_clock::time_point deadline);

} // namespace soak
