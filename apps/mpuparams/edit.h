/** Assignments to fields of a live parameter block. */
#pragma once

#include <span>
#include <string>
#include <vector>

#include "mpu_gbl.h"

/** One change: bytes to store, or flags to raise and lower. */
struct Edit_t {
    std::size_t offset = 0;
    std::string bytes;
    U32_t raise = 0;
    U32_t lower = 0; /**< all of `flags` when they are assigned as a whole */
    bool isFlags = false;
};

/**
 * Understands FIELD=VALUE, FIELD[N]=VALUE, flags+=NAMES and flags-=NAMES. Throws a usage error that says what would
 * be right for the first one that cannot be understood.
 */
[[nodiscard]] std::vector<Edit_t> parseEdits(std::span<const std::string> assignments);

/**
 * Carries the changes out in order. Only the bytes that were named are written, and flags change in one step:
 * other processes raise flags of the same block meanwhile.
 */
void applyEdits(std::span<const Edit_t> edits, U8_t* block);
