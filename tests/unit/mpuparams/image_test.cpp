/** Writing a binary image. */
#include <sys/stat.h>
#include <unistd.h>

#include "tool.h"

using Image = ToolTest;

TEST_F(Image, HoldsTheBlockInNetworkByteOrder) {
    createFrom(
        "Slot = 0x01020304\nAsicDeviceId = 0x0506\nChassisType = Quadra\nIssIpAddress = 1.2.3.4\n"
        "MpuSoftwareVersion = 1.3.24\nSerialNumber = SN\nMacAddress = 1:2:3:4:5:6\nAdapter = 1-2/3\nCacheValid\n");
    const std::string path = folder + "/image";
    const Result_t result = tool("image", {path});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out + result.err, "");
    std::string expected(744, '\0');
    expected.replace(0, 12, std::string("\0\0\0\x0F\0\0\0\x10\x01\x02\x03\x04", 12));
    expected.replace(40, 4, "\x01\x02\x03\x04");
    expected.replace(48, 8, std::string("\0\x01\0\x03\0\0\0\x18", 8));
    expected.replace(64, 2, "\x05\x06");
    expected[71] = 3;
    expected.replace(120, 2, "SN");
    expected.replace(248, 6, "\x01\x02\x03\x04\x05\x06");
    expected.replace(740, 4, std::string("\0\x02\0\x03", 4));
    EXPECT_EQ(testsupport::readFile(path), expected);
}

TEST_F(Image, MakesTheSameBlockAgain) {
    createFrom("Slot = 0x01020304\nLogDirectory = /var/log\n");
    ASSERT_EQ(tool("set", {"chassisType=Vsc055", "regBlockOffset=0x0102030405060708", "flags+=RcpComplete"}).status, 0);
    const std::string before = segment.bytes();
    const std::string path = folder + "/image";
    ASSERT_EQ(tool("image", {path}).status, 0);
    ASSERT_EQ(tool("delete").status, 0);
    ASSERT_EQ(tool("create", {"--image", path}).status, 0);
    EXPECT_EQ(segment.bytes(), before);
}

TEST_F(Image, TakesTheFilesPlaceAndLeavesNoOther) {
    createFrom("");
    const std::string path = files.write("image", "old");
    const std::size_t there = filesInFolder();
    const mode_t before = umask(0027);
    EXPECT_EQ(tool("image", {path}).status, 0);
    (void)umask(before);
    EXPECT_EQ(testsupport::readFile(path).size(), 744U);
    EXPECT_EQ(filesInFolder(), there);
    struct stat status = {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640U);
}

TEST_F(Image, AFileThatCannotBeWrittenLeavesNothing) {
    createFrom("");
    const std::size_t there = filesInFolder();
    EXPECT_REFUSED(tool("image", {folder + "/none/image"}), 2,
                   "cannot write " + folder + "/none/image: No such file or directory");
    ASSERT_EQ(mkdir((folder + "/sub").c_str(), 0700), 0);
    EXPECT_REFUSED(tool("image", {folder + "/sub"}), 2, "cannot write " + folder + "/sub: not a regular file");
    EXPECT_EQ(filesInFolder(), there + 1);
}

TEST_F(Image, WhatIsNoRegularFileIsNotReplacedByOne) {
    createFrom("");
    const std::string path = folder + "/pipe";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_REFUSED(tool("image", {path}), 2, "cannot write " + path + ": not a regular file");
    struct stat status = {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_TRUE(S_ISFIFO(status.st_mode));
}

TEST_F(Image, ALinkStaysAndTheFileItLeadsToIsReplaced) {
    createFrom("");
    const std::string path = files.write("image", "old");
    const std::string link = folder + "/link";
    ASSERT_EQ(symlink(path.c_str(), link.c_str()), 0);
    EXPECT_EQ(tool("image", {link}).status, 0);
    struct stat status = {};
    ASSERT_EQ(lstat(link.c_str(), &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    EXPECT_EQ(testsupport::readFile(path).size(), 744U);
}

TEST_F(Image, WithoutABlock) {
    EXPECT_REFUSED(tool("image", {folder + "/image"}), 2,
                   "no parameter block with key " + keyText() + "; \"mpuparams create\" makes one");
    EXPECT_EQ(filesInFolder(), 0U);
}
