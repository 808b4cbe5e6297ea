#include "faults.h"

#include <cerrno>
#include <cstddef>
#include <pthread.h>
#include <sys/shm.h>
#include <sys/types.h>

namespace faults {

Fault_t shmget;
Fault_t shmat;
Fault_t shmctl;
Fault_t read;
Fault_t mutexInit;
Asked_t asked;
Users_t users;
int shortRead = -1;

bool Fault_t::strikes() {
    if (error == 0 || passes-- > 0) {
        return false;
    }
    errno = error;
    error = 0;
    return true;
}

} // namespace faults

// It has another name where a long has 32 bits and the segment's times 64.
#if __SIZEOF_LONG__ == 8
#define REAL_SHMCTL __real_shmctl
#define WRAP_SHMCTL __wrap_shmctl
#else
#define REAL_SHMCTL __real___shmctl64
#define WRAP_SHMCTL __wrap___shmctl64
#endif

extern "C" {

int __real_shmget(key_t key, std::size_t size, int flags);
void* __real_shmat(int shmid, const void* address, int flags);
int REAL_SHMCTL(int shmid, int command, shmid_ds* state);
ssize_t __real_read(int fd, void* buffer, std::size_t size);
int __real_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes);

int __wrap_shmget(key_t key, std::size_t size, int flags) {
    faults::asked = {size, flags};
    return faults::shmget.strikes() ? -1 : __real_shmget(key, size, flags);
}

void* __wrap_shmat(int shmid, const void* address, int flags) {
    return faults::shmat.strikes() ? reinterpret_cast<void*>(-1) : __real_shmat(shmid, address, flags);
}

int WRAP_SHMCTL(int shmid, int command, shmid_ds* state) {
    const int result = faults::shmctl.strikes() ? -1 : REAL_SHMCTL(shmid, command, state);
    if (result >= 0 && command == IPC_STAT && faults::users.set) {
        state->shm_perm.uid = faults::users.owner;
        state->shm_perm.cuid = faults::users.maker;
    }
    return result;
}

ssize_t __wrap_read(int fd, void* buffer, std::size_t size) {
    if (faults::read.strikes()) {
        return -1;
    }
    const bool cut = faults::shortRead >= 0;
    const ssize_t length = __real_read(fd, buffer, cut ? static_cast<std::size_t>(faults::shortRead) : size);
    faults::shortRead = -1;
    return length;
}

int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) {
    return faults::mutexInit.strikes() ? errno : __real_pthread_mutex_init(mutex, attributes);
}

} // extern "C"
