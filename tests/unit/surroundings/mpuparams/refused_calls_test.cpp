/** What the system refuses is told as it is, and leaves nothing behind. */
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <sys/ipc.h>
#include <sys/resource.h>
#include <sys/shm.h>
#include <unistd.h>

#include "calls.h"
#include "closed_input.h"
#include "tool.h"

using Refused = ToolTest;
using calls::Answer_t;

namespace {

std::optional<uid_t> user; /**< who runs the program */
int syncError = 0;
bool isMemoryShort = false;

} // namespace

extern "C" {

int __real_fsync(int fd);
uid_t __real_geteuid();
FILE* __real_open_memstream(char** text, std::size_t* size);

int __wrap_fsync(int fd) {
    errno = syncError;
    return syncError == 0 ? __real_fsync(fd) : -1;
}

uid_t __wrap_geteuid() {
    return user ? *user : __real_geteuid();
}

FILE* __wrap_open_memstream(char** text, std::size_t* size) {
    return isMemoryShort ? nullptr : __real_open_memstream(text, size);
}

} // extern "C"

TEST_F(Refused, WhoHasNoPermissionIsToldWhoHas) {
    segment.make(std::string(744, '\0'));
    const std::pair<std::vector<std::string>, int> cases[] = {
        {{"show"}, 0400}, {{"set", "slotId=1"}, 0600}, {{"delete"}, 0600}};
    for (const auto& [words, permissions] : cases) {
        int asked = -1;
        const Answer_t denied(calls::shmget, [&](key_t, std::size_t, int flags) {
            asked = flags;
            errno = EACCES;
            return -1;
        });
        EXPECT_REFUSED(tool(words[0], {words.begin() + 1, words.end()}), 2,
                       "no permission for the parameter block with key " + keyText +
                           "; only its owner and root have it");
        EXPECT_EQ(asked, permissions) << words[0];
    }
}

TEST_F(Refused, ABlockThatAnyoneMayWriteIsStillItsOwnersAndRootsToRemove) {
    const struct {
        uid_t user, owner, creator;
        bool may;
    } cases[] = {{0, 7, 7, true},  {7, 7, 8, true},    {7, 8, 7, true},
                 {7, 8, 8, false}, {263, 7, 7, false}, {65536, 7, 7, false}};
    for (const auto& c : cases) {
        if (segment.id() < 0) {
            segment.make(std::string(744, '\0'));
        }
        user = c.user;
        const Answer_t owned(calls::shmctl, [&](int id, int command, shmid_ds* state) {
            const int result = calls::realShmctl(id, command, state);
            if (command == IPC_STAT) {
                state->shm_perm.uid = c.owner;
                state->shm_perm.cuid = c.creator;
            }
            return result;
        });
        const Result_t result = tool("delete");
        user.reset();
        EXPECT_EQ(result.status, c.may ? 0 : 2) << c.user;
        EXPECT_EQ(result.err, c.may ? ""
                                    : "mpuparams: the parameter block with key " + keyText + " belongs to user " +
                                          std::to_string(c.owner) + "; only its owner and root can remove it\n");
        EXPECT_EQ(segment.id() < 0, c.may) << c.user;
    }
}

TEST_F(Refused, WhatTheSystemSaysOfASegmentIsTold) {
    const std::string config = files.write("a.conf", "Version = 15\n");
    const struct {
        std::vector<std::string> words;
        std::function<void()> refuse;
        std::string message;
    } cases[] = {
        {{"create", "--config", config, "slotId=1"},
         [] { calls::shmget.failWith(ENOSPC, 1); },
         "no parameter block can be created from " + config + ": No space left on device"},
        {{"create", "--config", config, "slotId=1"},
         [] { calls::shmget.failWith(ENOSPC, 2); },
         "no parameter block was created with key " + keyText + ": No space left on device"},
        {{"create", "--config", config},
         [] { calls::shmat.failWith(ENOMEM); },
         "no parameter block can be created from " + config +
             ": Error mapping the MPU shared memory area to virtual memory."},
        {{"create", "--config", config}, [] {}, ""},
        {{"show"},
         [] { calls::shmget.failWith(ENFILE); },
         "cannot open the parameter block with key " + keyText + ": Too many open files in system"},
        {{"show"},
         [] { calls::shmctl.failWith(EIDRM); },
         "cannot open the parameter block with key " + keyText + ": Identifier removed"},
        {{"show"},
         [] { calls::shmat.failWith(ENOMEM); },
         "cannot attach the parameter block with key " + keyText + ": Cannot allocate memory"},
        {{"delete"},
         [] { calls::shmctl.failWith(EPERM, 2); },
         "cannot delete the parameter block with key " + keyText + ": Operation not permitted"},
    };
    for (const auto& c : cases) {
        c.refuse();
        const Result_t result = tool(c.words[0], {c.words.begin() + 1, c.words.end()});
        EXPECT_EQ(result.status, c.message.empty() ? 0 : 2) << c.message;
        EXPECT_EQ(result.err, c.message.empty() ? "" : "mpuparams: " + c.message + "\n");
    }
}

TEST_F(Refused, AnImageThatCannotBeWrittenLeavesTheOldOneAndNoOther) {
    createFrom("");
    const std::string path = files.write("image", "old");
    const std::size_t there = filesInFolder();
    const auto expect = [&](const std::string& reason) {
        EXPECT_REFUSED(tool("image", {path}), 2, "cannot write " + path + ": " + reason);
        EXPECT_EQ(testsupport::readFile(path), "old");
        EXPECT_EQ(filesInFolder(), there);
    };
    for (const ssize_t written : {0, 255, 488, 743}) {
        const Answer_t full(calls::write, [&](int, const void*, std::size_t) {
            errno = 0;
            return written;
        });
        expect("No space left on device");
    }
    calls::write.failWith(EFBIG);
    expect("File too large");
    calls::fchmod.failWith(EPERM);
    expect("Operation not permitted");
    syncError = EIO;
    expect("Input/output error");
    syncError = 0;
    calls::rename.failWith(EBUSY);
    expect("Device or resource busy");
}

TEST_F(Refused, AnImageIsWrittenWhollyOrNotAtAllWhereStandardInputIsClosed) {
    createFrom("");
    const std::string path = files.path("image");
    const std::size_t there = filesInFolder();
    for (const int error : {EIO, 0}) {
        std::optional<testsupport::ClosedInput_t> closed;
        const Answer_t attach(calls::shmat, [&](int id, const void* address, int flags) {
            closed.emplace(); // the next that is opened is the image
            return __real_shmat(id, address, flags);
        });
        syncError = error;
        const Result_t result = tool("image", {path});
        closed.reset();
        EXPECT_EQ(result.status, error == 0 ? 0 : 2) << result.err;
        EXPECT_EQ(filesInFolder(), there + (error == 0 ? 1 : 0));
    }
}

TEST_F(Refused, AFullDiskBehindStandardOutputIsTold) {
    createFrom("");
    EXPECT_REFUSED(run({"show", "--key", std::to_string(key)}, "/dev/full"), 2, "cannot write to standard output");
}

TEST_F(Refused, WithoutMemoryOrDescriptorsNothingIsCreated) {
    const std::string config = files.write("a.conf", "Version = 15\n");
    isMemoryShort = true;
    EXPECT_REFUSED(tool("create", {"--config", config}), 2, "out of memory");
    isMemoryShort = false;
    std::array<int, 4> caught{}; // as many as it takes to catch what the program prints
    for (int& descriptor : caught) {
        descriptor = dup(STDERR_FILENO);
    }
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit few = {static_cast<rlim_t>(caught.back()) + 1, before.rlim_max};
    for (const int descriptor : caught) {
        (void)close(descriptor);
    }
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    const Result_t result = tool("create", {"--config", config});
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_REFUSED(result, 2, "cannot read " + config + ": Too many open files");
    EXPECT_EQ(segment.id(), -1);
}

TEST_F(Refused, ASegmentWhoseIdIsZeroIsNoRefusal) {
    createFrom("Slot = 3\n");
    const int id = segment.id();
    const Answer_t get(calls::shmget, [&](key_t asked, std::size_t size, int flags) {
        const int found = __real_shmget(asked, size, flags);
        errno = found == id ? ENOENT : errno; // which a call that succeeds may leave there
        return found == id ? 0 : found;
    });
    const Answer_t attach(calls::shmat, [&](int asked, const void* address, int flags) {
        return __real_shmat(asked == 0 ? id : asked, address, flags);
    });
    const Answer_t control(calls::shmctl, [&](int asked, int command, shmid_ds* state) {
        return calls::realShmctl(asked == 0 ? id : asked, command, state);
    });
    EXPECT_EQ(shown("slotId"), "3");
    EXPECT_TRUE(
        tool("create", {"--config", files.path("platform.conf")}).out.ends_with(", in place of an older one\n"));
}

TEST_F(Refused, TheSegmentInWhichASourceIsTriedOutGoes) {
    const std::string config = files.write("a.conf", "Version = 15\n");
    int removed = 0;
    const Answer_t counted(calls::shmctl, [&](int id, int command, shmid_ds* state) {
        removed += command == IPC_RMID ? 1 : 0;
        return calls::realShmctl(id, command, state);
    });
    EXPECT_EQ(tool("create", {"--config", config}).status, 0);
    EXPECT_EQ(removed, 1);
    (void)run({"check", config});
    EXPECT_EQ(removed, 2);
}
