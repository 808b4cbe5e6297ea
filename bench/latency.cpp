#include "latency.h"

#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

namespace {

using Clock_t = std::chrono::steady_clock;

double microseconds(Clock_t::duration duration) {
    return std::chrono::duration<double, std::micro>(duration).count();
}

double percentile(const std::vector<double>& sorted, double share) {
    const auto at = static_cast<std::size_t>(share * static_cast<double>(sorted.size()));
    return sorted[std::min(at, sorted.size() - 1)];
}

} // namespace

Latency_t measure(unsigned warmUp, unsigned count, const std::function<void()>& roundTrip) {
    for (unsigned i = 0; i < warmUp; ++i) {
        roundTrip();
    }
    std::vector<double> times;
    times.reserve(count);
    const auto start = Clock_t::now();
    for (unsigned i = 0; i < count; ++i) {
        const auto before = Clock_t::now();
        roundTrip();
        times.push_back(microseconds(Clock_t::now() - before));
    }
    const double total = microseconds(Clock_t::now() - start);
    std::sort(times.begin(), times.end());
    return {percentile(times, 0.5), percentile(times, 0.99), percentile(times, 0.999), count / total * 1e6};
}

void pinProcess(int pid, bool one) {
    cpu_set_t set;
    CPU_ZERO(&set);
    const long processors = one ? 1 : sysconf(_SC_NPROCESSORS_ONLN);
    for (long i = 0; i < processors; ++i) {
        CPU_SET(static_cast<std::size_t>(i), &set);
    }
    (void)sched_setaffinity(pid, sizeof(set), &set);
}

void pinToOneProcessor(bool one) {
    pinProcess(0, one);
}
