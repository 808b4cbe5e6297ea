/** Creating the parameter block: the source of its contents, the segment, and every way to fail. */
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <gmock/gmock.h>
#include <iterator>
#include <sys/resource.h>
#include <unistd.h>

#include "faults.h"
#include "mpu_gbl.h"
#include "nonxml.h"
#include "segment.h"

using segments::attachedSegments;
using segments::errorsOf;
using segments::keyText;

namespace {

class CreateMpuParams : public segments::SegmentTest {
protected:
    /** What creating reports; `block` and `shmid` hold what it gives. */
    std::string create() {
        return errorsOf([&] { block = MPU_createMpuParams(&shmid, key); });
    }

    void useText(const std::string& contents) const {
        setenv("NONXML_FILE", files.write("platform.conf", contents).c_str(), 1);
    }

    /** Creating failed, nothing is attached and the key has no segment. */
    void expectNothingLeft() const {
        EXPECT_EQ(block, nullptr);
        EXPECT_EQ(segmentNow(), -1);
        EXPECT_EQ(attachedSegments(), 0);
    }

    MPU_PARAMS_t* block = nullptr;
    S32_t shmid = -7;
};

/** All are counted: capturing standard error takes and gives back the lowest free one meanwhile. */
std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

} // namespace

TEST_F(CreateMpuParams, FromATextFile) {
    useText("Version = 15\nChassisType = QUADRA\nMmsgDirectory = /var/mmsg\nCacheValid\n");
    EXPECT_EQ(create(), "");
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->version, 15U);
    EXPECT_EQ(block->chassisType, 3);
    EXPECT_STREQ(block->mmsgDirectory, "/var/mmsg");
    EXPECT_EQ(block->flags, 0x10U);
    EXPECT_EQ(shmid, segmentNow());
    const struct shmid_ds state = stateNow();
    EXPECT_EQ(state.shm_segsz, 744U);
    EXPECT_EQ(state.shm_perm.mode & 0777, 0600);
    EXPECT_EQ(state.shm_nattch, 1U);
}

TEST_F(CreateMpuParams, TheNewBlockCanBeAttachedByOthers) {
    useText("Version = 15\nSlot = 1\n");
    EXPECT_EQ(create(), "");
    const MPU_PARAMS_t* const attached = MPU_getMpuParams(key);
    ASSERT_NE(attached, nullptr);
    EXPECT_NE(attached, block);
    EXPECT_EQ(attached->slotId, 1U);
}

TEST_F(CreateMpuParams, ATextFileMayLeaveTheVersionOut) {
    useText("Slot = 1\n");
    EXPECT_EQ(create(), "");
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->version, 0U);
}

TEST_F(CreateMpuParams, WhatALineOfTheTextFileLacksIsReportedAndTheRestIsRead) {
    useText("Version = 15\nBanana\nSlot = 2\n");
    EXPECT_EQ(create(), "+++ Warning: Unrecognized flag in configuration file: Banana\n");
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->slotId, 2U);
}

TEST_F(CreateMpuParams, TheIndexBehindTheLastArrayStaysInTheSegmentsPage) {
    useText("Version = 15\nAdapter = 2-3/4\n");
    EXPECT_EQ(create(), "");
    ASSERT_NE(block, nullptr);
    U32_t behind = 0;
    std::memcpy(&behind, reinterpret_cast<const U8_t*>(block) + 744, sizeof(behind));
    EXPECT_EQ(behind, 0x00030004U);
}

TEST_F(CreateMpuParams, ATextFileThatIsMissing) {
    setenv("NONXML_FILE", (folder + "/none.conf").c_str(), 1);
    EXPECT_EQ(create(), "Error: Unable to open " + folder + "/none.conf.\n       No such file or directory\n");
    expectNothingLeft();
}

TEST_F(CreateMpuParams, AMissingSourceLeavesAnOlderSegmentAlone) {
    const int older = makeSegment(744, 0xEE);
    setenv("NONXML_FILE", (folder + "/none.conf").c_str(), 1);
    (void)create();
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(segmentNow(), older);
}

TEST_F(CreateMpuParams, TheTextFileGoesBeforeTheImage) {
    useText("Version = 15\nSlot = 4\n");
    setenv("CONFIG_FILE", (folder + "/none.bin").c_str(), 1);
    EXPECT_EQ(create(), "");
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->slotId, 4U);
}

TEST_F(CreateMpuParams, WithoutAnyEnvironment) {
    EXPECT_EQ(create(), "The environment variable: 'PROJDIR' is not defined!\n");
    expectNothingLeft();
}

TEST_F(CreateMpuParams, AnOlderSegmentIsReplaced) {
    const int older = makeSegment(744, 0xEE);
    useText("Version = 15\n");
    EXPECT_EQ(create(), "\nError opening the MPU shared memory area.\n"
                        "Shared segment already existed.\nIt has successfully been removed and recreated.\n\n");
    ASSERT_NE(block, nullptr);
    EXPECT_NE(shmid, older);
    EXPECT_EQ(shmid, segmentNow());
    EXPECT_EQ(block->slotId, 0U) << "nothing of the older block is left";
    EXPECT_EQ(block->adapters[1], 0U);
}

TEST_F(CreateMpuParams, ALargerOlderSegmentIsReplacedByOneOf744Bytes) {
    (void)makeSegment(8192, 0xEE);
    useText("Version = 15\n");
    (void)create();
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(stateNow().shm_segsz, 744U);
}

TEST_F(CreateMpuParams, ASegmentThatCannotBeTakenStays) {
    const int foreign = makeSegment(700, 0xEE);
    useText("Version = 15\n");
    EXPECT_EQ(create(),
              "\nError opening the MPU shared memory area.\nShared segment already exists " + keyText(key) + ".\n");
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(segmentNow(), foreign);
}

TEST_F(CreateMpuParams, AnOlderSegmentThatCannotBeRemovedStays) {
    const int older = makeSegment(744, 0xEE);
    useText("Version = 15\n");
    faults::shmctl.error = EPERM;
    EXPECT_EQ(create(),
              "\nError opening the MPU shared memory area.\nShared segment already exists " + keyText(key) + ".\n");
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(shmid, -1);
    EXPECT_EQ(segmentNow(), older);
    EXPECT_EQ(attachedSegments(), 0);
}

TEST_F(CreateMpuParams, ASegmentThatCannotBeMadeAnewIsReported) {
    (void)makeSegment(744, 0xEE);
    useText("Version = 15\n");
    faults::shmget = {ENOSPC, 2};
    EXPECT_EQ(create(),
              "\nError opening the MPU shared memory area.\nShared segment already exists " + keyText(key) + ".\n");
    expectNothingLeft();
}

TEST_F(CreateMpuParams, AnyOtherCreationErrorIsReportedByItsText) {
    useText("Version = 15\n");
    faults::shmget.error = ENOSPC;
    EXPECT_EQ(create(), "   No space left on device\n");
    expectNothingLeft();
}

TEST_F(CreateMpuParams, ASegmentThatCannotBeAttachedIsRemoved) {
    useText("Version = 15\n");
    faults::shmat.error = ENOMEM;
    EXPECT_EQ(create(), "\nError mapping the MPU shared memory area to virtual memory.\n");
    expectNothingLeft();
    EXPECT_EQ(shmid, -1);
}

TEST_F(CreateMpuParams, NoFileStaysOpen) {
    const auto before = openDescriptors();
    useText("Version = 15\n");
    (void)create();
    EXPECT_EQ(openDescriptors(), before);
    faults::shmat.error = ENOMEM;
    (void)create();
    EXPECT_EQ(openDescriptors(), before);
    unsetenv("NONXML_FILE");
    setenv("CONFIG_FILE", files.write("mpu.image", "too short").c_str(), 1);
    (void)create();
    EXPECT_EQ(openDescriptors(), before);
    faults::shmat.error = 0;
    (void)create();
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(CreateMpuParams, TheReaderDoesNothingWithoutABlock) {
    FILE* const stream = std::tmpfile();
    ASSERT_NE(stream, nullptr);
    (void)std::fputs("Banana\n", stream);
    std::rewind(stream);
    EXPECT_EQ(errorsOf([&] { readNonXML(stream); }), "");
    (void)std::fclose(stream);
}

TEST_F(CreateMpuParams, TheReaderFillsTheBlockThatWasCreated) {
    useText("Version = 15\n");
    (void)create();
    ASSERT_NE(block, nullptr);
    FILE* const stream = std::tmpfile();
    ASSERT_NE(stream, nullptr);
    (void)std::fputs("Slot = 6\n", stream);
    std::rewind(stream);
    readNonXML(stream);
    (void)std::fclose(stream);
    EXPECT_EQ(block->slotId, 6U);
    EXPECT_EQ(block->version, 15U);
}

TEST_F(CreateMpuParams, TheReaderForgetsADetachedBlock) {
    useText("Version = 15\n");
    (void)create();
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(MPU_detachMpuParams(block), 0);
    FILE* const stream = std::tmpfile();
    ASSERT_NE(stream, nullptr);
    (void)std::fputs("Slot = 6\n", stream);
    std::rewind(stream);
    readNonXML(stream);
    (void)std::fclose(stream);
    const MPU_PARAMS_t* const again = MPU_getMpuParams(key);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->slotId, 0U);
}
