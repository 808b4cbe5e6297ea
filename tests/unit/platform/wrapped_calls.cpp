#include "wrapped_calls.h"

#include <cstdarg>

#include <fcntl.h>

std::function<int(const char* path, int flags, mode_t mode)> onOpen;
std::function<int(pollfd* fds, nfds_t count, int timeout)> onPoll;
std::function<ssize_t(int fd, void* bytes, std::size_t count)> onRead;
std::function<ssize_t(int fd, const void* bytes, std::size_t count)> onWrite;

/* The C library has two names for it, by the width of a file's offset. */
int __wrap_open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return onOpen ? onOpen(path, flags, mode) : __real_open64(path, flags, mode);
}

int __wrap_open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return __wrap_open64(path, flags, mode);
}

int __wrap_poll(pollfd* fds, nfds_t count, int timeout) {
    return onPoll ? onPoll(fds, count, timeout) : __real_poll(fds, count, timeout);
}

ssize_t __wrap_read(int fd, void* bytes, std::size_t count) {
    return onRead ? onRead(fd, bytes, count) : __real_read(fd, bytes, count);
}

ssize_t __wrap_write(int fd, const void* bytes, std::size_t count) {
    return onWrite ? onWrite(fd, bytes, count) : __real_write(fd, bytes, count);
}
