/** The semaphore of the CMAP block. */
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "mpu_gbl.h"

TEST(MpuSemaphore, CountsUpAndDown) {
    MPU_SEMAPHORE_t semaphore{};
    EXPECT_EQ(mpuSemaphore_Init(&semaphore, 2), 0);
    mpuSemaphore_Get(&semaphore);
    mpuSemaphore_Get(&semaphore);
    EXPECT_EQ(semaphore.count, 0U);
    mpuSemaphore_Put(&semaphore);
    EXPECT_EQ(semaphore.count, 1U);
    EXPECT_EQ(mpuSemaphore_Done(&semaphore), 0);
}

TEST(MpuSemaphore, EveryWaiterGetsOne) {
    MPU_SEMAPHORE_t semaphore{};
    (void)mpuSemaphore_Init(&semaphore, 0);
    constexpr int ROUNDS = 500;
    std::vector<std::thread> waiters;
    for (int i = 0; i < 4; ++i) {
        waiters.emplace_back([&] {
            for (int round = 0; round < ROUNDS; ++round) {
                mpuSemaphore_Get(&semaphore);
            }
        });
    }
    for (int round = 0; round < 4 * ROUNDS; ++round) {
        mpuSemaphore_Put(&semaphore);
    }
    for (std::thread& waiter : waiters) {
        waiter.join();
    }
    EXPECT_EQ(semaphore.count, 0U);
}

TEST(MpuSemaphore, MoreThanItCanCountAndEndingItTwiceEndTheProcess) {
    MPU_SEMAPHORE_t semaphore{};
    EXPECT_EQ(mpuSemaphore_Init(&semaphore, 0x7FFFFFFF), 0);
    EXPECT_EQ(semaphore.count, 0x7FFFFFFFU);
    EXPECT_EXIT((void)mpuSemaphore_Init(&semaphore, 0x80000000), testing::ExitedWithCode(0x08),
                "MPU_BUGCHECK\\(\\) encountered: Invalid argument\n: mpuSemaphore_Init\\(\\): init failure\\.\n");
    (void)mpuSemaphore_Done(&semaphore);
    EXPECT_EXIT((void)mpuSemaphore_Done(&semaphore), testing::ExitedWithCode(0x09),
                "mpuSemaphore_Done\\(\\): done failure\\.\n");
    EXPECT_EQ(MPU_K_BUGCHECK_SEMAPHORE_INIT, 0x40000008U);
    EXPECT_EQ(MPU_K_BUGCHECK_SEMAPHORE_DONE, 0x40000009U);
}
