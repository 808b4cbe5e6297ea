/** The shared parameter block: attaching, deleting, byte order. */
#include "mpu_gbl.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include "mpu_gbl_private.h"
#include "wire.h"

MPU_PARAMS_t* mpuParamsBlock = nullptr;

void mpuReportFailure(const CHAR_t* text) {
    const int error = errno; // printing may change it
    std::fprintf(stderr, "%s   %s\n", text, std::strerror(error));
}

S32_t mpuReplaceSegment(int key, std::size_t size, int mode) {
    const S32_t old = shmget(key, size, mode);
    if (old < 0 || shmctl(old, IPC_RMID, nullptr) < 0) {
        return -1;
    }
    return shmget(key, size, mode | IPC_CREAT | IPC_EXCL);
}

void* mpuAttachSegment(S32_t shmid, int flags) {
    void* const address = shmat(shmid, nullptr, flags);
    return reinterpret_cast<std::intptr_t>(address) == -1 ? nullptr : address;
}

namespace {

/**
 * Whoever owns or made a segment can change it at any time, and hand its ownership on as well: the block says where
 * this process connects and what it writes to, so both have to be root or this process's own user.
 */
bool isTrusted(S32_t shmid) {
    struct shmid_ds state = {};
    if (shmctl(shmid, IPC_STAT, &state) < 0) {
        return false;
    }
    const uid_t self = geteuid();
    for (const uid_t user : {state.shm_perm.uid, state.shm_perm.cuid}) {
        if (user != 0 && user != self) {
            errno = EACCES;
            return false;
        }
    }
    return true;
}

} // namespace

const MPU_PARAMS_t* MPU_getMpuParams(int key) {
    S32_t shmid = -1;
    return MPU_getMpuParamsAndShmid(&shmid, key);
}

const MPU_PARAMS_t* MPU_getMpuParamsAndShmid(S32_t* pShmid, int key) {
    *pShmid = shmget(key, sizeof(MPU_PARAMS_t), 0400);
    if (*pShmid >= 0 && !isTrusted(*pShmid)) {
        *pShmid = -1;
    }
    if (*pShmid < 0) {
        mpuReportFailure("Error opening the MPU shared memory area.\n");
        return nullptr;
    }
    auto* const block = static_cast<MPU_PARAMS_t*>(mpuAttachSegment(*pShmid, SHM_RDONLY));
    if (block == nullptr) {
        mpuReportFailure("Error mapping the MPU shared memory area to virtual memory.\n");
        return nullptr;
    }
    if (block->version != MPU_K_PARAMS_VERSION) {
        std::fprintf(stderr, "Error with shared memory area.\n");
        std::fprintf(stderr, "  Expected version %d, attached to version %d.\n", static_cast<int>(MPU_K_PARAMS_VERSION),
                     static_cast<int>(block->version));
        shmdt(block);
        return nullptr;
    }
    mpuParamsBlock = block;
    return block;
}

int MPU_detachMpuParams(const MPU_PARAMS_t* params) {
    if (params == mpuParamsBlock) {
        mpuParamsBlock = nullptr;
    }
    return shmdt(params);
}

int MPU_deleteMpuParams(S32_t shmid) {
    return shmctl(shmid, IPC_RMID, nullptr);
}

/* ------------------------------------------------------------------------------------------- byte order */

namespace {

/** Equal integers of the block at equal distances. */
struct Integers_t {
    std::size_t offset;
    std::size_t width; /**< bytes of each: 2 or 4 */
    std::size_t count;
    std::size_t stride; /**< bytes from one to the next */
};

#define AT(field) offsetof(MPU_PARAMS_t, field)
constexpr Integers_t INTEGERS[] = {
    {AT(version), 4, 3, 4}, // flags and slotId follow
    {AT(regBlockOffset), 4, 2, 4},
    {AT(regBlockSize), 4, 2, 4},
    {AT(otherPresentOffset), 2, 1, 2},
    {AT(resetOtherOffset), 2, 1, 2},
    {AT(issIpAddress), 4, 1, 4},
    {AT(mpuVer), 2, 4, 2},
    {AT(q4xVer), 2, 4, 2},
    {AT(asicDeviceId), 2, 3, 2}, // pciVendorId and asicRevision follow
    {AT(serialNo), 4, 3, 4},     // shmKey and ouiNo follow
    {AT(smSize), 4, 6, 4},       // bmSize and the four addresses follow
    {AT(macAddress[0]._filler1), 2, 8, sizeof(MAC_ADDRESS_t)},
    {AT(adapters), 4, 2, 4},
};
#undef AT

/** Big-endian bytes become the host's integer; on either kind of host the way back is the same step. */
template <typename T>
void swapAt(U8_t* at) {
    be_uint_t<T, sizeof(T)> wire;
    std::memcpy(wire.bytes, at, sizeof(T));
    const T value = wire;
    std::memcpy(at, &value, sizeof(T));
}

} // namespace

void MPU_swapMpuParams(MPU_PARAMS_t* params) {
    auto* const bytes = reinterpret_cast<U8_t*>(params);
    for (const Integers_t& run : INTEGERS) {
        for (std::size_t i = 0; i < run.count; ++i) {
            U8_t* const at = bytes + run.offset + i * run.stride;
            run.width == 4 ? swapAt<U32_t>(at) : swapAt<U16_t>(at);
        }
    }
}
