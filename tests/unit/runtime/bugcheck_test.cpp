#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include "calls.h"
#include "child_with_log.h"
#include "osdep.h"
#include "trace.h"

namespace {

TEST(BugCheck, PrintsTheErrorAndTheTextAndEndsWithTheStatus) {
    const ChildResult_t child = runInChild([] {
        errno = ENOENT;
        MPU_BUGCHECK(0x40000008, "something broke");
    });
    EXPECT_EQ(child.exitStatus, 8);
    EXPECT_EQ(child.err, "MPU_BUGCHECK() encountered: No such file or directory\n"
                         ": something broke\n"
                         "exit(0x40000008)");
    EXPECT_EQ(child.out, "");
}

MPU_MUTEX_t mutex = PTHREAD_MUTEX_INITIALIZER;

// clang-format off
void initFails() { calls::pthread_mutex_init.failWith(EBUSY); }
void secondAttributesFail() { calls::pthread_mutexattr_init.failWith(EBUSY, 1); }
void sharingFails() { calls::pthread_mutexattr_setpshared.failWith(EBUSY); }
void destroyFails() { calls::pthread_mutex_destroy.failWith(EBUSY); }
void lockFails() { calls::pthread_mutex_lock.failWith(EBUSY); }
void unlockFails() { calls::pthread_mutex_unlock.failWith(EBUSY); }
// clang-format on

void traceOneLine() {
    TRACE__info("file", "function", 1, "%s", "");
}

void dumpOneLine() {
    TRACE__dump("file", "function", 1, "", "", 0);
}

TEST(Mutex, FailureEndsTheProcessWithItsOwnTextAndStatus) {
    const std::string init = ": mpuMutex_Init(): init failure.\nexit(0x40000004)";
    const std::string done = ": mpuMutex_Done(): done failure.\nexit(0x40000005)";
    const std::string get = ": mpuMutex_Get(): get lock failure.\nexit(0x40000006)";
    const std::string unlock = ": mpuMutex_Unlock(): release lock failure.\nexit(0x40000007)";
    struct {
        void (*fault)();
        void (*operation)();
        int exitStatus;
        std::string err;
    } const failures[] = {
        {initFails, [] { (void)mpuMutex_Init(&mutex); }, 4, init},
        {initFails, [] { (void)mpuMutex_InitShared(&mutex); }, 4, init},
        {secondAttributesFail, [] { (void)(mpuMutex_InitShared(&mutex) + mpuMutex_InitShared(&mutex)); }, 4, init},
        {sharingFails, [] { (void)mpuMutex_InitShared(&mutex); }, 4, init},
        {initFails, [] { TRACE__init(nullptr, nullptr, 0, nullptr); }, 4, init},
        {destroyFails, [] { (void)mpuMutex_Done(&mutex); }, 5, done},
        {destroyFails, TRACE__done, 5, done},
        {lockFails, [] { (void)mpuMutex_Get(&mutex); }, 6, get},
        {lockFails, traceOneLine, 6, get},
        {lockFails, dumpOneLine, 6, get},
        {unlockFails, [] { (void)mpuMutex_Unlock(&mutex); }, 7, unlock},
        {unlockFails, traceOneLine, 7, unlock},
        {unlockFails, dumpOneLine, 7, unlock},
        {unlockFails, TRACE__logEnter, 7, unlock},
        {unlockFails, TRACE__logReturn, 7, unlock},
    };
    for (const auto& failure : failures) {
        SCOPED_TRACE(&failure - failures);
        const ChildResult_t child = runInChild([&] {
            failure.fault();
            failure.operation();
        });
        EXPECT_EQ(child.exitStatus, failure.exitStatus);
        const bool writesBefore = failure.exitStatus == 7; // the line that the lock was for
        EXPECT_TRUE(child.err.ends_with("MPU_BUGCHECK() encountered: Device or resource busy\n" + failure.err));
        EXPECT_TRUE(writesBefore || child.err.starts_with("MPU_BUGCHECK()")) << child.err;
    }
}

TEST(Mutex, OperationsReturn0) {
    for (const auto init : {mpuMutex_Init, mpuMutex_InitShared}) {
        MPU_MUTEX_t own;
        EXPECT_EQ(init(&own), 0);
        EXPECT_EQ(mpuMutex_Get(&own), 0);
        EXPECT_NE(pthread_mutex_trylock(&own), 0);
        EXPECT_EQ(mpuMutex_Unlock(&own), 0);
        EXPECT_EQ(mpuMutex_Done(&own), 0);
    }
}

} // namespace
