/** Whose segment may be touched: what the program asks the kernel, answered as for another user. */
#include "segment.h"

#include <cerrno>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/types.h>

#include "errors.h"
#include "tool.h"

namespace {

constexpr uid_t ANOTHER_USER = 54321;
bool anotherUser = false; /**< the program runs as ANOTHER_USER */
bool denied = false;      /**< and the segment's permissions are its owner's alone */

} // namespace

extern "C" {

uid_t __real_geteuid();
int __real_shmget(key_t key, std::size_t size, int flags);

uid_t __wrap_geteuid() {
    return anotherUser ? ANOTHER_USER : __real_geteuid();
}

int __wrap_shmget(key_t key, std::size_t size, int flags) {
    if (denied && (flags & 0777) != 0) {
        errno = EACCES;
        return -1;
    }
    return __real_shmget(key, size, flags);
}

} // extern "C"

class Segment : public ToolTest {
protected:
    ~Segment() override {
        anotherUser = false;
        denied = false;
    }

    template <typename Action>
    static std::string refusalOf(Action action) {
        try {
            action();
        } catch (const ToolError_t& error) {
            EXPECT_EQ(error.exitStatus(), 2);
            return error.what();
        }
        return "";
    }
};

TEST_F(Segment, ItsOwnerMayRemoveIt) {
    segment.make(std::string(744, '\0'));
    EXPECT_EQ(findRemovable(key), segment.id());
}

TEST_F(Segment, WhoHasNoPermissionIsToldWhoHas) {
    segment.make(std::string(744, '\0'));
    anotherUser = true;
    denied = true;
    const std::string message =
        "no permission for the parameter block with key " + keyText() + "; only its owner and root have it";
    EXPECT_EQ(refusalOf([&] { (void)findSegment(key, 0400); }), message);
    EXPECT_EQ(refusalOf([&] { (void)findRemovable(key); }), message);
    EXPECT_EQ(refusalOf([&] { const AttachedBlock_t block(key, AttachedBlock_t::Access_e::WRITE); }), message);
}

TEST_F(Segment, ABlockThatAnyoneMayWriteIsStillItsOwnersToRemove) {
    segment.make(std::string(744, '\0'));
    struct shmid_ds state = {};
    ASSERT_EQ(shmctl(segment.id(), IPC_STAT, &state), 0);
    anotherUser = true;
    EXPECT_EQ(refusalOf([&] { (void)findRemovable(key); }),
              "the parameter block with key " + keyText() + " belongs to user " + std::to_string(state.shm_perm.uid) +
                  "; only its owner and root can remove it");
}
