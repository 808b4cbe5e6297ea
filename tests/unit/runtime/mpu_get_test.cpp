/** Attaching and deleting the parameter block. */
#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <unistd.h>

#include "calls.h"
#include "child_with_log.h"
#include "mpu_gbl.h"
#include "segment.h"

using segments::Asked_t;
using segments::attachedSegments;

namespace {

class GetMpuParams : public segments::SegmentTest {
protected:
    int makeBlock(U32_t version) {
        const int made = makeSegment(744, 0);
        auto* const words = static_cast<U32_t*>(shmat(made, nullptr, 0));
        words[0] = version;
        words[1] = 0x80;
        (void)shmdt(words);
        return made;
    }

    /** What getting reports; `block` and `shmid` hold what it gives. */
    std::string get() {
        return errorsOf([&] { block = MPU_getMpuParamsAndShmid(&shmid, key); });
    }

    const MPU_PARAMS_t* block = nullptr;
    S32_t shmid = -7;
};

/** Answers of shmctl() when every segment has this owner and this maker. */
auto segmentOf(unsigned owner, unsigned maker) {
    return [=](int shmid, int command, shmid_ds* state) {
        const int result = calls::shmctl.real(shmid, command, state);
        if (command == IPC_STAT) {
            state->shm_perm.uid = owner;
            state->shm_perm.cuid = maker;
        }
        return result;
    };
}

} // namespace

TEST_F(GetMpuParams, ABlockOfVersion15IsAttachedReadOnlyWithItsOwnersReadPermission) {
    const int made = makeBlock(15);
    {
        const Asked_t asked;
        EXPECT_EQ(get(), "");
        EXPECT_EQ(asked.size, 744U);
        EXPECT_EQ(asked.flags, 0400);
    }
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(shmid, made);
    EXPECT_EQ(block->version, 15U);
    EXPECT_EQ(block->flags, 0x80U);
    EXPECT_EQ(stateNow().shm_nattch, 1U);
    EXPECT_DEATH(const_cast<MPU_PARAMS_t*>(block)->flags = 1, "");
    const MPU_PARAMS_t* const again = MPU_getMpuParams(key);
    ASSERT_NE(again, nullptr) << "the segment's id may be left out";
    segment.patch(4, "\1\1\1\1", 4);
    EXPECT_EQ(*const_cast<const volatile U32_t*>(&block->flags), 0x01010101U) << "flags that others raise are seen";
}

TEST_F(GetMpuParams, AKeyWithoutASegmentOrWithOneTooSmallIsReported) {
    EXPECT_EQ(get(), "Error opening the MPU shared memory area.\n   No such file or directory\n");
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(shmid, -1);
    (void)makeSegment(743, 0);
    EXPECT_EQ(get(), "Error opening the MPU shared memory area.\n   Invalid argument\n");
    EXPECT_EQ(block, nullptr);
}

TEST_F(GetMpuParams, ASegmentThatCannotBeAttachedIsReported) {
    const int made = makeBlock(15);
    calls::shmat.failWith(ENOMEM);
    EXPECT_EQ(get(), "Error mapping the MPU shared memory area to virtual memory.\n   Cannot allocate memory\n");
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(shmid, made);
}

TEST_F(GetMpuParams, ABlockOfRootOrOfThisUserIsAttached) {
    const int made = makeBlock(15);
    const unsigned self = geteuid();
    for (const auto& [owner, maker] : {std::pair{0U, 0U}, {self, self}, {self, 0U}, {0U, self}}) {
        const calls::Answer_t users(calls::shmctl, segmentOf(owner, maker));
        EXPECT_NE(MPU_getMpuParams(key), nullptr) << owner << ' ' << maker;
    }
    if (self == 0) { // who is root has to become somebody to tell the two apart
        shmid_ds state = {};
        ASSERT_EQ(calls::shmctl.real(made, IPC_STAT, &state), 0);
        state.shm_perm.uid = 65534;
        ASSERT_EQ(calls::shmctl.real(made, IPC_SET, &state), 0);
        ASSERT_EQ(seteuid(65534), 0);
        EXPECT_NE(MPU_getMpuParams(key), nullptr);
        ASSERT_EQ(seteuid(0), 0);
    }
}

TEST_F(GetMpuParams, ABlockThatSomebodyElseOwnsOrHasMadeIsReportedAsOneThatCannotBeOpened) {
    (void)makeBlock(15);
    const unsigned self = geteuid();
    const unsigned other = self + 4096;
    for (const auto& [owner, maker] :
         {std::pair{other, other}, {self, other}, {0U, other}, {other, self}, {other, 0U}}) {
        const calls::Answer_t users(calls::shmctl, segmentOf(owner, maker));
        EXPECT_EQ(get(), "Error opening the MPU shared memory area.\n   Permission denied\n");
        EXPECT_EQ(block, nullptr);
        EXPECT_EQ(shmid, -1);
        EXPECT_EQ(attachedSegments(), 0);
    }
}

TEST_F(GetMpuParams, ABlockWhoseOwnerCannotBeLearntIsReportedAsOneThatCannotBeOpened) {
    (void)makeBlock(15);
    calls::shmctl.failWith(EIDRM);
    EXPECT_EQ(get(), "Error opening the MPU shared memory area.\n   Identifier removed\n");
    EXPECT_EQ(block, nullptr);
}

TEST_F(GetMpuParams, AnotherVersionIsDetachedAndRefused) {
    for (const U32_t version : {14U, 16U, 0U}) {
        const int made = makeBlock(version);
        EXPECT_EQ(get(), "Error with shared memory area.\n  Expected version 15, attached to version " +
                             std::to_string(version) + ".\n");
        EXPECT_EQ(block, nullptr);
        EXPECT_EQ(stateNow().shm_nattch, 0U);
        EXPECT_EQ(MPU_deleteMpuParams(made), 0);
    }
}

TEST_F(GetMpuParams, ADetachedBlockIsStillThereAndADeletedOneStaysWithThoseWhoHaveIt) {
    const int made = makeBlock(15);
    ASSERT_EQ(get(), "");
    EXPECT_EQ(MPU_detachMpuParams(block), 0);
    EXPECT_EQ(attachedSegments(), 0);
    EXPECT_EQ(segmentNow(), made);
    EXPECT_EQ(MPU_detachMpuParams(block), -1);
    EXPECT_EQ(errno, EINVAL);
    ASSERT_EQ(get(), "");
    EXPECT_EQ(MPU_deleteMpuParams(made), 0);
    EXPECT_EQ(segmentNow(), -1);
    EXPECT_EQ(block->version, 15U);
    EXPECT_EQ(MPU_detachMpuParams(block), 0);
    EXPECT_EQ(MPU_deleteMpuParams(made), -1);
    EXPECT_TRUE(errno == EINVAL || errno == EIDRM) << errno;
}
