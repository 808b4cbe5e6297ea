/** The semaphore of the CMAP block. */
#include <chrono>
#include <cstdarg>
#include <ctime>
#include <gtest/gtest.h>
#include <latch>
#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "child_with_log.h"
#include "mpu_gbl.h"

namespace {

U32_t countAtWake; /**< of the semaphore whose waiter is woken last */

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): names that the linker's --wrap gives
extern "C" {
long __real_syscall(long number, ...);
long __wrap_syscall(long number, ...);

long __wrap_syscall(long number, ...) {
    long words[6];
    va_list list;
    va_start(list, number);
    for (long& word : words) {
        word = va_arg(list, long);
    }
    va_end(list);
    if (number == SYS_futex && static_cast<int>(words[1]) == FUTEX_WAKE) {
        countAtWake = *reinterpret_cast<const U32_t*>(words[0]); // NOLINT(performance-no-int-to-ptr): the caller's
    }
    return __real_syscall(number, words[0], words[1], words[2], words[3], words[4], words[5]);
}
} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

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
    constexpr int TAKEN = 300000;
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
    countAtWake = 99;
    mpuSemaphore_Put(&semaphore);
    EXPECT_EQ(countAtWake, 1U);
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
