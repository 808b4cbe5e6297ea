#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <ostream>
#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "calls.h"
#include "child_with_log.h"
#include "osdep.h"

namespace {

static_assert(offsetof(LIST_t, flink) == 0 && offsetof(LIST_t, blink) == sizeof(void*));

/** The plain form of the operations or the `_safe` one: both keep the same rules. */
struct Form_t {
    const char* name;
    void (*initHead)(LIST_t*);
    void (*insertHead)(LIST_t*, LIST_t*);
    void (*insertTail)(LIST_t*, LIST_t*);
    LIST_t* (*remove)(LIST_t*);
    LIST_t* (*removeHead)(LIST_t*);
    LIST_t* (*removeTail)(LIST_t*);
    bool (*isEmpty)(const LIST_t*);
    const char* headText;
    const char* tailText;
    int yields; /**< of an operation that finds the spin lock taken and gets it at the third try */
};

void PrintTo(const Form_t& test, std::ostream* out) {
    *out << test.name;
}

// clang-format off
const Form_t PLAIN = {"Plain", MPU_init_listhead, MPU_insert_on_list_head, MPU_insert_on_list_tail,
                      MPU_remove_from_list, MPU_remove_from_list_head, MPU_remove_from_list_tail, MPU_list_mt,
                      "Listhead is not orphanized", "Listhead is Not Orphanized", 0};
const Form_t SAFE = {"Safe", MPU_init_listhead_safe, MPU_insert_on_list_head_safe, MPU_insert_on_list_tail_safe,
                     MPU_remove_from_list_safe, MPU_remove_from_list_head_safe, MPU_remove_from_list_tail_safe,
                     MPU_list_mt_safe, "Listhead is not Orphanized", " Listhead is not Orphanized", 3};
// clang-format on

/** Calls of sched_yield() that `action` makes; that of the number `freeAfter` sets `lock` free. */
int yieldsOf(const std::function<void()>& action, U32_t& lock, int freeAfter) {
    int count = 0;
    const calls::Answer_t counted(calls::sched_yield, [&] {
        lock = ++count == freeAfter ? 1 : lock;
        return 0;
    });
    action();
    return count;
}

class Lists : public testing::TestWithParam<Form_t> {
protected:
    Lists() {
        list.initHead(&head);
        for (LIST_t& element : elements) {
            list.initHead(&element);
        }
    }
    ~Lists() override { EXPECT_EQ(spinlock, 1U); }

    /** Elements from front to back; checks the back links on the way. */
    std::vector<int> order() {
        std::vector<int> result;
        const LIST_t* before = &head;
        for (const LIST_t* at = head.flink; at != &head; at = at->flink) {
            EXPECT_EQ(at->blink, before);
            result.push_back(static_cast<int>(at - elements.data()));
            before = at;
        }
        EXPECT_EQ(head.blink, before);
        return result;
    }

    bool isOrphan(std::size_t element) const {
        return elements[element].flink == &elements[element] && elements[element].blink == &elements[element];
    }

    const Form_t& list = GetParam();
    LIST_t head{};
    std::array<LIST_t, 4> elements{};
};

INSTANTIATE_TEST_SUITE_P(Form, Lists, testing::Values(PLAIN, SAFE), [](const auto& test) { return test.param.name; });

TEST_P(Lists, InsertAtHeadPutsInFrontAndAtTailBehind) {
    EXPECT_EQ(order(), (std::vector<int>{}));
    EXPECT_TRUE(list.isEmpty(&head));
    list.insertHead(&head, &elements[0]);
    list.insertHead(&head, &elements[1]);
    list.insertTail(&head, &elements[2]);
    list.insertTail(&head, &elements[3]);
    EXPECT_EQ(order(), (std::vector<int>{1, 0, 2, 3}));
    EXPECT_FALSE(list.isEmpty(&head));
}

TEST_P(Lists, RemoveTakesAnyElementOutAndOrphansIt) {
    for (LIST_t& element : elements) {
        list.insertTail(&head, &element);
    }
    for (const std::size_t middleFrontBack : {1U, 0U, 3U}) {
        EXPECT_EQ(list.remove(&elements[middleFrontBack]), &elements[middleFrontBack]);
        EXPECT_TRUE(isOrphan(middleFrontBack));
    }
    EXPECT_EQ(order(), (std::vector<int>{2}));
    list.insertHead(&head, &elements[1]);
    EXPECT_EQ(order(), (std::vector<int>{1, 2}));
}

TEST_P(Lists, RemoveHeadAndTailReturnFirstAndLastOrphanedAndNoneOfAnEmptyList) {
    EXPECT_EQ(list.removeHead(&head), nullptr);
    EXPECT_EQ(list.removeTail(&head), nullptr);
    EXPECT_EQ(order(), (std::vector<int>{}));
    for (LIST_t& element : elements) {
        list.insertTail(&head, &element);
    }
    EXPECT_EQ(list.removeHead(&head), &elements[0]);
    EXPECT_TRUE(isOrphan(0));
    EXPECT_EQ(list.removeTail(&head), &elements[3]);
    EXPECT_TRUE(isOrphan(3));
    EXPECT_EQ(order(), (std::vector<int>{1, 2}));
}

TEST_P(Lists, InsertOfAnElementOnAListEndsTheProcess) {
    list.insertTail(&head, &elements[0]);
    list.insertTail(&head, &elements[1]);
    for (const bool atHead : {true, false}) {
        const ChildResult_t child = runInChild([&] {
            (void)std::setvbuf(stdout, nullptr, _IONBF, 0);
            (void)dup2(STDERR_FILENO, STDOUT_FILENO);
            errno = EPERM;
            (atHead ? list.insertHead : list.insertTail)(&head, &elements[0]);
        });
        EXPECT_EQ(child.exitStatus, 0); // the low eight bits
        EXPECT_EQ(child.err, std::string("Linux Error: : Operation not permitted\n") +
                                 (atHead ? list.headText : list.tailText) + "exit(0x40000000)");
    }
}

TEST_P(Lists, AnElementWithOneLinkElsewhereIsNotOrphaned) {
    for (const bool forward : {true, false}) {
        (forward ? elements[0].flink : elements[0].blink) = &elements[1];
        (forward ? elements[0].blink : elements[0].flink) = &elements[0];
        EXPECT_EQ(runInChild([&] { list.insertHead(&head, &elements[0]); }).out, list.headText);
        EXPECT_EQ(runInChild([&] { list.insertTail(&head, &elements[0]); }).out, list.tailText);
    }
}

TEST_P(Lists, OnlyTheSafeFormWaitsForTheSpinLock) {
    LIST_t* element = &elements[0];
    const std::function<void()> operations[] = {
        [&] { list.initHead(&head); },   [&] { list.insertHead(&head, element); },
        [&] { list.remove(element); },   [&] { list.insertTail(&head, element); },
        [&] { list.removeHead(&head); }, [&] { list.removeTail(&head); },
        [&] { list.isEmpty(&head); },
    };
    for (const auto& operation : operations) {
        spinlock = 0;
        EXPECT_EQ(yieldsOf(operation, spinlock, 3), list.yields) << &operation - operations;
        EXPECT_EQ(spinlock, list.yields == 0 ? 0U : 1U) << &operation - operations;
    }
    spinlock = 1;
}

TEST(SafeLists, FailingInsertLeavesTheSpinLockFree) {
    const ChildResult_t child = runInChild([] {
        static LIST_t head;
        static LIST_t element;
        MPU_init_listhead(&head);
        MPU_init_listhead(&element);
        MPU_insert_on_list_head(&head, &element);
        (void)std::atexit([] { (void)MPU_remove_from_list_safe(&element); });
        alarm(20);
        MPU_insert_on_list_head_safe(&head, &element);
    });
    EXPECT_EQ(child.signal, 0);
    EXPECT_EQ(child.exitStatus, 0);
}

TEST(SafeLists, SeveralThreadsLoseNoElement) {
    constexpr int THREADS = 3;
    constexpr int ROUNDS = 2000;
    LIST_t full{};
    LIST_t done{};
    MPU_init_listhead_safe(&full);
    MPU_init_listhead_safe(&done);
    std::array<LIST_t, 30> elements{};
    for (LIST_t& element : elements) {
        MPU_init_listhead_safe(&element);
        MPU_insert_on_list_tail_safe(&full, &element);
    }
    std::vector<std::thread> workers;
    for (int t = 0; t < THREADS; ++t) {
        workers.emplace_back([&, t] {
            for (int i = 0; i < ROUNDS; ++i) {
                LIST_t* from = i % 2 == 0 ? &full : &done;
                LIST_t* to = i % 2 == 0 ? &done : &full;
                LIST_t* element = (t % 2 == 0 ? MPU_remove_from_list_head_safe : MPU_remove_from_list_tail_safe)(from);
                if (element != nullptr) {
                    (i % 3 == 0 ? MPU_insert_on_list_head_safe : MPU_insert_on_list_tail_safe)(to, element);
                }
            }
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    std::set<const LIST_t*> seen;
    for (LIST_t* head : {&full, &done}) {
        while (LIST_t* element = MPU_remove_from_list_head_safe(head)) {
            EXPECT_TRUE(seen.insert(element).second);
        }
    }
    EXPECT_EQ(seen.size(), 30U);
    EXPECT_EQ(spinlock, 1U);
}

TEST(SpinLock, DecrementsOnlyWhenTheResultIsNotNegative) {
    U32_t word = 2;
    EXPECT_EQ(atomic_dec_if_positive(&word), 1);
    EXPECT_EQ(word, 1U);
    EXPECT_EQ(atomic_dec_if_positive(&word), 0);
    EXPECT_EQ(word, 0U);
    EXPECT_EQ(atomic_dec_if_positive(&word), -1);
    EXPECT_EQ(word, 0U);
}

TEST(SpinLock, YieldsTheProcessorAfterEachFailure) {
    U32_t own = 1;
    EXPECT_EQ(yieldsOf([&] { mpuSpinLock_Get(&own); }, own, 5), 0);
    EXPECT_EQ(yieldsOf([&] { mpuSpinLock_Get(&own); }, own, 5), 5);
    EXPECT_EQ(own, 0U);
    mpuSpinLock_Release(&own);
    EXPECT_EQ(own, 1U);
}

TEST(SpinLock, WaitsUntilTheHolderGivesItBack) {
    mpuSpinLock_Get(&spinlock);
    std::atomic<bool> released = false;
    bool releasedFirst = false;
    std::thread waiter([&] {
        mpuSpinLock_Get(&spinlock);
        releasedFirst = released;
        mpuSpinLock_Release(&spinlock);
    });
    MPU_usleep(20000);
    released = true;
    mpuSpinLock_Release(&spinlock);
    waiter.join();
    EXPECT_TRUE(releasedFirst);
}

} // namespace
