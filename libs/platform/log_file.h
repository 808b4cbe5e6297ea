/**
 * A log of lines that several processes append to: bounded, turned over without losing a line, never opened through a
 * link. Nothing here uses stdio, the heap or a lock that could be waited for without end: a line may come from a signal
 * handler, whose process may have been interrupted right here.
 */
#pragma once

#include <cstddef>
#include <span>

#include "basetypes.h"

/** A log that would grow beyond this many bytes is turned over: it becomes "NAME.1", "NAME.1" becomes "NAME.2" ... */
inline constexpr long long LOG_FILE_LIMIT = 4LL * 1024 * 1024;
/** Older logs kept beside the current one. */
inline constexpr int LOG_FILES_KEPT = 5;

/**
 * Appends `line`, which ends with a line end, to the file `path`, created readable for its group at most. A line whose
 * writing breaks off is taken back; behind a piece of a line that somebody left, it begins on a line of its own.
 * `line[-1]` belongs to the caller and may be overwritten. False when nothing could be kept: the path is no regular
 * file, a link, or cannot be had, or the disk is full.
 */
[[nodiscard]] bool logFileAppend(const CHAR_t* path, std::span<CHAR_t> line);
