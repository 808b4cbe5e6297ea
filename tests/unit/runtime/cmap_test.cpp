/** The CMAP block. */
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/wait.h>
#include <unistd.h>

#include "calls.h"
#include "child_with_log.h"
#include "mpu_gbl.h"
#include "segment.h"

using segments::Asked_t;
using segments::attachedSegments;
using segments::keyText;

namespace {

class CmapParams : public segments::SegmentTest {
protected:
    std::string create() {
        return errorsOf([&] { block = MPU_createCmapParams(&shmid, key); });
    }

    std::string get() {
        return errorsOf([&] { block = MPU_getCmapParamsAndShmid(&shmid, key); });
    }

    CmapParams_t* block = nullptr;
    S32_t shmid = -7;
};

} // namespace

TEST_F(CmapParams, ANewBlockHas52BytesAndVersion1AndReplacesAnOlderOne) {
    EXPECT_EQ(create(), "");
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->version, 1U);
    EXPECT_EQ(block->semaphore.count, 0U);
    EXPECT_EQ(shmid, segmentNow());
    EXPECT_EQ(stateNow().shm_segsz, 52U);
    EXPECT_EQ(stateNow().shm_perm.mode & 0777, 0666);
    const int older = shmid;
    block->version = 2;
    EXPECT_EQ(create(), "CMAP shared memory segment already existed.\n"
                        "It has successfully been removed and recreated.\n\n");
    ASSERT_NE(block, nullptr);
    EXPECT_NE(shmid, older);
    EXPECT_EQ(block->version, 1U);
}

TEST_F(CmapParams, AnotherProcessUsesTheSemaphoreAndTheMutex) {
    int shared = -1;
    {
        const calls::Answer_t made(calls::pthread_mutex_init, [&](pthread_mutex_t* m, const pthread_mutexattr_t* how) {
            (void)pthread_mutexattr_getpshared(how, &shared);
            return calls::pthread_mutex_init.real(m, how);
        });
        (void)create();
    }
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(shared, PTHREAD_PROCESS_SHARED);
    mpuMutex_Get(MPU_cmapMutex(block));
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        CmapParams_t* const mine = MPU_getCmapParams(key);
        const bool held = mine != nullptr && pthread_mutex_trylock(MPU_cmapMutex(mine)) == EBUSY;
        if (mine != nullptr) {
            mpuSemaphore_Put(&mine->semaphore); // the parent lets go of the mutex now
            mpuMutex_Get(MPU_cmapMutex(mine));
        }
        _exit(held ? 0 : 1);
    }
    mpuSemaphore_Get(&block->semaphore);
    mpuMutex_Unlock(MPU_cmapMutex(block));
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(CmapParams, GettingTheBlockIsNoMatterOfItsVersion) {
    const int made = makeSegment(52, 0);
    EXPECT_EQ(get(), "");
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(shmid, made);
    EXPECT_EQ(block->version, 0U);
    block->version = 9; // attached for writing
    const CmapParams_t* const again = MPU_getCmapParams(key);
    ASSERT_NE(again, nullptr);
    EXPECT_NE(again, block);
    EXPECT_EQ(again->version, 9U);
}

TEST_F(CmapParams, AKeyWithoutASegmentOrWithOneThatCannotBeAttachedIsReported) {
    const std::string missing = "Error opening the CMAP shared memory area.\n   No such file or directory\n";
    const Asked_t asked;
    EXPECT_EQ(get(), missing);
    EXPECT_EQ(asked.size, 52U);
    EXPECT_EQ(asked.flags, 0666);
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(shmid, -1);
    EXPECT_EQ(errorsOf([&] { block = MPU_getCmapParams(key); }), missing);
    (void)makeSegment(52, 0);
    calls::shmat.failWith(EACCES);
    EXPECT_EQ(get(), "Error mapping the CMAP shared memory area to virtual memory.\n   Permission denied\n");
    EXPECT_EQ(block, nullptr);
}

TEST_F(CmapParams, ASegmentThatCannotBeTakenOrRemovedStays) {
    for (const std::size_t size : {51U, 52U}) {
        const int older = makeSegment(size, 0xEE);
        calls::shmctl.failWith(size == 52 ? EPERM : 0);
        EXPECT_EQ(create(), "CMAP shared memory segment already exists " + keyText(key) + ".\n");
        EXPECT_EQ(block, nullptr);
        EXPECT_EQ(segmentNow(), older);
        EXPECT_EQ(MPU_deleteMpuParams(older), 0);
    }
    EXPECT_EQ(shmid, -1);
}

TEST_F(CmapParams, DeletingThatIsRefusedFailsAndTheSegmentStays) {
    const int made = makeSegment(52, 0);
    calls::shmctl.failWith(EPERM);
    EXPECT_EQ(MPU_deleteCmapParams(made), -1);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(segmentNow(), made);
}

TEST_F(CmapParams, AnyOtherCreationErrorIsReportedAndLeavesNoSegmentThatCanBeRemoved) {
    calls::shmget.failWith(ENOSPC);
    EXPECT_EQ(create(), "\nError creating the CMAP shared memory area.\n   No space left on device\n");
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(shmid, -1);
    EXPECT_EQ(segmentNow(), -1);
    for (const int refusal : {0, EPERM}) { // of its removal, which has no report
        calls::shmat.failWith(ENOMEM);
        calls::shmctl.failWith(refusal);
        EXPECT_EQ(create(), "Failed to attached CMAP shared memory segment.\n   Cannot allocate memory\n");
        EXPECT_EQ(block, nullptr);
        EXPECT_EQ(shmid, -1);
        EXPECT_EQ(segmentNow() == -1, refusal == 0);
    }
}

TEST_F(CmapParams, ASegmentMayHaveTheId0AndIsClearedFirst) {
    const segments::FirstSegment_t first;
    EXPECT_EQ(create(), "");
    EXPECT_EQ(shmid, 0);
    ASSERT_EQ(block, static_cast<const void*>(first.bytes));
    EXPECT_EQ(block->mutex[10], 0U) << "behind the mutex";
    calls::shmget.failWith(EEXIST);
    EXPECT_EQ(create(), "CMAP shared memory segment already existed.\n"
                        "It has successfully been removed and recreated.\n\n");
    EXPECT_EQ(get(), "");
    EXPECT_EQ(block, static_cast<const void*>(first.bytes));
}

TEST_F(CmapParams, DeletingDestroysTheSemaphoreOfABlockThatThisProcessNeverGot) {
    const int made = makeSegment(52, 0);
    const auto* const words = static_cast<const U32_t*>(shmat(made, nullptr, SHM_RDONLY));
    EXPECT_EQ(MPU_deleteCmapParams(made), 0);
    EXPECT_EQ(segmentNow(), -1);
    EXPECT_EQ(words[1], 0xFFFFFFFFU);
    EXPECT_EQ(attachedSegments(), 1) << "only the one of this test";
    (void)shmdt(words);
    EXPECT_EQ(MPU_deleteCmapParams(made), -1);
    EXPECT_TRUE(errno == EINVAL || errno == EIDRM) << errno;
}

TEST_F(CmapParams, DeletingABlockLeavesTheOneThatWasGotSince) {
    (void)create();
    ASSERT_NE(block, nullptr);
    S32_t otherId = -1;
    CmapParams_t* const other = MPU_createCmapParams(&otherId, IPC_PRIVATE);
    ASSERT_NE(other, nullptr);
    EXPECT_EQ(MPU_deleteCmapParams(shmid), 0);
    EXPECT_EQ(block->semaphore.count, 0xFFFFFFFFU);
    EXPECT_EQ(other->semaphore.count, 0U);
    EXPECT_EQ(MPU_deleteCmapParams(otherId), 0);
    EXPECT_EQ(other->semaphore.count, 0xFFFFFFFFU);
}

TEST_F(CmapParams, ADetachedBlockIsStillThere) {
    (void)create();
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(MPU_detachCmapParams(block), 0);
    EXPECT_EQ(attachedSegments(), 0);
    EXPECT_EQ(segmentNow(), shmid);
    EXPECT_EQ(MPU_detachCmapParams(block), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(CmapParams, WhatCannotBeMadeOrIsInUseOrDestroyedAlreadyEndsTheProcess) {
    calls::pthread_mutex_init.failWith(ENOMEM);
    EXPECT_EQ(endOf([&] { (void)MPU_createCmapParams(&shmid, key); }),
              "MPU_BUGCHECK() encountered: Cannot allocate memory\n: mpuMutex_Init(): init failure.\nexit(0x40000004)");
    calls::pthread_mutex_init.failWith(0);
    (void)create();
    ASSERT_NE(block, nullptr);
    mpuMutex_Get(MPU_cmapMutex(block));
    EXPECT_EQ(
        endOf([&] { (void)MPU_deleteCmapParams(shmid); }),
        "MPU_BUGCHECK() encountered: Device or resource busy\n: mpuMutex_Done(): done failure.\nexit(0x40000005)");
    EXPECT_EQ(block->semaphore.count, 0xFFFFFFFFU);
    EXPECT_EQ(endOf([&] { (void)MPU_deleteCmapParams(shmid); }),
              "MPU_BUGCHECK() encountered: Invalid argument\n: mpuSemaphore_Done(): done failure.\nexit(0x40000009)");
}
