/** Creating the parameter block from a binary image: the same bytes on both kinds of processor. */
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "calls.h"
#include "mpu_gbl.h"
#include "segment.h"

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

class MpuImage : public segments::CreateTest {
protected:
    void useImage(const std::string& contents) {
        path = files.write("image", contents);
        setenv("CONFIG_FILE", path.c_str(), 1);
    }

    std::string path;
};

} // namespace

TEST_F(MpuImage, EveryIntegerComesIntoTheHostsOrder) {
    useImage(countingImage());
    EXPECT_EQ(create(), "");
    ASSERT_NE(block, nullptr);
    const MPU_PARAMS_t& b = *block;
    // clang-format off
    const std::pair<U32_t, U32_t> integers[] = {
        {b.version, 15}, {b.flags, 0x04050607}, {b.slotId, 0x08090A0B}, {b.regBlockOffset[0], 0x10111213},
        {b.regBlockOffset[1], 0x14151617}, {b.regBlockSize[0], 0x18191A1B}, {b.regBlockSize[1], 0x1C1D1E1F},
        {b.otherPresentOffset, 0x2021}, {b.resetOtherOffset, 0x2425}, {b.issIpAddress, 0x28292A2B},
        {b.mpuVer.major, 0x3031}, {b.mpuVer.minor, 0x3233}, {b.mpuVer.maintNum, 0x3435}, {b.mpuVer.buildNum, 0x3637},
        {b.q4xVer.major, 0x3839}, {b.q4xVer.minor, 0x3A3B}, {b.q4xVer.maintNum, 0x3C3D}, {b.q4xVer.buildNum, 0x3E3F},
        {b.asicDeviceId, 0x4041}, {b.pciVendorId, 0x4243}, {b.asicRevision, 0x4445}, {b.serialNo, 0x48494A4B},
        {b.shmKey, 0x4C4D4E4F}, {b.ouiNo, 0x50515253}, {b.smSize, 0x60616263}, {b.bmSize, 0x64656667},
        {b.haccStartingIpAddress, 0x68696A6B}, {b.haccNetmask, 0x6C6D6E6F}, {b.mgtPortIpAddress, 0x70717273},
        {b.mgtPortNetmask, 0x74757677}, {b.macAddress[0]._filler1, 0xFEFF}, {b.macAddress[1]._filler1, 0x0607},
        {b.macAddress[2]._filler1, 0x0E0F}, {b.macAddress[3]._filler1, 0x1617}, {b.macAddress[4]._filler1, 0x1E1F},
        {b.macAddress[5]._filler1, 0x2627}, {b.macAddress[6]._filler1, 0x2E2F}, {b.macAddress[7]._filler1, 0x3637},
        {b.adapters[0], 0xE0E1E2E3}, {b.adapters[1], 0xE4E5E6E7},
    };
    // clang-format on
    for (const auto& [value, expected] : integers) {
        EXPECT_EQ(value, expected);
    }
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
    MPU_swapMpuParams(block);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(block), 744), image) << "turned twice";
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

TEST_F(MpuImage, AJoinedPathOf139CharactersIsTakenAndALongerOneRefused) {
    setenv("PROJDIR", std::string(126, 'd').c_str(), 1);
    EXPECT_EQ(create(), "Fully qualified path+name for the Configuration file exceeds 139 characters.\n");
    expectNothingLeft();
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
    for (const off_t size : {off_t{0}, off_t{743}, off_t{745}, off_t{5000000000}}) {
        useImage(countingImage());
        ASSERT_EQ(truncate(path.c_str(), size), 0);
        EXPECT_EQ(create(), "File size of " + path + " does not match MPU Parameters structure size\n  File size = " +
                                std::to_string(size) + ", structure size = 744\n");
        expectNothingLeft();
    }
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

TEST_F(MpuImage, AFailedOrShortReadRemovesTheSegment) {
    useImage(countingImage());
    calls::read.failWith(EIO);
    EXPECT_EQ(create(), "\nUnable to read the configuration data from file: '" + path + "'\n");
    expectNothingLeft();
    EXPECT_EQ(shmid, -1);
    for (const int length : {0, 4, 5, 743}) {
        const calls::Answer_t read(calls::read, [length](int fd, void* bytes, std::size_t) {
            return calls::read.real(fd, bytes, static_cast<std::size_t>(length));
        });
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
