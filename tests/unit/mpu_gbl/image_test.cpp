/** Creating the parameter block from a binary image: the same bytes on both kinds of processor. */
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "faults.h"
#include "mpu_gbl.h"
#include "segment.h"

using segments::attachedSegments;
using segments::errorsOf;

namespace {

/** An image of version 15 in which every other byte holds the low byte of its own offset. */
std::string countingImage() {
    std::string bytes(744, '\0');
    for (std::size_t i = 4; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(i);
    }
    bytes[3] = 15;
    return bytes;
}

class MpuImage : public segments::SegmentTest {
protected:
    std::string create() {
        return errorsOf([&] { block = MPU_createMpuParams(&shmid, key); });
    }

    void useImage(const std::string& contents) {
        path = files.write("image", contents);
        setenv("CONFIG_FILE", path.c_str(), 1);
    }

    void expectNothingLeft() const {
        EXPECT_EQ(block, nullptr);
        EXPECT_EQ(segmentNow(), -1);
        EXPECT_EQ(attachedSegments(), 0);
    }

    MPU_PARAMS_t* block = nullptr;
    S32_t shmid = -7;
    std::string path;
};

} // namespace

TEST_F(MpuImage, EveryIntegerComesIntoTheHostsOrder) {
    useImage(countingImage());
    EXPECT_EQ(create(), "");
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->version, 15U);
    EXPECT_EQ(block->flags, 0x04050607U);
    EXPECT_EQ(block->slotId, 0x08090A0BU);
    EXPECT_EQ(block->regBlockOffset[0], 0x10111213U);
    EXPECT_EQ(block->regBlockOffset[1], 0x14151617U);
    EXPECT_EQ(block->regBlockSize[0], 0x18191A1BU);
    EXPECT_EQ(block->regBlockSize[1], 0x1C1D1E1FU);
    EXPECT_EQ(block->otherPresentOffset, 0x2021U);
    EXPECT_EQ(block->resetOtherOffset, 0x2425U);
    EXPECT_EQ(block->issIpAddress, 0x28292A2BU);
    EXPECT_EQ(block->mpuVer.major, 0x3031U);
    EXPECT_EQ(block->mpuVer.minor, 0x3233U);
    EXPECT_EQ(block->mpuVer.maintNum, 0x3435U);
    EXPECT_EQ(block->mpuVer.buildNum, 0x3637U);
    EXPECT_EQ(block->q4xVer.major, 0x3839U);
    EXPECT_EQ(block->q4xVer.minor, 0x3A3BU);
    EXPECT_EQ(block->q4xVer.maintNum, 0x3C3DU);
    EXPECT_EQ(block->q4xVer.buildNum, 0x3E3FU);
    EXPECT_EQ(block->asicDeviceId, 0x4041U);
    EXPECT_EQ(block->pciVendorId, 0x4243U);
    EXPECT_EQ(block->asicRevision, 0x4445U);
    EXPECT_EQ(block->serialNo, 0x48494A4BU);
    EXPECT_EQ(block->shmKey, 0x4C4D4E4FU);
    EXPECT_EQ(block->ouiNo, 0x50515253U);
    EXPECT_EQ(block->smSize, 0x60616263U);
    EXPECT_EQ(block->bmSize, 0x64656667U);
    EXPECT_EQ(block->haccStartingIpAddress, 0x68696A6BU);
    EXPECT_EQ(block->haccNetmask, 0x6C6D6E6FU);
    EXPECT_EQ(block->mgtPortIpAddress, 0x70717273U);
    EXPECT_EQ(block->mgtPortNetmask, 0x74757677U);
    const U16_t fillers[] = {0xFEFF, 0x0607, 0x0E0F, 0x1617, 0x1E1F, 0x2627, 0x2E2F, 0x3637};
    for (std::size_t i = 0; i < 8; ++i) {
        EXPECT_EQ(block->macAddress[i]._filler1, fillers[i]) << i;
    }
    EXPECT_EQ(block->adapters[0], 0xE0E1E2E3U);
    EXPECT_EQ(block->adapters[1], 0xE4E5E6E7U);
}

TEST_F(MpuImage, BytesAndTextsStayAsTheyAre) {
    const std::string image = countingImage();
    useImage(image);
    (void)create();
    ASSERT_NE(block, nullptr);
    const struct {
        std::size_t offset;
        std::size_t size;
    } runs[] = {{12, 4},  {34, 2},  {38, 2},  {44, 4},  {70, 2},  {84, 12}, {120, 128}, {248, 6}, {256, 6},
                {264, 6}, {272, 6}, {280, 6}, {288, 6}, {296, 6}, {304, 6}, {312, 384}, {696, 40}};
    for (const auto& run : runs) {
        EXPECT_EQ(std::memcmp(reinterpret_cast<const char*>(block) + run.offset, image.data() + run.offset, run.size),
                  0)
            << run.offset;
    }
}

TEST_F(MpuImage, TurningTheOrderTwiceGivesTheImageAgain) {
    const std::string image = countingImage();
    useImage(image);
    (void)create();
    ASSERT_NE(block, nullptr);
    MPU_swapMpuParams(block);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(block), 744), image);
}

TEST_F(MpuImage, FromTheProjectsFolder) {
    (void)files.write("configMpu.bin", countingImage());
    setenv("PROJDIR", folder.c_str(), 1);
    EXPECT_EQ(create(), "");
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->slotId, 0x08090A0BU);
}

TEST_F(MpuImage, TheNamedFileGoesBeforeTheProjectsFolder) {
    setenv("PROJDIR", std::string(200, 'x').c_str(), 1);
    useImage(countingImage());
    EXPECT_EQ(create(), "");
    EXPECT_NE(block, nullptr);
}

TEST_F(MpuImage, AJoinedPathOf139CharactersIsTaken) {
    // "/configMpu.bin" has 14 characters.
    std::string directory = folder + "/";
    directory.resize(125, 'd');
    ASSERT_EQ(mkdir(directory.c_str(), 0700), 0);
    const std::string file = directory.substr(folder.size() + 1) + "/configMpu.bin";
    ASSERT_EQ(files.write(file, countingImage()).size(), 139U);
    setenv("PROJDIR", directory.c_str(), 1);
    EXPECT_EQ(create(), "");
    EXPECT_NE(block, nullptr);
}

TEST_F(MpuImage, AJoinedPathOf140CharactersIsRefused) {
    setenv("PROJDIR", std::string(126, 'd').c_str(), 1);
    EXPECT_EQ(create(), "Fully qualified path+name for the Configuration file exceeds 139 characters.\n");
    expectNothingLeft();
}

TEST_F(MpuImage, AFileThatIsMissing) {
    setenv("CONFIG_FILE", (folder + "/none").c_str(), 1);
    EXPECT_EQ(create(), "Unable to stat " + folder + "/none.\n");
    expectNothingLeft();
    unsetenv("CONFIG_FILE");
    setenv("PROJDIR", folder.c_str(), 1);
    EXPECT_EQ(create(), "Unable to stat " + folder + "/configMpu.bin.\n");
    expectNothingLeft();
}

TEST_F(MpuImage, AFileOfAnotherSize) {
    for (const std::size_t size : {0U, 743U, 745U}) {
        useImage(countingImage().append("x").substr(0, size));
        EXPECT_EQ(create(), "File size of " + path + " does not match MPU Parameters structure size\n  File size = " +
                                std::to_string(size) + ", structure size = 744\n");
        expectNothingLeft();
    }
}

TEST_F(MpuImage, ASizeBeyond32BitsIsPrintedWhole) {
    useImage("");
    ASSERT_EQ(truncate(path.c_str(), off_t{5000000000}), 0);
    EXPECT_EQ(create(), "File size of " + path +
                            " does not match MPU Parameters structure size\n"
                            "  File size = 5000000000, structure size = 744\n");
    expectNothingLeft();
}

TEST_F(MpuImage, AFileThatCannotBeOpened) {
    useImage(countingImage());
    testing::internal::CaptureStderr();
    struct rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const struct rlimit before = limit;
    limit.rlim_cur = 0;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    block = MPU_createMpuParams(&shmid, key);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unabled to open Configuration input file: '" + path + "'\n");
    expectNothingLeft();
}

TEST_F(MpuImage, AFailedReadRemovesTheSegment) {
    useImage(countingImage());
    faults::read.error = EIO;
    EXPECT_EQ(create(), "\nUnable to read the configuration data from file: '" + path + "'\n");
    expectNothingLeft();
    EXPECT_EQ(shmid, -1);
}

TEST_F(MpuImage, AShortReadRemovesTheSegment) {
    for (const int length : {0, 4, 5, 743}) {
        useImage(countingImage());
        faults::shortRead = length;
        EXPECT_EQ(create(),
                  std::to_string(length) + " bytes read from Configuration file '" + path + "', 744 expected.\n");
        expectNothingLeft();
    }
}

TEST_F(MpuImage, AnotherVersionRemovesTheSegment) {
    const struct {
        std::string version;
        const char* printed;
    } cases[] = {{std::string("\0\0\0\x0E", 4), "0x0000000E"},
                 {std::string("\x0F\0\0\0", 4), "0x0F000000"},
                 {std::string("\0\0\0\0", 4), "0x00000000"}};
    for (const auto& c : cases) {
        useImage(countingImage().replace(0, 4, c.version));
        EXPECT_EQ(create(), "Configuration file '" + path + "' contains version " + c.printed +
                                " data, but version 0x0000000F data is expected.\n");
        expectNothingLeft();
    }
}
