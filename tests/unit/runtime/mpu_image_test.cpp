/** Creating the parameter block from a binary image: the same bytes on both kinds of processor. */
#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "bytes.h"
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

TEST_F(MpuImage, EveryIntegerComesIntoTheHostsOrderAndBytesAndTextsStayAsTheyAre) {
    const struct {
        std::ptrdiff_t offset;
        std::ptrdiff_t width;
        std::ptrdiff_t count;
        std::ptrdiff_t distance; /**< from one to the next */
    } integers[] = {{0, 4, 3, 4},  {16, 4, 4, 4}, {32, 2, 1, 2}, {36, 2, 1, 2},  {40, 4, 1, 4}, {48, 2, 8, 2},
                    {64, 2, 3, 2}, {72, 4, 3, 4}, {96, 4, 6, 4}, {254, 2, 8, 8}, {736, 4, 2, 4}};
    std::string expected = countingImage();
    for (const auto& run : integers) {
        for (auto at = expected.begin() + run.offset; at < expected.begin() + run.offset + run.count * run.distance;
             at += run.distance) {
            if (std::endian::native == std::endian::little) {
                std::reverse(at, at + run.width);
            }
        }
    }
    useImage(countingImage());
    expectBlock();
    EXPECT_EQ(testsupport::hex(block, 744), testsupport::hex(expected.data(), 744));
    EXPECT_EQ(block->slotId, 0x08090A0BU);
}

TEST_F(MpuImage, TheNamedFileGoesBeforeTheProjectsFolder) {
    (void)files.write("configMpu.bin", countingImage());
    setenv("PROJDIR", folder.c_str(), 1);
    expectBlock();
    EXPECT_EQ(block->slotId, 0x08090A0BU);
    (void)MPU_deleteMpuParams(segmentNow());
    useImage("too short");
    EXPECT_NE(create(), "");
    EXPECT_EQ(block, nullptr);
    setenv("PROJDIR", std::string(200, 'x').c_str(), 1);
    useImage(countingImage());
    expectBlock();
}

TEST_F(MpuImage, AJoinedPathOf139CharactersIsTakenAndALongerOneRefused) {
    for (const std::size_t length : {126U, 300U}) {
        setenv("PROJDIR", std::string(length, 'd').c_str(), 1);
        expectFailure("Fully qualified path+name for the Configuration file exceeds 139 characters.\n");
    }
    // "/configMpu.bin" has 14 characters.
    std::string directory = folder + "/";
    directory.resize(125, 'd');
    ASSERT_EQ(mkdir(directory.c_str(), 0700), 0);
    const std::string file = directory.substr(folder.size() + 1) + "/configMpu.bin";
    ASSERT_EQ(files.write(file, countingImage()).size(), 139U);
    setenv("PROJDIR", directory.c_str(), 1);
    expectBlock();
}

TEST_F(MpuImage, AFileThatIsMissing) {
    setenv("CONFIG_FILE", (folder + "/none").c_str(), 1);
    expectFailure("Unable to stat " + folder + "/none.\n");
    unsetenv("CONFIG_FILE");
    setenv("PROJDIR", folder.c_str(), 1);
    expectFailure("Unable to stat " + folder + "/configMpu.bin.\n");
}

TEST_F(MpuImage, AFileOfAnotherSize) {
    for (const off_t size : {off_t{0}, off_t{232}, off_t{743}, off_t{745}, off_t{4294968040}}) {
        useImage(countingImage());
        ASSERT_EQ(truncate(path.c_str(), size), 0);
        expectFailure("File size of " + path + " does not match MPU Parameters structure size\n  File size = " +
                      std::to_string(size) + ", structure size = 744\n");
    }
}

TEST_F(MpuImage, AFileThatCannotBeOpened) {
    useImage(countingImage());
    int asked = 0;
    const calls::Answer_t refused(calls::open, [&](const char* name, int flags, mode_t mode) {
        asked = name == path ? flags : asked;
        errno = EACCES;
        return name == path ? -1 : calls::open.real(name, flags, mode);
    });
    expectFailure("Unabled to open Configuration input file: '" + path + "'\n");
    EXPECT_NE(asked & O_CLOEXEC, 0) << "no business of a program that is started meanwhile";
}

TEST_F(MpuImage, AFailedOrShortReadRemovesTheSegment) {
    useImage(countingImage());
    calls::read.failWith(EIO);
    expectFailure("\nUnable to read the configuration data from file: '" + path + "'\n");
    EXPECT_EQ(shmid, -1);
    for (const int length : {0, 4, 5, 255, 743}) {
        const calls::Answer_t read(calls::read, [length](int fd, void* bytes, std::size_t) {
            return calls::read.real(fd, bytes, static_cast<std::size_t>(length));
        });
        expectFailure(std::to_string(length) + " bytes read from Configuration file '" + path + "', 744 expected.\n");
    }
}

TEST_F(MpuImage, AnotherVersionRemovesTheSegment) {
    for (const auto& [version, printed] : {std::pair{std::string("\0\0\0\x0E", 4), "0x0000000E"},
                                           {std::string("\0\0\1\x0F", 4), "0x0000010F"},
                                           {std::string("\x0F\0\0\0", 4), "0x0F000000"},
                                           {std::string("\0\0\0\0", 4), "0x00000000"}}) {
        useImage(countingImage().replace(0, 4, version));
        expectFailure("Configuration file '" + path + "' contains version " + printed +
                      " data, but version 0x0000000F data is expected.\n");
    }
}
