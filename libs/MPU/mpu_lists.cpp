#include <cstdio>
#include <cstdlib>

#include "osdep.h"

namespace {

/** Holds the one spin lock of the `_safe` operations. */
class SpinLockGuard_t {
public:
    SpinLockGuard_t() { mpuSpinLock_Get(&spinlock); }
    SpinLockGuard_t(const SpinLockGuard_t&) = delete;
    SpinLockGuard_t& operator=(const SpinLockGuard_t&) = delete;
    ~SpinLockGuard_t() { mpuSpinLock_Release(&spinlock); }
};

/** Links `element` behind `before`; false, and nothing done, when the element is on a list. */
bool insertBehind(LIST_t* before, LIST_t* element) {
    if (element->flink != element || element->blink != element) {
        return false;
    }
    element->flink = before->flink;
    element->blink = before;
    before->flink->blink = element;
    before->flink = element;
    return true;
}

bool insertBehindSafe(LIST_t* before, LIST_t* element) {
    const SpinLockGuard_t guard;
    return insertBehind(before, element);
}

/** The tail is read under the lock: another thread may be moving it. */
bool insertBeforeSafe(LIST_t* after, LIST_t* element) {
    const SpinLockGuard_t guard;
    return insertBehind(after->blink, element);
}

/** The spin lock is free by now: whatever runs at exit may use a list again. */
[[noreturn]] void failNotOrphaned(const CHAR_t* message) {
    std::perror("Linux Error: ");
    (void)std::fputs(message, stdout);
    std::exit(static_cast<int>(MPU_K_BUGCHECK_LIST));
}

} // namespace

void MPU_init_listhead(LIST_t* head) {
    head->flink = head;
    head->blink = head;
}

void MPU_init_listhead_safe(LIST_t* head) {
    const SpinLockGuard_t guard;
    MPU_init_listhead(head);
}

// The four messages are told apart by their spelling, so each keeps its own.

void MPU_insert_on_list_head(LIST_t* head, LIST_t* element) {
    if (!insertBehind(head, element)) {
        failNotOrphaned("Listhead is not orphanized");
    }
}

void MPU_insert_on_list_head_safe(LIST_t* head, LIST_t* element) {
    if (!insertBehindSafe(head, element)) {
        failNotOrphaned("Listhead is not Orphanized");
    }
}

void MPU_insert_on_list_tail(LIST_t* head, LIST_t* element) {
    if (!insertBehind(head->blink, element)) {
        failNotOrphaned("Listhead is Not Orphanized");
    }
}

void MPU_insert_on_list_tail_safe(LIST_t* head, LIST_t* element) {
    if (!insertBeforeSafe(head, element)) {
        failNotOrphaned(" Listhead is not Orphanized");
    }
}

LIST_t* MPU_remove_from_list(LIST_t* element) {
    element->blink->flink = element->flink;
    element->flink->blink = element->blink;
    MPU_init_listhead(element);
    return element;
}

LIST_t* MPU_remove_from_list_safe(LIST_t* element) {
    const SpinLockGuard_t guard;
    return MPU_remove_from_list(element);
}

LIST_t* MPU_remove_from_list_head(LIST_t* head) {
    return MPU_list_mt(head) ? nullptr : MPU_remove_from_list(head->flink);
}

LIST_t* MPU_remove_from_list_head_safe(LIST_t* head) {
    const SpinLockGuard_t guard;
    return MPU_remove_from_list_head(head);
}

LIST_t* MPU_remove_from_list_tail(LIST_t* head) {
    return MPU_list_mt(head) ? nullptr : MPU_remove_from_list(head->blink);
}

LIST_t* MPU_remove_from_list_tail_safe(LIST_t* head) {
    const SpinLockGuard_t guard;
    return MPU_remove_from_list_tail(head);
}

bool MPU_list_mt(const LIST_t* head) {
    return head->flink == head;
}

bool MPU_list_mt_safe(const LIST_t* head) {
    const SpinLockGuard_t guard;
    return MPU_list_mt(head);
}
