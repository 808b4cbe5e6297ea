/**
 * Operating-system services of the management runtime library: mutex, semaphore, spin lock, intrusive lists, bug
 * check, fatal-signal record, sleep, time zone.
 */
#pragma once

#include <csignal>

#include <pthread.h>

#include "basetypes.h"

/* -------------------------------------------------------------------------------------------- bug check */

/** Statuses that MPU_BUGCHECK() ends the process with (the shell sees their low eight bits). */
inline constexpr U32_t MPU_K_BUGCHECK_LIST = 0x40000000;
inline constexpr U32_t MPU_K_BUGCHECK_MUTEX_INIT = 0x40000004;
inline constexpr U32_t MPU_K_BUGCHECK_MUTEX_DONE = 0x40000005;
inline constexpr U32_t MPU_K_BUGCHECK_MUTEX_GET = 0x40000006;
inline constexpr U32_t MPU_K_BUGCHECK_MUTEX_UNLOCK = 0x40000007;
inline constexpr U32_t MPU_K_BUGCHECK_SEMAPHORE_INIT = 0x40000008;
inline constexpr U32_t MPU_K_BUGCHECK_SEMAPHORE_DONE = 0x40000009;

/** Reports a broken invariant with errno's text and `text` on standard error and ends the process with `status`. */
[[noreturn]] void MPU_BUGCHECK(U32_t status, const CHAR_t* text);

/* -------------------------------------------------------------------------------------- mutex, semaphore */

using MPU_MUTEX_t = pthread_mutex_t;

/** Each ends the process through MPU_BUGCHECK() when the operation fails; the result is always 0. */
S32_t mpuMutex_Init(MPU_MUTEX_t* mutex);
S32_t mpuMutex_InitShared(MPU_MUTEX_t* mutex); /**< usable by every process that maps the mutex */
S32_t mpuMutex_Done(MPU_MUTEX_t* mutex);
S32_t mpuMutex_Get(MPU_MUTEX_t* mutex);
S32_t mpuMutex_Unlock(MPU_MUTEX_t* mutex);

/* ----------------------------------------------------------------------------------- spin lock and lists */

/** The one spin lock of all `_safe` list operations: 1 free, 0 taken. */
extern U32_t spinlock;

/** Decrements `*word` unless the result would be negative; returns the would-be value. */
S32_t atomic_dec_if_positive(U32_t* word);

/** Takes the lock, yielding the processor for as long as somebody else holds it. */
void mpuSpinLock_Get(U32_t* lock);

/** Gives the lock back: stores 1. */
void mpuSpinLock_Release(U32_t* lock);

/** Link of an intrusive list. A head of an empty list and an element on no list (orphaned) point at themselves. */
struct LIST_t {
    LIST_t* flink;
    LIST_t* blink;
};

void MPU_init_listhead(LIST_t* head);
void MPU_init_listhead_safe(LIST_t* head);

/** The element must be orphaned: otherwise the process ends with MPU_K_BUGCHECK_LIST. */
void MPU_insert_on_list_head(LIST_t* head, LIST_t* element);
void MPU_insert_on_list_head_safe(LIST_t* head, LIST_t* element);
void MPU_insert_on_list_tail(LIST_t* head, LIST_t* element);
void MPU_insert_on_list_tail_safe(LIST_t* head, LIST_t* element);

/** Unlinks the element, which is orphaned afterwards, and returns it. */
LIST_t* MPU_remove_from_list(LIST_t* element);
LIST_t* MPU_remove_from_list_safe(LIST_t* element);

/** First or last element, unlinked and orphaned; nullptr when the list is empty. */
LIST_t* MPU_remove_from_list_head(LIST_t* head);
LIST_t* MPU_remove_from_list_head_safe(LIST_t* head);
LIST_t* MPU_remove_from_list_tail(LIST_t* head);
LIST_t* MPU_remove_from_list_tail_safe(LIST_t* head);

/** Whether the list is empty. */
bool MPU_list_mt(const LIST_t* head);
bool MPU_list_mt_safe(const LIST_t* head);

/* ------------------------------------------------------------------------------------------------ others */

/** Zeroes `count` 32-bit words. */
void MPU_lzero(U32_t* buffer, U32_t count);

/**
 * Writes the function-entry and -exit lines "BREAKPOINT" for trace module 1 when bit 0x80 of its level word is set;
 * nothing in a process that has no module 1.
 */
void MPU_breakpoint();

/**
 * Installs the fatal-signal handler for SIGILL, SIGFPE, SIGSEGV, SIGBUS, SIGHUP, SIGTERM and SIGQUIT. A signal
 * that cannot be caught is reported on standard error and left as it is.
 */
void handleUnexpectedSignals();

/**
 * The handler: hands the event log a record of the signal (number, information, interrupted registers, process id
 * and name) and aborts. `information` and `context` may be nullptr.
 */
[[noreturn]] void catchEvent(int signal, siginfo_t* information, void* context);

/**
 * Zone name that /etc/localtime links to ("Europe/Berlin"), in a buffer of the calling thread that the next call
 * writes again; nullptr when there is no link or the name is longer than 32 characters.
 */
const CHAR_t* get_tz();

/** Blocks for `seconds`. Every wait of the adapter goes through here, so that a test can put a clock in its place. */
void MPU_sleep(U32_t seconds);
/** Blocks for `microseconds`. */
void MPU_usleep(U32_t microseconds);
