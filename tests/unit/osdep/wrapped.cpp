#include "wrapped.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

WrappedCalls_t wrapped;

extern "C" {

int __real_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes);
int __real_pthread_mutex_destroy(pthread_mutex_t* mutex);
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);
int __real_pthread_mutexattr_init(pthread_mutexattr_t* attributes);
int __real_pthread_mutexattr_setpshared(pthread_mutexattr_t* attributes, int shared);
int __real_sched_yield();
ssize_t __real_read(int fd, void* buffer, size_t size);
int __real_sigaction(int signal, const struct sigaction* action, struct sigaction* old);
ssize_t __real_readlink(const char* path, char* buffer, size_t size);
void __real_tzset();
[[noreturn]] void __real_exit(int status);

int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) {
    return wrapped.mutexInitError != 0 ? wrapped.mutexInitError : __real_pthread_mutex_init(mutex, attributes);
}

int __wrap_pthread_mutex_destroy(pthread_mutex_t* mutex) {
    return wrapped.mutexDestroyError != 0 ? wrapped.mutexDestroyError : __real_pthread_mutex_destroy(mutex);
}

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    return wrapped.mutexLockError != 0 ? wrapped.mutexLockError : __real_pthread_mutex_lock(mutex);
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
    return wrapped.mutexUnlockError != 0 ? wrapped.mutexUnlockError : __real_pthread_mutex_unlock(mutex);
}

int __wrap_pthread_mutexattr_init(pthread_mutexattr_t* attributes) {
    const int error = __real_pthread_mutexattr_init(attributes);
    return wrapped.attributesInitError != 0 ? wrapped.attributesInitError : error;
}

int __wrap_pthread_mutexattr_setpshared(pthread_mutexattr_t* attributes, int shared) {
    return wrapped.sharingError != 0 ? wrapped.sharingError : __real_pthread_mutexattr_setpshared(attributes, shared);
}

int __wrap_sched_yield() {
    if (wrapped.lock != nullptr && ++wrapped.yields == wrapped.lockFreeAfter) {
        *wrapped.lock = 1;
    }
    return __real_sched_yield();
}

ssize_t __wrap_read(int fd, void* buffer, size_t size) {
    if (wrapped.readFails) {
        errno = EIO;
        return -1;
    }
    return __real_read(fd, buffer, size);
}

int __wrap_sigaction(int signal, const struct sigaction* action, struct sigaction* old) {
    if (wrapped.failingSignal == -1 || (wrapped.failingSignal == signal && signal != 0)) {
        errno = EINVAL;
        return -1;
    }
    return __real_sigaction(signal, action, old);
}

ssize_t __wrap_readlink(const char* path, char* buffer, size_t size) {
    if (!wrapped.linkIsSet || std::strcmp(path, "/etc/localtime") != 0) {
        return __real_readlink(path, buffer, size);
    }
    if (wrapped.link.empty()) {
        errno = ENOENT;
        return -1;
    }
    const size_t length = wrapped.link.size() < size ? wrapped.link.size() : size;
    std::memcpy(buffer, wrapped.link.data(), length);
    return static_cast<ssize_t>(length);
}

void __wrap_tzset() {
    ++wrapped.zoneLoads;
    __real_tzset();
}

void __wrap_exit(int status) {
    if (!wrapped.exitIsExpected) {
        (void)std::fprintf(stderr, "the code under test left with exit(0x%08X)\n", static_cast<unsigned>(status));
        std::abort();
    }
    if (wrapped.exitIsShown) {
        (void)std::fprintf(stderr, "exit(0x%08X)", static_cast<unsigned>(status));
        wrapped = {}; // what runs at exit is no part of the test
    }
    __real_exit(status);
}

// The C library calls it __time64 where a long has 32 bits.
time_t __real_time(time_t* result);
time_t __real___time64(time_t* result);

#if __SIZEOF_LONG__ == 8
time_t __wrap_time(time_t* result) {
    return wrapped.timeIsSet ? static_cast<time_t>(wrapped.now) : __real_time(result);
}
#else
time_t __wrap___time64(time_t* result) {
    return wrapped.timeIsSet ? static_cast<time_t>(wrapped.now) : __real___time64(result);
}
#endif

} // extern "C"
