/** The CMAP parameter block and the semaphore it holds. */
#include <atomic>
#include <cerrno>
#include <cstring>
#include <linux/futex.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "mpu_gbl_private.h"

/* ---------------------------------------------------------------------------------------------- semaphore */

namespace {

constexpr U32_t SEMAPHORE_DESTROYED = 0xFFFFFFFF;

std::atomic_ref<U32_t> countOf(MPU_SEMAPHORE_t* semaphore) {
    return std::atomic_ref<U32_t>(semaphore->count);
}

/** The futex calls without FUTEX_PRIVATE_FLAG: waiter and waker may be different processes. */
void futex(MPU_SEMAPHORE_t* semaphore, int operation, U32_t value) {
    (void)syscall(SYS_futex, &semaphore->count, operation, value, nullptr, nullptr, 0); // callers look at the count
}

} // namespace

S32_t mpuSemaphore_Init(MPU_SEMAPHORE_t* semaphore, U32_t count) {
    if (count > MPU_K_SEMAPHORE_MAX) {
        errno = EINVAL;
        MPU_BUGCHECK(MPU_K_BUGCHECK_SEMAPHORE_INIT, "mpuSemaphore_Init(): init failure.");
    }
    countOf(semaphore).store(count);
    return 0;
}

S32_t mpuSemaphore_Done(MPU_SEMAPHORE_t* semaphore) {
    if (countOf(semaphore).exchange(SEMAPHORE_DESTROYED) > MPU_K_SEMAPHORE_MAX) {
        errno = EINVAL;
        MPU_BUGCHECK(MPU_K_BUGCHECK_SEMAPHORE_DONE, "mpuSemaphore_Done(): done failure.");
    }
    return 0;
}

void mpuSemaphore_Get(MPU_SEMAPHORE_t* semaphore) {
    for (;;) {
        U32_t count = countOf(semaphore).load();
        while (count != 0) {
            if (countOf(semaphore).compare_exchange_weak(count, count - 1)) {
                return;
            }
        }
        futex(semaphore, FUTEX_WAIT, 0);
    }
}

void mpuSemaphore_Put(MPU_SEMAPHORE_t* semaphore) {
    countOf(semaphore).fetch_add(1);
    futex(semaphore, FUTEX_WAKE, 1);
}

/* ------------------------------------------------------------------------------------------------- block */

namespace {

constexpr int CMAP_MODE = 0666;

/** A new segment for `key`; -1 after a report. */
S32_t createSegment(int key) {
    S32_t shmid = shmget(key, sizeof(CmapParams_t), CMAP_MODE | IPC_CREAT | IPC_EXCL);
    if (shmid >= 0) {
        return shmid;
    }
    if (errno != EEXIST) {
        mpuReportFailure("\nError creating the CMAP shared memory area.\n");
        return -1;
    }
    shmid = mpuReplaceSegment(key, sizeof(CmapParams_t), CMAP_MODE);
    if (shmid < 0) {
        std::fprintf(stderr, "CMAP shared memory segment already exists (key=%d (0x%08X)).\n", key,
                     static_cast<U32_t>(key));
    } else {
        std::fprintf(
            stderr, "CMAP shared memory segment already existed.\nIt has successfully been removed and recreated.\n\n");
    }
    return shmid;
}

} // namespace

CmapParams_t* MPU_getCmapParams(int key) {
    S32_t shmid = -1;
    return MPU_getCmapParamsAndShmid(&shmid, key);
}

CmapParams_t* MPU_getCmapParamsAndShmid(S32_t* pShmid, int key) {
    *pShmid = shmget(key, sizeof(CmapParams_t), CMAP_MODE);
    if (*pShmid < 0) {
        mpuReportFailure("Error opening the CMAP shared memory area.\n");
        return nullptr;
    }
    auto* const block = static_cast<CmapParams_t*>(mpuAttachSegment(*pShmid, 0));
    if (block == nullptr) {
        mpuReportFailure("Error mapping the CMAP shared memory area to virtual memory.\n");
    }
    return block;
}

CmapParams_t* MPU_createCmapParams(S32_t* pShmid, int key) {
    *pShmid = createSegment(key);
    if (*pShmid < 0) {
        return nullptr;
    }
    auto* const block = static_cast<CmapParams_t*>(mpuAttachSegment(*pShmid, 0));
    if (block == nullptr) {
        mpuReportFailure("Failed to attached CMAP shared memory segment.\n");
        (void)shmctl(*pShmid, IPC_RMID, nullptr); // nobody may find a segment that was never filled
        *pShmid = -1;
        return nullptr;
    }
    std::memset(block, 0, sizeof(*block));
    block->version = MPU_K_CMAP_PARAMS_VERSION;
    mpuSemaphore_Init(&block->semaphore, 0);
    mpuMutex_InitShared(MPU_cmapMutex(block));
    return block;
}

int MPU_detachCmapParams(const CmapParams_t* params) {
    return shmdt(params);
}

int MPU_deleteCmapParams(S32_t shmid) {
    // Found by its id: the caller may have attached nothing, or the block of another key since.
    auto* const block = static_cast<CmapParams_t*>(mpuAttachSegment(shmid, 0));
    if (block != nullptr) {
        mpuSemaphore_Done(&block->semaphore);
        mpuMutex_Done(MPU_cmapMutex(block));
        (void)MPU_detachCmapParams(block); // it was attached just now
    }
    return shmctl(shmid, IPC_RMID, nullptr);
}
