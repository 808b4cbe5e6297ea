/** Creating the parameter block: the source of its contents, the segment, and every way to fail. */
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/resource.h>
#include <unistd.h>

#include "calls.h"
#include "child_with_log.h"
#include "mpu_gbl.h"
#include "nonxml.h"
#include "segment.h"

using segments::attachedSegments;
using segments::keyText;

namespace {

class CreateMpuParams : public segments::CreateTest {
protected:
    void useText(const std::string& contents) const {
        setenv("NONXML_FILE", files.write("platform.conf", contents).c_str(), 1);
    }

    /** Has the library read `text` into whatever block it has; what that reports. */
    static std::string readMore(const std::string& text) {
        FILE* const stream = std::tmpfile();
        EXPECT_NE(stream, nullptr);
        (void)std::fputs(text.c_str(), stream);
        std::rewind(stream);
        const std::string errors = errorsOf([&] { readNonXML(stream); });
        (void)std::fclose(stream);
        return errors;
    }
};

/** All are counted: capturing standard error takes and gives back the lowest free one meanwhile. */
std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

} // namespace

TEST_F(CreateMpuParams, FromATextFileWhichGoesBeforeTheImage) {
    useText("Version = 15\nChassisType = QUADRA\nMmsgDirectory = /var/mmsg\nCacheValid\n");
    setenv("CONFIG_FILE", (folder + "/none.bin").c_str(), 1);
    expectBlock();
    EXPECT_EQ(block->version, 15U);
    EXPECT_EQ(block->chassisType, 3);
    EXPECT_STREQ(block->mmsgDirectory, "/var/mmsg");
    EXPECT_EQ(block->flags, 0x10U);
    const struct shmid_ds state = stateNow();
    EXPECT_EQ(state.shm_segsz, 744U);
    EXPECT_EQ(state.shm_perm.mode & 0777, 0600);
    EXPECT_EQ(state.shm_nattch, 1U);
}

TEST_F(CreateMpuParams, WhatALineOfTheTextFileLacksIsReportedAndTheRestIsReadAndSeenByOthers) {
    useText("Version = 15\nBanana\nSlot = 2\nAdapter = 2-3/4\n");
    expectBlock("+++ Warning: Unrecognized flag in configuration file: Banana\n");
    const MPU_PARAMS_t* const attached = MPU_getMpuParams(key);
    ASSERT_NE(attached, nullptr);
    EXPECT_NE(attached, block);
    EXPECT_EQ(attached->slotId, 2U);
    U32_t behind = 0;
    std::memcpy(&behind, reinterpret_cast<const U8_t*>(block) + 744, sizeof(behind));
    EXPECT_EQ(behind, 0x00030004U) << "the index behind the last array stays in the segment's page";
}

TEST_F(CreateMpuParams, ATextFileThatIsMissingLeavesAnOlderSegmentAlone) {
    for (const auto& [path, why] : {std::pair{files.write("file", "") + "/none.conf", "Not a directory"},
                                    {folder + "/none.conf", "No such file or directory"}}) {
        setenv("NONXML_FILE", path.c_str(), 1);
        expectFailure("Error: Unable to open " + path + ".\n       " + why + "\n");
    }
    const int older = makeSegment(744, 0xEE);
    (void)create();
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(segmentNow(), older);
}

TEST_F(CreateMpuParams, WithoutAnyEnvironment) {
    expectFailure("The environment variable: 'PROJDIR' is not defined!\n");
}

TEST_F(CreateMpuParams, AnOlderSegmentIsReplacedByOneOf744BytesAndTheVersionMayBeLeftOut) {
    useText("NumberOfPorts = 1\n");
    for (const std::size_t size : {744U, 8192U}) {
        const int older = makeSegment(size, 0xEE);
        expectBlock("\nError opening the MPU shared memory area.\n"
                    "Shared segment already existed.\nIt has successfully been removed and recreated.\n\n");
        EXPECT_NE(shmid, older);
        EXPECT_EQ(stateNow().shm_segsz, 744U);
        EXPECT_EQ(block->version, 0U);
        EXPECT_EQ(block->slotId, 0U) << "nothing of the older block is left";
        EXPECT_EQ(block->adapters[1], 0U);
        EXPECT_EQ(MPU_deleteMpuParams(shmid), 0);
    }
}

TEST_F(CreateMpuParams, ASegmentThatCannotBeTakenOrRemovedStays) {
    useText("Version = 15\n");
    for (const std::size_t size : {700U, 744U}) {
        const int older = makeSegment(size, 0xEE);
        calls::shmctl.failWith(size == 744 ? EPERM : 0);
        EXPECT_EQ(create(),
                  "\nError opening the MPU shared memory area.\nShared segment already exists " + keyText(key) + ".\n");
        EXPECT_EQ(block, nullptr);
        EXPECT_EQ(segmentNow(), older);
        EXPECT_EQ(attachedSegments(), 0);
        EXPECT_EQ(MPU_deleteMpuParams(older), 0);
    }
    EXPECT_EQ(shmid, -1);
    (void)makeSegment(744, 0xEE);
    calls::shmget.failWith(ENOSPC, 2); // it cannot be made anew
    expectFailure("\nError opening the MPU shared memory area.\nShared segment already exists " + keyText(key) + ".\n");
}

TEST_F(CreateMpuParams, ASegmentThatSomebodyElseRemovesMeanwhileIsReportedAfterItsRemovalWasTried) {
    useText("Version = 15\n");
    (void)makeSegment(744, 0xEE);
    const calls::Answer_t removed(calls::shmctl, [](int id, int command, shmid_ds* state) {
        (void)std::fputs("somebody else is quicker\n", stderr);
        (void)calls::shmctl.real(id, command, state);
        errno = EIDRM;
        return -1;
    });
    expectFailure(
        "\nError opening the MPU shared memory area.\nsomebody else is quicker\nShared segment already exists " +
        keyText(key) + ".\n");
}

TEST_F(CreateMpuParams, ASegmentMayHaveTheId0AndIsClearedFirst) {
    useText("Version = 15\n");
    const segments::FirstSegment_t first;
    expectBlock();
    EXPECT_EQ(block->slotId, 0U);
    calls::shmget.failWith(EEXIST);
    expectBlock("\nError opening the MPU shared memory area.\n"
                "Shared segment already existed.\nIt has successfully been removed and recreated.\n\n");
    (void)MPU_detachMpuParams(block); // the library forgets it
}

TEST_F(CreateMpuParams, AnyOtherCreationErrorIsReportedByItsTextAndASegmentThatCannotBeAttachedIsRemoved) {
    useText("Version = 15\n");
    calls::shmget.failWith(ENOSPC);
    expectFailure("   No space left on device\n");
    EXPECT_EQ(shmid, -1);
    calls::shmat.failWith(ENOMEM);
    expectFailure("\nError mapping the MPU shared memory area to virtual memory.\n");
    EXPECT_EQ(shmid, -1);
}

TEST_F(CreateMpuParams, NoFileStaysOpen) {
    const auto before = openDescriptors();
    useText("Version = 15\n");
    (void)create();
    EXPECT_EQ(openDescriptors(), before);
    calls::shmat.failWith(ENOMEM);
    (void)create();
    EXPECT_EQ(openDescriptors(), before);
    unsetenv("NONXML_FILE");
    setenv("CONFIG_FILE", files.write("mpu.image", "too short").c_str(), 1);
    (void)create();
    EXPECT_EQ(openDescriptors(), before);
    calls::shmat.failWith(0);
    setenv("CONFIG_FILE", files.write("mpu.image", std::string(744, '\x0F').replace(0, 3, 3, '\0')).c_str(), 1);
    const int input = dup(STDIN_FILENO);
    (void)close(STDIN_FILENO); // its number is the image's now
    EXPECT_NE(MPU_createMpuParams(&shmid, key), nullptr);
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1);
    (void)dup2(input, STDIN_FILENO);
    (void)close(input);
}

TEST_F(CreateMpuParams, TheReaderFillsTheBlockThatWasCreatedUntilItIsDetached) {
    (void)files.write("configMpu.bin", std::string(744, 'x'));
    setenv("PROJDIR", folder.c_str(), 1);
    EXPECT_EQ(create(), "Configuration file '" + files.path("configMpu.bin") +
                            "' contains version 0x78787878 data, but version 0x0000000F data is expected.\n");
    EXPECT_EQ(readMore("Banana\n"), "") << "there is no block yet";
    useText("Version = 15\n");
    (void)create();
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(readMore("Slot = 6\n"), "");
    EXPECT_EQ(block->slotId, 6U);
    EXPECT_EQ(block->version, 15U);
    EXPECT_EQ(MPU_detachMpuParams(block), 0);
    EXPECT_EQ(readMore("Slot = 7\n"), "");
    const MPU_PARAMS_t* const again = MPU_getMpuParams(key);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->slotId, 6U);
}
