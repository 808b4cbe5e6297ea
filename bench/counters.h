/** Counters that the measured adapter shares with the bench. */
#pragma once

#include <atomic>

struct Counters_t {
    std::atomic<unsigned long> transfers;
    std::atomic<unsigned long> allocations;
};
