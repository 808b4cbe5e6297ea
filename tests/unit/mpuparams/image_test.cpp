/** Writing a binary image. */
#include <filesystem>
#include <sys/stat.h>

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

TEST_F(Image, TakesTheFilesPlaceAlsoThroughALinkAndLeavesNoOther) {
    createFrom("");
    const std::string path = files.write("image", "old");
    const std::string link = folder + "/link";
    std::filesystem::create_symlink(path, link);
    const std::size_t there = filesInFolder();
    for (const std::string& name : {path, link}) {
        (void)files.write("image", "old");
        const mode_t before = umask(0027);
        EXPECT_EQ(tool("image", {name}).status, 0);
        (void)umask(before);
        EXPECT_EQ(testsupport::readFile(path).size(), 744U);
        EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms{0640});
    }
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(filesInFolder(), there);
}

TEST_F(Image, AFileThatCannotBeWrittenLeavesNothingAndWhatIsNoneIsNotReplaced) {
    createFrom("");
    const std::string pipe = folder + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::filesystem::create_directory(folder + "/sub");
    EXPECT_REFUSED(tool("image", {folder + "/none/image"}), 2,
                   "cannot write " + folder + "/none/image: No such file or directory");
    EXPECT_REFUSED(tool("image", {folder + "/sub"}), 2, "cannot write " + folder + "/sub: not a regular file");
    EXPECT_REFUSED(tool("image", {pipe}), 2, "cannot write " + pipe + ": not a regular file");
    EXPECT_TRUE(std::filesystem::is_fifo(pipe));
    EXPECT_EQ(filesInFolder(), 3U) << "the configuration, the pipe and the folder";
}
