/** The segment of a live parameter block. */
#pragma once

#include <string>

#include "mpu_gbl.h"

/** An attached block of this release's version; detached at the end. */
class AttachedBlock_t {
public:
    enum class Access_e { READ, WRITE };

    /** Throws a failure that says what is wrong with the segment of `key`. */
    AttachedBlock_t(int key, Access_e access);
    ~AttachedBlock_t();
    AttachedBlock_t(const AttachedBlock_t&) = delete;
    AttachedBlock_t& operator=(const AttachedBlock_t&) = delete;

    [[nodiscard]] const MPU_PARAMS_t& params() const { return *static_cast<const MPU_PARAMS_t*>(address_); }

    /** The block's bytes; only for a block attached for writing. */
    [[nodiscard]] U8_t* bytes() { return static_cast<U8_t*>(address_); }

private:
    void* address_;
};

/** Id of the block's segment, with permissions as of `mode`; throws a failure if none, or one of another size. */
[[nodiscard]] int findSegment(int key, int mode);

/** Id of the block's segment when this process may remove it; throws a failure as findSegment(), or if it may not. */
[[nodiscard]] int findRemovable(int key);

/** The key as people know it: "4660 (0x00001234)". */
[[nodiscard]] std::string describeKey(int key);
