#include "segment.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <sys/ipc.h>
#include <sys/shm.h>

#include "tool_error.h"

std::string describeKey(int key) {
    char text[32];
    (void)std::snprintf(text, sizeof(text), "%d (0x%08X)", key, static_cast<unsigned>(key));
    return text;
}

int findSegment(int key, int mode) {
    const int shmid = shmget(key, sizeof(MPU_PARAMS_t), mode);
    if (shmid >= 0) {
        return shmid;
    }
    switch (errno) {
    case ENOENT:
        throw failure("no parameter block with key " + describeKey(key) + "; \"mpuparams create\" makes one");
    case EINVAL:
        throw failure("the segment with key " + describeKey(key) + " is no parameter block: it is smaller than " +
                      std::to_string(sizeof(MPU_PARAMS_t)) + " bytes");
    default:
        throw failure("cannot open the parameter block with key " + describeKey(key) + ": " + std::strerror(errno));
    }
}

AttachedBlock::AttachedBlock(int key, Access access)
    : address_(shmat(findSegment(key, access == Access::Write ? 0600 : 0400), nullptr,
                     access == Access::Write ? 0 : SHM_RDONLY)) {
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

AttachedBlock::~AttachedBlock() {
    (void)shmdt(address_);
}
