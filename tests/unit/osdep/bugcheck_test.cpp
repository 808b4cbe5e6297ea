#include <cerrno>
#include <ostream>

#include <gtest/gtest.h>

#include "child_with_log.h"
#include "osdep.h"
#include "trace.h"
#include "wrapped.h"

namespace {

TEST(BugCheck, PrintsTheErrorAndTheTextAndEndsWithTheStatus) {
    const ChildResult_t child = runInChild([] {
        wrapped.exitIsShown = true;
        errno = ENOENT;
        MPU_BUGCHECK(0x40000008, "something broke");
    });
    EXPECT_EQ(child.exitStatus, 8);
    EXPECT_EQ(child.err, "MPU_BUGCHECK() encountered: No such file or directory\n"
                         ": something broke\n"
                         "exit(0x40000008)");
    EXPECT_EQ(child.out, "");
}

struct MutexFailure_t {
    const char* name;
    int WrappedCalls_t::*error;
    void (*operation)();
    int exitStatus;
    const char* err;
};

void PrintTo(const MutexFailure_t& test, std::ostream* out) {
    *out << test.name;
}

MPU_MUTEX_t mutex = PTHREAD_MUTEX_INITIALIZER;

constexpr const char* INIT_TEXT = "MPU_BUGCHECK() encountered: Device or resource busy\n"
                                  ": mpuMutex_Init(): init failure.\n"
                                  "exit(0x40000004)";
constexpr const char* DONE_TEXT = "MPU_BUGCHECK() encountered: Device or resource busy\n"
                                  ": mpuMutex_Done(): done failure.\n"
                                  "exit(0x40000005)";
constexpr const char* GET_TEXT = "MPU_BUGCHECK() encountered: Device or resource busy\n"
                                 ": mpuMutex_Get(): get lock failure.\n"
                                 "exit(0x40000006)";
constexpr const char* UNLOCK_TEXT = "MPU_BUGCHECK() encountered: Device or resource busy\n"
                                    ": mpuMutex_Unlock(): release lock failure.\n"
                                    "exit(0x40000007)";

void traceOneLine() {
    TRACE__info("file", "function", 1, "%s", "");
}

void dumpOneLine() {
    TRACE__dump("file", "function", 1, "", "", 0);
}

const MutexFailure_t MUTEX_FAILURES[] = {
    {"Init", &WrappedCalls_t::mutexInitError, [] { (void)mpuMutex_Init(&mutex); }, 4, INIT_TEXT},
    {"InitShared", &WrappedCalls_t::mutexInitError, [] { (void)mpuMutex_InitShared(&mutex); }, 4, INIT_TEXT},
    {"SharedAttributes", &WrappedCalls_t::attributesInitError, [] { (void)mpuMutex_InitShared(&mutex); }, 4, INIT_TEXT},
    {"Sharing", &WrappedCalls_t::sharingError, [] { (void)mpuMutex_InitShared(&mutex); }, 4, INIT_TEXT},
    {"Done", &WrappedCalls_t::mutexDestroyError, [] { (void)mpuMutex_Done(&mutex); }, 5, DONE_TEXT},
    {"Get", &WrappedCalls_t::mutexLockError, [] { (void)mpuMutex_Get(&mutex); }, 6, GET_TEXT},
    {"Unlock", &WrappedCalls_t::mutexUnlockError, [] { (void)mpuMutex_Unlock(&mutex); }, 7, UNLOCK_TEXT},
    {"TraceInit", &WrappedCalls_t::mutexInitError, [] { TRACE__init(nullptr, nullptr, 0, nullptr); }, 4, INIT_TEXT},
    {"TraceDone", &WrappedCalls_t::mutexDestroyError, TRACE__done, 5, DONE_TEXT},
    {"TraceInfoGet", &WrappedCalls_t::mutexLockError, traceOneLine, 6, GET_TEXT},
    {"TraceDumpGet", &WrappedCalls_t::mutexLockError, dumpOneLine, 6, GET_TEXT},
};

class MutexFails : public testing::TestWithParam<MutexFailure_t> {};

TEST_P(MutexFails, EndsTheProcessWithItsOwnTextAndStatus) {
    const MutexFailure_t& failure = GetParam();
    const ChildResult_t child = runInChild([&] {
        wrapped.exitIsShown = true;
        wrapped.*failure.error = EBUSY;
        failure.operation();
    });
    EXPECT_EQ(child.exitStatus, failure.exitStatus);
    EXPECT_EQ(child.err, failure.err);
}

INSTANTIATE_TEST_SUITE_P(Operation, MutexFails, testing::ValuesIn(MUTEX_FAILURES),
                         [](const auto& test) { return test.param.name; });

struct WriterFailure_t {
    const char* name;
    void (*writer)();
};

void PrintTo(const WriterFailure_t& test, std::ostream* out) {
    *out << test.name;
}

class TraceUnlockFails : public testing::TestWithParam<WriterFailure_t> {};

TEST_P(TraceUnlockFails, EndsTheProcessAfterTheLine) {
    const ChildResult_t child = runInChild([&] {
        wrapped.exitIsShown = true;
        wrapped.mutexUnlockError = EBUSY;
        GetParam().writer();
    });
    EXPECT_EQ(child.exitStatus, 7);
    EXPECT_NE(child.err.find(UNLOCK_TEXT), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Writer, TraceUnlockFails,
                         testing::Values(WriterFailure_t{"Info", traceOneLine}, WriterFailure_t{"Dump", dumpOneLine},
                                         WriterFailure_t{"Enter", TRACE__logEnter},
                                         WriterFailure_t{"Return", TRACE__logReturn}),
                         [](const auto& test) { return test.param.name; });

TEST(Mutex, OperationsReturn0) {
    MPU_MUTEX_t own;
    EXPECT_EQ(mpuMutex_Init(&own), 0);
    EXPECT_EQ(mpuMutex_Get(&own), 0);
    EXPECT_NE(pthread_mutex_trylock(&own), 0);
    EXPECT_EQ(mpuMutex_Unlock(&own), 0);
    EXPECT_EQ(mpuMutex_Done(&own), 0);
}

TEST(Mutex, SharedOneWorks) {
    MPU_MUTEX_t own;
    EXPECT_EQ(mpuMutex_InitShared(&own), 0);
    EXPECT_EQ(mpuMutex_Get(&own), 0);
    EXPECT_EQ(mpuMutex_Unlock(&own), 0);
    EXPECT_EQ(mpuMutex_Done(&own), 0);
}

} // namespace
