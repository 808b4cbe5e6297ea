/** The semaphore of the CMAP block. */
#include <chrono>
#include <ctime>
#include <gtest/gtest.h>
#include <latch>
#include <sys/mman.h>
#include <thread>
#include <vector>

#include "child_with_log.h"
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

TEST(MpuSemaphore, OfManyWhoTakeAtOnceEachTakesOne) {
    MPU_SEMAPHORE_t semaphore{};
    constexpr int TAKEN = 50000;
    (void)mpuSemaphore_Init(&semaphore, 4 * TAKEN);
    std::latch all(4);
    std::vector<std::thread> takers;
    for (int i = 0; i < 4; ++i) {
        takers.emplace_back([&] {
            all.arrive_and_wait();
            for (int taken = 0; taken < TAKEN; ++taken) {
                mpuSemaphore_Get(&semaphore);
            }
        });
    }
    for (std::thread& taker : takers) {
        taker.join();
    }
    EXPECT_EQ(semaphore.count, 0U);
}

TEST(MpuSemaphore, WhoeverWaitsSleeps) {
    MPU_SEMAPHORE_t semaphore{};
    (void)mpuSemaphore_Init(&semaphore, 0);
    timespec used{};
    std::thread waiter([&] {
        mpuSemaphore_Get(&semaphore);
        (void)clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    mpuSemaphore_Put(&semaphore);
    waiter.join();
    EXPECT_EQ(used.tv_sec, 0);
    EXPECT_LT(used.tv_nsec, 100'000'000) << "of the 400 ms that it waited";
}

TEST(MpuSemaphore, TheCountIsUpBeforeAWaiterWakes) {
    MPU_SEMAPHORE_t semaphore{};
    (void)mpuSemaphore_Init(&semaphore, 0);
    // On one processor who is idle otherwise makes room at once for whom it wakes.
    const auto start = [](int policy, auto action) {
        return std::thread([policy, action] {
            cpu_set_t first;
            CPU_ZERO(&first);
            CPU_SET(0, &first);
            (void)pthread_setaffinity_np(pthread_self(), sizeof(first), &first);
            const sched_param none{};
            (void)pthread_setschedparam(pthread_self(), policy, &none);
            action();
        });
    };
    std::thread waiter = start(SCHED_OTHER, [&] { mpuSemaphore_Get(&semaphore); });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    start(SCHED_IDLE, [&] { mpuSemaphore_Put(&semaphore); }).join();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(semaphore.count, 0U) << "the waiter sleeps on";
    mpuSemaphore_Put(&semaphore);
    waiter.join();
}

TEST(MpuSemaphore, ACountThatCannotBeLeavesTheOneThatIs) {
    auto* const semaphore = static_cast<MPU_SEMAPHORE_t*>(
        mmap(nullptr, sizeof(MPU_SEMAPHORE_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(semaphore, MAP_FAILED);
    EXPECT_EQ(mpuSemaphore_Init(semaphore, 5), 0);
    EXPECT_NE(endOf([&] { (void)mpuSemaphore_Init(semaphore, 0x80000000); }), "");
    EXPECT_EQ(semaphore->count, 5U) << "other processes use it";
    (void)munmap(semaphore, sizeof(MPU_SEMAPHORE_t));
}

TEST(MpuSemaphore, MoreThanItCanCountAndEndingItTwiceEndTheProcess) {
    MPU_SEMAPHORE_t semaphore{};
    EXPECT_EQ(mpuSemaphore_Init(&semaphore, 0x7FFFFFFF), 0);
    EXPECT_EQ(semaphore.count, 0x7FFFFFFFU);
    EXPECT_EQ(endOf([&] { (void)mpuSemaphore_Init(&semaphore, 0x80000000); }),
              "MPU_BUGCHECK() encountered: Invalid argument\n: mpuSemaphore_Init(): init failure.\nexit(0x40000008)");
    EXPECT_EQ(mpuSemaphore_Done(&semaphore), 0) << "the greatest count is one";
    EXPECT_EQ(endOf([&] { (void)mpuSemaphore_Done(&semaphore); }),
              "MPU_BUGCHECK() encountered: Invalid argument\n: mpuSemaphore_Done(): done failure.\nexit(0x40000009)");
}
