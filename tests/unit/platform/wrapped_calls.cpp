#include "wrapped_calls.h"

std::function<int(pollfd* fds, nfds_t count, int timeout)> onPoll;
std::function<ssize_t(int fd, void* bytes, std::size_t count)> onRead;
std::function<ssize_t(int fd, const void* bytes, std::size_t count)> onWrite;

int __wrap_poll(pollfd* fds, nfds_t count, int timeout) {
    return onPoll ? onPoll(fds, count, timeout) : __real_poll(fds, count, timeout);
}

ssize_t __wrap_read(int fd, void* bytes, std::size_t count) {
    return onRead ? onRead(fd, bytes, count) : __real_read(fd, bytes, count);
}

ssize_t __wrap_write(int fd, const void* bytes, std::size_t count) {
    return onWrite ? onWrite(fd, bytes, count) : __real_write(fd, bytes, count);
}
