/** Bytes of a serial line, with limits of time. All limits are in milliseconds of monotonicMs(). */
#pragma once

#include <cstdint>
#include <span>

#include "basetypes.h"

/** Waits for input until `deadlineMs`; false with errno set (ETIMEDOUT, EIO: closed) when none comes. */
[[nodiscard]] bool lineWait(int fd, std::int64_t deadlineMs);

/** Fills `bytes`, in however many pieces they come; false with errno set. */
[[nodiscard]] bool lineReceive(int fd, std::span<U8_t> bytes, std::int64_t deadlineMs);

/** Sends `bytes` in one write: the far end finds a frame by its first byte. False with errno set. */
[[nodiscard]] bool lineSend(int fd, std::span<const U8_t> bytes);

/**
 * Throws away all input that has arrived and all output that nobody has taken: a far end that was stopped for a while
 * must not answer everything when it wakes, and a full line must not block the next write.
 */
void lineClear(int fd);
