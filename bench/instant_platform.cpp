/**
 * A platform library for measuring: transfers succeed at once with a healthy enclosure's values, and the counters of
 * transfers and of heap allocations are shared with the bench through the file that ESA_BENCH_COUNTERS names. It takes
 * the place of the system's own library, so what is measured is the adapter as it is shipped.
 */
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>

#include "counters.h"
#include "platform.h"

namespace {

Counters_t ownCounters;
Counters_t* counters = &ownCounters;

__attribute__((constructor)) void shareCounters() {
    const char* path = std::getenv("ESA_BENCH_COUNTERS");
    if (path == nullptr) {
        return;
    }
    const int file = open(path, O_RDWR);
    if (file < 0) {
        return;
    }
    void* shared = mmap(nullptr, sizeof(Counters_t), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (shared != MAP_FAILED) {
        counters = static_cast<Counters_t*>(shared);
    }
    close(file);
}

/** Register values of a healthy VSC055 backplane: supplies redundant, fans at 3000 RPM, sensors at 25 degrees. */
U8_t healthyValue(U8_t address, U8_t reg) {
    constexpr U8_t CHIP = 0x41;
    if (address != CHIP) {
        return 0x19;
    }
    if (reg == 0x04) {
        return 0x80;
    }
    return reg >= 0x30 && reg < 0x98 ? U8_t{200} : U8_t{0};
}

} // namespace

extern "C" {

int read_i2c_data(int, U8_t i2cAddr, U8_t regAddr, U8_t* data, int length) {
    counters->transfers.fetch_add(1, std::memory_order_relaxed);
    for (int i = 0; i < length; ++i) {
        data[i] = healthyValue(i2cAddr, static_cast<U8_t>(regAddr + i));
    }
    return length;
}

int write_i2c_data(int, U8_t, U8_t, const U8_t*, int length) {
    counters->transfers.fetch_add(1, std::memory_order_relaxed);
    return length;
}

void altEventLogM(const EmpEvLogHeader_t*, const MPU_PARAMS_t*) {}

void altEventLog(const EmpEvLogHeader_t*, const MPU_PARAMS_t*, S32_t action) {
    if (action == ALT_EVENT_LOG_K_BUGCHECK) {
        std::abort();
    }
}

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

void* malloc(std::size_t size) {
    counters->allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
    counters->allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_calloc(count, size);
}

void* realloc(void* block, std::size_t size) {
    counters->allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_realloc(block, size);
}

} // extern "C"
