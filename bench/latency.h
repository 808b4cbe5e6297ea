/** Round trips, timed one by one. */
#pragma once

#include <functional>
#include <string>
#include <vector>

/** What a series of round trips took, in microseconds. */
struct Latency_t {
    double median;
    double p99;
    double p999;
    double perSecond; /**< round trips a second */
};

/** Makes `warmUp` round trips, then times `count` of them. */
Latency_t measure(unsigned warmUp, unsigned count, const std::function<void()>& roundTrip);

/** Runs this process, and every child that it starts from then on, on one processor; or on all again. */
void pinToOneProcessor(bool one);

/** Moves a running process to the one processor, or frees it. */
void pinProcess(int pid, bool one);
