/** System calls of the platform library, in the hands of a test. */
#pragma once

#include <cstddef>
#include <functional>

#include <poll.h>
#include <sys/types.h>

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): names that the linker's --wrap gives
int __real_open64(const char* path, int flags, ...);
int __wrap_open(const char* path, int flags, ...);
int __wrap_open64(const char* path, int flags, ...);
int __real_poll(pollfd* fds, nfds_t count, int timeout);
int __wrap_poll(pollfd* fds, nfds_t count, int timeout);
ssize_t __real_read(int fd, void* bytes, std::size_t count);
ssize_t __wrap_read(int fd, void* bytes, std::size_t count);
ssize_t __real_write(int fd, const void* bytes, std::size_t count);
ssize_t __wrap_write(int fd, const void* bytes, std::size_t count);
// NOLINTEND(bugprone-reserved-identifier)
}

/** Each answers every call of its kind while it is set. */
extern std::function<int(const char* path, int flags, mode_t mode)> onOpen;
extern std::function<int(pollfd* fds, nfds_t count, int timeout)> onPoll;
extern std::function<ssize_t(int fd, void* bytes, std::size_t count)> onRead;
extern std::function<ssize_t(int fd, const void* bytes, std::size_t count)> onWrite;
