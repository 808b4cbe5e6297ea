#include "real_calls.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <utility>

#include <sys/mman.h>
#include <sys/select.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "osdep.h"
#include "platform.h"
#include "trace_log.h"

namespace model {
namespace {

SimulatedWorld_t* world = nullptr;
Attach_e attach = Attach_e::POSSIBLE;
bool isAttaching = false;
int logFd = -1;
int lowWater = 1;

/** A message in pieces is read whole. */
constexpr int WHOLE_MESSAGE = 4064;
/** A terminal at the bus must not become the daemon's own, nor keep it waiting. */
constexpr int OPEN_FLAGS = 04402;
std::function<void(bool)> waitedForReal;

/** Carries out a call of the world; the life's end does not come back. */
template <typename Act>
auto inWorld(Act act) {
    try {
        auto result = act(*world);
        sharedBlock().flags = world->flags();
        return result;
    } catch (const EndOfLife_t&) {
    }
    leaveLife();
}

template <typename Result>
Result failing(Result result) {
    errno = EIO;
    return result;
}

} // namespace

CallsToWorld_t::CallsToWorld_t(SimulatedWorld_t& theWorld, const Life_t& life) {
    world = &theWorld;
    attach = life.attach;
    sharedBlock().flags = theWorld.flags();
}

CallsToWorld_t::~CallsToWorld_t() {
    world = nullptr;
}

SimulatedWorld_t& currentWorld() {
    return *world;
}

bool attaching() {
    return isAttaching;
}

void waitForReal(std::function<void(bool readable)> waited) {
    waitedForReal = std::move(waited);
}

} // namespace model

// Calls that know of time have another name where a long has 32 bits and a time 64.
#if __SIZEOF_LONG__ == 8
#define TIMED(prefix, name) prefix##name
#else
#define TIMED(prefix, name) prefix##__##name##64
#endif
#define REAL(name) TIMED(__real_, name)
#define WRAP(name) TIMED(__wrap_, name)

using namespace model;

extern "C" {

int __real_socket(int domain, int type, int protocol);
int __real_connect(int fd, const sockaddr* address, socklen_t length);
int REAL(setsockopt)(int fd, int level, int name, const void* value, socklen_t length);
int REAL(select)(int count, fd_set* reads, fd_set* writes, fd_set* exceptions, timeval* timeout);
ssize_t __real_recv(int fd, void* buffer, size_t size, int flags);
ssize_t __real_send(int fd, const void* bytes, size_t size, int flags);
int __real_shmget(key_t key, size_t size, int flags);
int REAL(shmctl)(int shmid, int command, struct shmid_ds* state);
void* __real_shmat(int shmid, const void* address, int flags);
int __real_shmdt(const void* address);
int __real_open64(const char* path, int flags, ...);
FILE* __real_fdopen(int fd, const char* mode);
const MPU_PARAMS_t* __real__Z16MPU_getMpuParamsi(int key);

int __wrap_socket(int domain, int type, int protocol) {
    if (world == nullptr) {
        return __real_socket(domain, type, protocol);
    }
    lowWater = 1;
    return domain == AF_UNIX && type == SOCK_STREAM && protocol == 0 ? inWorld([](World_t& w) { return w.socket(); })
                                                                     : -1;
}

int __wrap_connect(int fd, const sockaddr* address, socklen_t length) {
    if (world == nullptr) {
        return __real_connect(fd, address, length);
    }
    const auto* un = reinterpret_cast<const sockaddr_un*>(address);
    return inWorld([=](World_t& w) {
        const std::string path(un->sun_path, strnlen(un->sun_path, sizeof(un->sun_path)));
        return un->sun_family == AF_UNIX && lowWater == WHOLE_MESSAGE ? w.connect(fd, path, length) : -1;
    });
}

int WRAP(setsockopt)(int fd, int level, int name, const void* value, socklen_t length) {
    if (world == nullptr) {
        return REAL(setsockopt)(fd, level, name, value, length);
    }
    if (level == SOL_SOCKET && name == SO_RCVLOWAT && length == sizeof(lowWater)) {
        std::memcpy(&lowWater, value, sizeof(lowWater));
    }
    return 0;
}

int WRAP(select)(int count, fd_set* reads, fd_set* writes, fd_set* exceptions, timeval* timeout) {
    if (world == nullptr) {
        return REAL(select)(count, reads, writes, exceptions, timeout);
    }
    const int fd = count > 0 && FD_ISSET(count - 1, reads) ? count - 1 : -1;
    const SelectResult_t result = inWorld([&](World_t& w) {
        return w.select(fd, static_cast<std::uint32_t>(timeout->tv_sec), static_cast<std::uint32_t>(timeout->tv_usec));
    });
    if (waitedForReal) {
        const int ready = REAL(select)(count, reads, writes, exceptions, timeout);
        waitedForReal(ready > 0);
        return ready;
    }
    FD_ZERO(reads);
    if (result.readable) {
        FD_SET(fd, reads);
    }
    *timeout = {0, 0}; // as after a wait to its end
    errno = result.result < 0 ? EINTR : errno;
    return result.result;
}

ssize_t __wrap_recv(int fd, void* buffer, size_t size, int flags) {
    if (world == nullptr) {
        return __real_recv(fd, buffer, size, flags);
    }
    const long got = inWorld([=](World_t& w) {
        const ReceiveResult_t result = w.receive(fd, size, flags);
        std::ranges::copy(result.data, static_cast<std::uint8_t*>(buffer));
        return result.result;
    });
    return got < 0 ? failing(got) : got;
}

ssize_t __wrap_send(int fd, const void* bytes, size_t size, int flags) {
    if (world == nullptr) {
        return __real_send(fd, bytes, size, flags);
    }
    const long sent = inWorld([=](World_t& w) {
        const auto* first = static_cast<const std::uint8_t*>(bytes);
        Bytes_t message(first, first + size);
        hideAddress(message.data(), message.size(), sendBufferAddress());
        return w.send(fd, message, flags);
    });
    return sent < 0 ? failing(sent) : sent;
}

int __wrap_open64(const char* path, int flags, ...) {
    if (world != nullptr && std::strncmp(path, "/dev/enc", 8) == 0) {
        return flags == OPEN_FLAGS ? inWorld([=](World_t& w) { return w.openI2c(path); }) : -1;
    }
    if (world != nullptr && std::strcmp(path, "/log/esa_01.log") == 0) {
        // A regular file for whoever looks at what has been opened; what is written goes elsewhere.
        return logFd = memfd_create("log", MFD_CLOEXEC);
    }
    std::va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = va_arg(arguments, unsigned);
    va_end(arguments);
    return __real_open64(path, flags, mode);
}

FILE* __wrap_fdopen(int fd, const char* mode) {
    if (world == nullptr || fd != logFd) {
        return __real_fdopen(fd, mode);
    }
    (void)close(std::exchange(logFd, -1));
    return openTraceLog();
}

const MPU_PARAMS_t* __wrap__Z16MPU_getMpuParamsi(int key) {
    isAttaching = true;
    const MPU_PARAMS_t* params = __real__Z16MPU_getMpuParamsi(key);
    isAttaching = false;
    return params;
}

int __wrap_shmget(key_t key, size_t size, int flags) {
    if (world == nullptr) {
        return __real_shmget(key, size, flags);
    }
    (void)inWorld([=](World_t& w) { return w.attachParameters(key).has_value(); });
    return attach == Attach_e::ABSENT ? failing(-1) : 77;
}

void* __wrap_shmat(int shmid, const void* address, int flags) {
    if (world == nullptr) {
        return __real_shmat(shmid, address, flags);
    }
    return attach == Attach_e::UNMAPPABLE ? failing(reinterpret_cast<void*>(-1)) : &sharedBlock();
}

// The block's owner is the adapter's own user.
int WRAP(shmctl)(int shmid, int command, struct shmid_ds* state) {
    if (world == nullptr) {
        return REAL(shmctl)(shmid, command, state);
    }
    *state = {};
    state->shm_perm.uid = state->shm_perm.cuid = geteuid();
    return 0;
}

int __wrap_shmdt(const void* address) {
    return world == nullptr ? __real_shmdt(address) : 0;
}

} // extern "C"

int read_i2c_data(int fd, U8_t i2cAddr, U8_t regAddr, U8_t* data, int length) {
    return inWorld([=](World_t& w) {
        const I2cResult_t result = w.readI2c(fd, i2cAddr, regAddr, length);
        std::ranges::copy(result.data, data);
        return result.result;
    });
}

int write_i2c_data(int fd, U8_t i2cAddr, U8_t regAddr, const U8_t* data, int length) {
    return inWorld([=](World_t& w) {
        return w.writeI2c(fd, i2cAddr, regAddr, {data, static_cast<std::size_t>(length)});
    });
}

static void logEvent(const EmpEvLogHeader_t* record, std::optional<int> action) {
    (void)inWorld([=](World_t& w) {
        const auto* first = reinterpret_cast<const std::uint8_t*>(record);
        Bytes_t bytes(first, first + sizeof(*record) + record->evStructLength);
        hideAddress(bytes.data() + sizeof(*record), bytes.size() - sizeof(*record), sendBufferAddress());
        w.eventLog(bytes, action);
        return 0;
    });
}

void altEventLogM(const EmpEvLogHeader_t* record, const MPU_PARAMS_t*) {
    logEvent(record, std::nullopt);
}

void altEventLog(const EmpEvLogHeader_t* record, const MPU_PARAMS_t*, S32_t action) {
    logEvent(record, action);
}

void MPU_sleep(U32_t seconds) {
    (void)inWorld([=](World_t& w) {
        w.sleep(seconds * std::uint64_t{1000000});
        return 0;
    });
}

void MPU_usleep(U32_t microseconds) {
    (void)inWorld([=](World_t& w) {
        w.sleep(microseconds);
        return 0;
    });
}
