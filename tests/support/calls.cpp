#include "calls.h"

#include <cstdarg>

#include <fcntl.h>

// Calls that have another name where a long has 32 bits and times and offsets have 64.
#if __SIZEOF_LONG__ == 8
#define NAME_OF_FCNTL(prefix) prefix##fcntl64
#define NAME_OF_IOCTL(prefix) prefix##ioctl
#define NAME_OF_SHMCTL(prefix) prefix##shmctl
#define NAME_OF_TIME(prefix) prefix##time
#else
#define NAME_OF_FCNTL(prefix) prefix##__fcntl_time64
#define NAME_OF_IOCTL(prefix) prefix##__ioctl_time64
#define NAME_OF_SHMCTL(prefix) prefix##__shmctl64
#define NAME_OF_TIME(prefix) prefix##__time64
#endif

// NOLINTBEGIN(bugprone-reserved-identifier): names that the linker's --wrap gives
extern "C" {
int __real_open64(const char* path, int flags, ...);
int NAME_OF_FCNTL(__real_)(int fd, int command, ...);
int NAME_OF_IOCTL(__real_)(int fd, unsigned long request, ...);
int NAME_OF_SHMCTL(__real_)(int shmid, int command, shmid_ds* state);
time_t NAME_OF_TIME(__real_)(time_t* result);
}

namespace calls {

int realOpen(const char* path, int flags, mode_t mode) {
    return __real_open64(path, flags, mode);
}

int realFcntl(int fd, int command, unsigned long argument) {
    return NAME_OF_FCNTL(__real_)(fd, command, argument);
}

int realIoctl(int fd, unsigned long request, unsigned long argument) {
    return NAME_OF_IOCTL(__real_)(fd, request, argument);
}

int realShmctl(int shmid, int command, shmid_ds* state) {
    return NAME_OF_SHMCTL(__real_)(shmid, command, state);
}

time_t realTime(time_t* result) {
    return NAME_OF_TIME(__real_)(result);
}

} // namespace calls

extern "C" {

#define WRAP(R, name, call, parameters, ...)                                                                           \
    R name parameters {                                                                                                \
        return calls::call(__VA_ARGS__);                                                                               \
    }
// clang-format off
WRAP(int, __wrap_pthread_mutex_init, pthread_mutex_init, (pthread_mutex_t* m, const pthread_mutexattr_t* a), m, a)
WRAP(int, __wrap_pthread_mutex_destroy, pthread_mutex_destroy, (pthread_mutex_t* m), m)
WRAP(int, __wrap_pthread_mutex_lock, pthread_mutex_lock, (pthread_mutex_t* m), m)
WRAP(int, __wrap_pthread_mutex_unlock, pthread_mutex_unlock, (pthread_mutex_t* m), m)
WRAP(int, __wrap_pthread_mutexattr_init, pthread_mutexattr_init, (pthread_mutexattr_t* a), a)
WRAP(int, __wrap_pthread_mutexattr_setpshared, pthread_mutexattr_setpshared, (pthread_mutexattr_t* a, int s), a, s)
WRAP(int, __wrap_sched_yield, sched_yield, ())
WRAP(int, __wrap_sigaction, sigaction, (int s, const struct sigaction* a, struct sigaction* old), s, a, old)
WRAP(ssize_t, __wrap_read, read, (int fd, void* bytes, std::size_t count), fd, bytes, count)
WRAP(ssize_t, __wrap_write, write, (int fd, const void* bytes, std::size_t count), fd, bytes, count)
WRAP(ssize_t, __wrap_readlink, readlink, (const char* path, char* buffer, std::size_t size), path, buffer, size)
WRAP(int, __wrap_close, close, (int fd), fd)
WRAP(int, __wrap_fchmod, fchmod, (int fd, mode_t mode), fd, mode)
WRAP(int, __wrap_rename, rename, (const char* from, const char* to), from, to)
WRAP(int, __wrap_pipe2, pipe2, (int* ends, int flags), ends, flags)
WRAP(int, __wrap_socket, socket, (int domain, int type, int protocol), domain, type, protocol)
WRAP(int, __wrap_listen, listen, (int fd, int backlog), fd, backlog)
WRAP(ssize_t, __wrap_send, send, (int fd, const void* bytes, std::size_t count, int flags), fd, bytes, count, flags)
WRAP(ssize_t, __wrap_recv, recv, (int fd, void* bytes, std::size_t count, int flags), fd, bytes, count, flags)
WRAP(int, __wrap_poll, poll, (pollfd* fds, nfds_t count, int timeout), fds, count, timeout)
WRAP(int, __wrap_tcgetattr, tcgetattr, (int fd, termios* settings), fd, settings)
WRAP(int, __wrap_tcsetattr, tcsetattr, (int fd, int when, const termios* settings), fd, when, settings)
WRAP(void, __wrap_tzset, tzset, ())
WRAP(int, __wrap_shmget, shmget, (key_t key, std::size_t size, int flags), key, size, flags)
WRAP(void*, __wrap_shmat, shmat, (int id, const void* address, int flags), id, address, flags)
WRAP(int, NAME_OF_SHMCTL(__wrap_), shmctl, (int id, int command, shmid_ds* state), id, command, state)
WRAP(time_t, NAME_OF_TIME(__wrap_), time, (time_t* result), result)
// clang-format on

/** The mode is there only where a file may be made. */
#define WRAP_OPEN(name)                                                                                                \
    int name(const char* path, int flags, ...) {                                                                       \
        va_list arguments;                                                                                             \
        va_start(arguments, flags);                                                                                    \
        const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;                                    \
        va_end(arguments);                                                                                             \
        return calls::open(path, flags, mode);                                                                         \
    }
WRAP_OPEN(__wrap_open)
WRAP_OPEN(__wrap_open64)

/** A call whose last argument is a number or a pointer, or missing. */
#define WRAP_CONTROL(NAME_OF, call, type)                                                                              \
    int NAME_OF(__wrap_)(int fd, type request, ...) {                                                                  \
        va_list arguments;                                                                                             \
        va_start(arguments, request);                                                                                  \
        const auto argument = va_arg(arguments, unsigned long);                                                        \
        va_end(arguments);                                                                                             \
        return calls::call(fd, request, argument);                                                                     \
    }
WRAP_CONTROL(NAME_OF_FCNTL, fcntl, int)
WRAP_CONTROL(NAME_OF_IOCTL, ioctl, unsigned long)

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
