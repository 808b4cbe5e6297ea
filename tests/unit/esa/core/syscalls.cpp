#include "syscalls.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include <sys/ipc.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/un.h>

SystemCalls systemCalls;

namespace {

[[gnu::format(printf, 1, 2)]] void note(const char* format, ...) {
    char text[256];
    std::va_list arguments;
    va_start(arguments, format);
    (void)std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    systemCalls.calls.emplace_back(text);
}

int fail(int error) {
    errno = error;
    return -1;
}

} // namespace

// Calls that know of time have another name where a long has 32 bits and a time 64.
#if __SIZEOF_LONG__ == 8
#define REAL_SELECT __real_select
#define WRAP_SELECT __wrap_select
#define REAL_SETSOCKOPT __real_setsockopt
#define WRAP_SETSOCKOPT __wrap_setsockopt
#else
#define REAL_SELECT __real___select64
#define WRAP_SELECT __wrap___select64
#define REAL_SETSOCKOPT __real___setsockopt64
#define WRAP_SETSOCKOPT __wrap___setsockopt64
#endif

extern "C" {

int __real_socket(int domain, int type, int protocol);
int __real_connect(int fd, const sockaddr* address, socklen_t length);
int REAL_SETSOCKOPT(int fd, int level, int name, const void* value, socklen_t length);
int REAL_SELECT(int count, fd_set* reads, fd_set* writes, fd_set* exceptions, timeval* timeout);
ssize_t __real_recv(int fd, void* buffer, size_t size, int flags);
ssize_t __real_send(int fd, const void* bytes, size_t size, int flags);
int __real_shmget(key_t key, size_t size, int flags);
void* __real_shmat(int shmid, const void* address, int flags);
int __real_open64(const char* path, int flags, ...);

int __wrap_socket(int domain, int type, int protocol) {
    note("socket %d %d %d", domain, type, protocol);
    return systemCalls.socketError != 0 ? fail(systemCalls.socketError) : __real_socket(domain, type, protocol);
}

int __wrap_connect(int fd, const sockaddr* address, socklen_t length) {
    const auto* un = reinterpret_cast<const sockaddr_un*>(address);
    note("connect %d %.108s %u", address->sa_family, un->sun_path, static_cast<unsigned>(length));
    return systemCalls.connectError != 0 ? fail(systemCalls.connectError) : __real_connect(fd, address, length);
}

int WRAP_SETSOCKOPT(int fd, int level, int name, const void* value, socklen_t length) {
    int number = 0;
    std::memcpy(&number, value, sizeof(number));
    note("setsockopt %d %d %d", level, name, number);
    return systemCalls.setsockoptError != 0 ? fail(systemCalls.setsockoptError)
                                            : REAL_SETSOCKOPT(fd, level, name, value, length);
}

int WRAP_SELECT(int count, fd_set* reads, fd_set* writes, fd_set* exceptions, timeval* timeout) {
    if (systemCalls.onSelect) {
        systemCalls.onSelect(static_cast<long>(timeout->tv_sec), static_cast<long>(timeout->tv_usec));
    }
    note("select %d%s%s", count, writes != nullptr ? " writes" : "", exceptions != nullptr ? " exceptions" : "");
    if (systemCalls.selectError != 0) {
        return fail(systemCalls.selectError);
    }
    timeval atOnce = {0, 0}; // the countdown counts passes: there is no need to wait for them
    return REAL_SELECT(count, reads, writes, exceptions, &atOnce);
}

ssize_t __wrap_recv(int fd, void* buffer, size_t size, int flags) {
    if (systemCalls.onRecv) {
        systemCalls.onRecv();
    }
    const auto planned = systemCalls.recvErrors.find(systemCalls.recvCount++);
    ssize_t got = -1;
    if (planned != systemCalls.recvErrors.end()) {
        errno = planned->second;
    } else {
        got = __real_recv(fd, buffer, size, flags);
    }
    note("recv %u 0x%x -> %d", static_cast<unsigned>(size), static_cast<unsigned>(flags), static_cast<int>(got));
    return got;
}

int __wrap_shmget(key_t key, size_t size, int flags) {
    note("shmget %d %u", static_cast<int>(key), static_cast<unsigned>(size));
    return systemCalls.noSegments ? fail(ENOENT) : __real_shmget(key, size, flags);
}

ssize_t __wrap_send(int fd, const void* bytes, size_t size, int flags) {
    char call[32];
    (void)std::snprintf(call, sizeof(call), "%u 0x%x", static_cast<unsigned>(size), static_cast<unsigned>(flags));
    systemCalls.sends.emplace_back(call);
    if (systemCalls.sendError != 0) {
        return fail(systemCalls.sendError);
    }
    return __real_send(fd, bytes, size - static_cast<size_t>(systemCalls.sendShortage), flags);
}

void* __wrap_shmat(int shmid, const void* address, int flags) {
    if (systemCalls.attachError != 0) {
        errno = systemCalls.attachError;
        return reinterpret_cast<void*>(-1);
    }
    return __real_shmat(shmid, address, flags);
}

int __wrap_open64(const char* path, int flags, ...) {
    if (std::strncmp(path, "/dev/enc", 8) == 0) {
        note("open %s 0x%x", path, static_cast<unsigned>(flags));
        return systemCalls.deviceFd >= 0 ? systemCalls.deviceFd : fail(ENOENT);
    }
    std::va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = va_arg(arguments, unsigned);
    va_end(arguments);
    return __real_open64(path, flags, mode);
}

} // extern "C"
