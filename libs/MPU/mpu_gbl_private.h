/** What the files of the parameter block share among themselves. */
#pragma once

#include "mpu_gbl.h"

/** The parameter block this process has attached or created last; nullptr before. Writable only if created. */
extern MPU_PARAMS_t* mpuParamsBlock;

/** Prints `text` (may be empty) and then, on a line of its own, the system's text for the current error. */
void mpuReportFailure(const CHAR_t* text);

/**
 * Removes the segment of `key` and makes it anew with `size` bytes and permissions `mode`. Returns the new id, or
 * -1. A segment that is smaller than `size` was never one of ours and is left alone.
 */
[[nodiscard]] S32_t mpuReplaceSegment(int key, std::size_t size, int mode);

/** Attaches the segment read-write (or as `flags` says); nullptr when that fails. */
[[nodiscard]] void* mpuAttachSegment(S32_t shmid, int flags);
