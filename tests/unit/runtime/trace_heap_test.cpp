/** Nothing is allocated once the facility has started. */
#include <atomic>
#include <cstddef>

#include "trace_fixture.h"

namespace {

std::atomic<unsigned long> allocations = 0;
bool nextCallocFails = false;

} // namespace

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

void* malloc(std::size_t size) {
    ++allocations;
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
    ++allocations;
    if (nextCallocFails) {
        nextCallocFails = false;
        return nullptr;
    }
    return __libc_calloc(count, size);
}

void* realloc(void* block, std::size_t size) {
    ++allocations;
    return __libc_realloc(block, size);
}

} // extern "C"

namespace {

class TraceHeap : public TraceTest {};

TEST_F(TraceHeap, LinesAndDumpsTakeNoMemory) {
    for (const char* zone : {"UTC0", static_cast<const char*>(nullptr)}) {
        if (zone == nullptr) {
            (void)unsetenv("TZ"); // the system's zone
        }
        const unsigned long beforeInit = allocations;
        init();
        EXPECT_GT(allocations, beforeInit); // the counter works
        (void)TRACE__setTraceLevel(0, 0xFFFF);
        const unsigned long afterInit = allocations;
        for (int i = 0; i < 1000; ++i) {
            TRACE_INFO("%d %s %5.2f", i, "text", 1.5);
            TRACE_DUMP("dump", &params, sizeof params);
            TRACE_ENTER(0, "in");
            TRACE_RETURN(0, "out");
            now += 1;
        }
        TRACE_checkLog();
        EXPECT_EQ(allocations, afterInit);
        TRACE__done();
    }
}

TEST_F(TraceHeap, WithoutMemoryForTheModulesThereIsNoneAndNothingIsTraced) {
    nextCallocFails = true;
    init();
    EXPECT_FALSE(nextCallocFails);
    EXPECT_EQ(traceData.numModLevels, 0);
    TRACE_INFO("not written");
    EXPECT_EQ(log(), "");
    TRACE__info("", "", 1, "whoever calls the writer himself has his line");
    EXPECT_EQ(log(), "whoever calls the writer himself has his line\n");
}

} // namespace
