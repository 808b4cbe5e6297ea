#include "segment.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include "errors.h"

std::string describeKey(int key) {
    char text[32];
    (void)std::snprintf(text, sizeof(text), "%d (0x%08X)", key, static_cast<unsigned>(key));
    return text;
}

namespace {

struct shmid_ds stateOf(int key, int shmid) {
    struct shmid_ds state = {};
    if (shmctl(shmid, IPC_STAT, &state) < 0) {
        throw failure("cannot open the parameter block with key " + describeKey(key) + ": " + std::strerror(errno));
    }
    return state;
}

} // namespace

int findSegment(int key, int mode) {
    const int shmid = shmget(key, 0, mode);
    if (shmid < 0) {
        switch (errno) {
        case ENOENT:
            throw failure("no parameter block with key " + describeKey(key) + "; \"mpuparams create\" makes one");
        case EACCES:
            throw failure("no permission for the parameter block with key " + describeKey(key) +
                          "; only its owner and root have it");
        default:
            throw failure("cannot open the parameter block with key " + describeKey(key) + ": " + std::strerror(errno));
        }
    }
    // Any other program may have the key: what is not one of these blocks is neither read nor removed.
    const std::size_t size = stateOf(key, shmid).shm_segsz;
    if (size != sizeof(MPU_PARAMS_t)) {
        throw failure("the segment with key " + describeKey(key) + " is no parameter block: it has " +
                      std::to_string(size) + " bytes, expected " + std::to_string(sizeof(MPU_PARAMS_t)));
    }
    return shmid;
}

int findRemovable(int key) {
    const int shmid = findSegment(key, 0600);
    const struct ipc_perm permissions = stateOf(key, shmid).shm_perm;
    if (geteuid() != 0 && geteuid() != permissions.uid && geteuid() != permissions.cuid) {
        throw failure("the parameter block with key " + describeKey(key) + " belongs to user " +
                      std::to_string(permissions.uid) + "; only its owner and root can remove it");
    }
    return shmid;
}

AttachedBlock_t::AttachedBlock_t(int key, Access_e access)
    : address_(shmat(findSegment(key, access == Access_e::WRITE ? 0600 : 0400), nullptr,
                     access == Access_e::WRITE ? 0 : SHM_RDONLY)) {
    if (reinterpret_cast<std::intptr_t>(address_) == -1) {
        throw failure("cannot attach the parameter block with key " + describeKey(key) + ": " + std::strerror(errno));
    }
    const U32_t version = params().version;
    if (version != MPU_K_PARAMS_VERSION) {
        (void)shmdt(address_);
        throw failure("the parameter block with key " + describeKey(key) + " has version " + std::to_string(version) +
                      ", expected " + std::to_string(MPU_K_PARAMS_VERSION));
    }
}

AttachedBlock_t::~AttachedBlock_t() {
    (void)shmdt(address_);
}
