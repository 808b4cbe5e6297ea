#include <atomic>
#include <cerrno>

#include <sched.h>

#include "osdep.h"

namespace {

constexpr U32_t SPINLOCK_FREE = 1;

/** The thread library returns its error instead of storing it; the bug check reports errno. */
S32_t check(int error, U32_t status, const CHAR_t* text) {
    if (error != 0) {
        errno = error;
        MPU_BUGCHECK(status, text);
    }
    return 0;
}

} // namespace

S32_t mpuMutex_Init(MPU_MUTEX_t* mutex) {
    return check(pthread_mutex_init(mutex, nullptr), MPU_K_BUGCHECK_MUTEX_INIT, "mpuMutex_Init(): init failure.");
}

S32_t mpuMutex_InitShared(MPU_MUTEX_t* mutex) {
    pthread_mutexattr_t attributes;
    int error = pthread_mutexattr_init(&attributes);
    if (error == 0) {
        error = pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    }
    if (error == 0) {
        error = pthread_mutex_init(mutex, &attributes);
    }
    (void)pthread_mutexattr_destroy(&attributes);
    return check(error, MPU_K_BUGCHECK_MUTEX_INIT, "mpuMutex_Init(): init failure.");
}

S32_t mpuMutex_Done(MPU_MUTEX_t* mutex) {
    return check(pthread_mutex_destroy(mutex), MPU_K_BUGCHECK_MUTEX_DONE, "mpuMutex_Done(): done failure.");
}

S32_t mpuMutex_Get(MPU_MUTEX_t* mutex) {
    return check(pthread_mutex_lock(mutex), MPU_K_BUGCHECK_MUTEX_GET, "mpuMutex_Get(): get lock failure.");
}

S32_t mpuMutex_Unlock(MPU_MUTEX_t* mutex) {
    return check(pthread_mutex_unlock(mutex), MPU_K_BUGCHECK_MUTEX_UNLOCK, "mpuMutex_Unlock(): release lock failure.");
}

U32_t spinlock = SPINLOCK_FREE;

S32_t atomic_dec_if_positive(U32_t* word) {
    const std::atomic_ref<U32_t> counter(*word);
    U32_t value = counter.load(std::memory_order_relaxed);
    while (static_cast<S32_t>(value - 1) >= 0 &&
           !counter.compare_exchange_weak(value, value - 1, std::memory_order_acquire, std::memory_order_relaxed)) {
    }
    return static_cast<S32_t>(value - 1);
}

void mpuSpinLock_Get(U32_t* lock) {
    while (atomic_dec_if_positive(lock) < 0) {
        (void)sched_yield();
    }
}

void mpuSpinLock_Release(U32_t* lock) {
    std::atomic_ref<U32_t>(*lock).store(SPINLOCK_FREE, std::memory_order_release);
}
