/** System calls that a test makes fail or answer from a script; left alone, they go to the system. */
#pragma once

#include <cstdint>
#include <string>

struct WrappedCalls_t {
    int mutexInitError = 0; /**< pthread_mutex_init's result, if not 0; likewise below */
    int mutexDestroyError = 0;
    int mutexLockError = 0;
    int mutexUnlockError = 0;
    int attributesInitError = 0; /**< pthread_mutexattr_init's */
    int sharingError = 0;        /**< pthread_mutexattr_setpshared's */
    bool readFails = false;      /**< read fails with EIO */
    int failingSignal = 0;       /**< sigaction fails with EINVAL for this signal; -1: for every one */
    bool linkIsSet = false;      /**< readlink answers `link` for /etc/localtime */
    std::string link;            /**< empty: readlink fails */
    bool timeIsSet = false;      /**< time answers `now` */
    std::int64_t now = 0;
    int zoneLoads = 0;           /**< calls of tzset */
    bool exitIsShown = false;    /**< exit prints its whole status on standard error */
    bool exitIsExpected = false; /**< exit ends the process; else it aborts, for its status can look like success */
    std::uint32_t* lock = nullptr;
    int yields = 0;        /**< calls of sched_yield since `lock` was set */
    int lockFreeAfter = 0; /**< the sched_yield of this number stores 1 in `lock` */
};

extern WrappedCalls_t wrapped;
