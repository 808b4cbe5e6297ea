/** Creating and deleting a block. */
#include <filesystem>
#include <sys/ipc.h>
#include <sys/shm.h>

#include "tool.h"

using Create = ToolTest;
using Delete = ToolTest;

TEST_F(Create, FromATextFile) {
    const Result_t result = tool("create", {"--config", files.write("a.conf", "Version = 15\nSlot = 3\n")});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, "created parameter block " + keyText() + ", segment " + std::to_string(segment.id()) + "\n");
    EXPECT_EQ(shown("slotId"), "3");
    EXPECT_EQ(shown("version"), "15");
    struct shmid_ds state = {};
    ASSERT_EQ(shmctl(segment.id(), IPC_STAT, &state), 0);
    EXPECT_EQ(state.shm_nattch, 0U);
    EXPECT_EQ(state.shm_segsz, 744U);
}

TEST_F(Create, TheKeyMayBeHexadecimal) {
    char text[16];
    (void)std::snprintf(text, sizeof(text), "0x%x", static_cast<unsigned>(key));
    EXPECT_EQ(run({"create", "-k", text, "-c", files.write("a.conf", "Version = 15\n")}).status, 0);
    EXPECT_NE(segment.id(), -1);
}

TEST_F(Create, EveryExampleIsReadWithoutAComplaint) {
    const struct {
        const char* file;
        const char* chassis;
    } examples[] = {{"none.conf", "1 (none)"}, {"xyratex.conf", "2 (xyratex)"}, {"quadra.conf", "3 (quadra)"}};
    std::size_t there = 0;
    for (const auto& entry : std::filesystem::directory_iterator(EXAMPLES)) {
        there += entry.path().extension() == ".conf" ? 1 : 0;
    }
    EXPECT_EQ(there, std::size(examples));
    for (const auto& example : examples) {
        const Result_t result = tool("create", {"--config", std::string(EXAMPLES "/") + example.file});
        EXPECT_EQ(result.status, 0) << example.file;
        EXPECT_EQ(result.err, "") << example.file;
        EXPECT_EQ(shown("chassisType"), example.chassis);
        EXPECT_EQ(shown("mmsgDirectory"), "/tmp/mmsg");
        EXPECT_EQ(tool("delete").status, 0);
    }
}

TEST_F(Create, AnOlderBlockIsReplacedWithANotice) {
    createFrom("Slot = 1\n");
    const Result_t result = tool("create", {"--config", files.write("b.conf", "Version = 15\nNumberOfPorts = 4\n")});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "created parameter block " + keyText() + ", segment " + std::to_string(segment.id()) +
                              ", in place of an older one\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(shown("slotId"), "0");
    EXPECT_EQ(shown("numPorts"), "4");
}

TEST_F(Create, ABadLineIsReportedAndTheRestIsRead) {
    const std::string path = files.write("a.conf", "Version = 15\nBanana\nSlot = 3\n");
    const Result_t result = tool("create", {"--config", path});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "mpuparams: " + path + ":2: no flag \"Banana\": mpuparams(8) lists them\n");
    EXPECT_EQ(shown("slotId"), "3");
}

TEST_F(Create, AFileThatIsMissing) {
    const std::string path = folder + "/none";
    EXPECT_REFUSED(tool("create", {"--config", path}), 2, "cannot read " + path + ": No such file or directory");
    EXPECT_REFUSED(tool("create", {"--image", path}), 2, "cannot read " + path + ": No such file or directory");
    EXPECT_EQ(segment.id(), -1);
}

TEST_F(Create, AFolderIsNoFile) {
    EXPECT_REFUSED(tool("create", {"--config", folder}), 2, "cannot read " + folder + ": not a regular file");
    EXPECT_REFUSED(tool("create", {"--image", folder}), 2, "cannot read " + folder + ": not a regular file");
    EXPECT_EQ(segment.id(), -1);
}

TEST_F(Create, ATextFileWithoutTheVersionLeavesNothing) {
    const std::string path = files.write("a.conf", "Slot = 3\n");
    EXPECT_REFUSED(tool("create", {"--config", path}), 2,
                   path + " gives version 0, which every process refuses: expected a line \"Version = 15\"");
    EXPECT_EQ(segment.id(), -1);
}

TEST_F(Create, AnImageOfAnotherSize) {
    const std::string shorter = files.write("short", std::string(743, '\0'));
    EXPECT_REFUSED(tool("create", {"--image", shorter}), 2,
                   shorter + " is no image of a parameter block: it has 743 bytes, expected 744");
    const std::string longer = files.write("long", std::string(745, '\0'));
    EXPECT_REFUSED(tool("create", {"--image", longer}), 2,
                   longer + " is no image of a parameter block: it has 745 bytes, expected 744");
    EXPECT_EQ(segment.id(), -1);
}

TEST_F(Create, AnImageOfAnotherVersionLeavesTheOlderBlock) {
    createFrom("Slot = 5\n");
    const std::string path = files.write("old", std::string("\0\0\0\x0E", 4) + std::string(740, '\0'));
    EXPECT_REFUSED(tool("create", {"--image", path}), 2, path + " is an image of version 14, expected 15");
    EXPECT_EQ(shown("slotId"), "5");
}

TEST_F(Create, ATextFileWithoutTheVersionLeavesTheOlderBlock) {
    createFrom("Slot = 5\n");
    const int older = segment.id();
    const std::string path = files.write("b.conf", "Slot = 3\nVerison = 15\nBanana\n");
    EXPECT_REFUSED(
        tool("create", {"--config", path}), 2,
        path +
            " gives version 0, which every process refuses: expected a line \"Version = 15\"; the first complaint: " +
            path + ":2: no key \"Verison\": expected \"Version\"");
    EXPECT_EQ(segment.id(), older);
    EXPECT_EQ(shown("slotId"), "5");
}

TEST_F(Create, AFileThatIsNoTextAtAllIsRefusedInOneLine) {
    std::string bytes;
    for (int i = 0; i < 2000; ++i) {
        bytes += static_cast<char>(i * 7);
        bytes += i % 3 == 0 ? '\n' : '\x1B';
    }
    const Result_t result = tool("create", {"--config", files.write("a.conf", bytes)});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1);
    EXPECT_EQ(result.err.find('\x1B'), std::string::npos);
    EXPECT_EQ(segment.id(), -1);
}

TEST_F(Create, ASegmentOfAnotherSizeIsSomebodyElsesAndStays) {
    const std::string config = files.write("a.conf", "Version = 15\n");
    const std::string image = files.write("image", std::string("\0\0\0\x0F", 4) + std::string(740, '\0'));
    for (const std::size_t size : {100U, 743U, 745U, 8192U}) {
        segment.make(std::string(size, 'x'));
        const int foreign = segment.id();
        const std::string message = "the segment with key " + keyText() + " is no parameter block: it has " +
                                    std::to_string(size) + " bytes, expected 744";
        EXPECT_REFUSED(tool("create", {"--config", config}), 2, message);
        EXPECT_REFUSED(tool("create", {"--image", image}), 2, message);
        EXPECT_EQ(segment.id(), foreign);
        EXPECT_EQ(shmctl(foreign, IPC_RMID, nullptr), 0);
    }
}

TEST_F(Create, NeitherFileIsNamedByNothing) {
    EXPECT_REFUSED(tool("create", {"--config", ""}), 1,
                   "--config: expected the name of a file; see mpuparams create --help");
    EXPECT_REFUSED(tool("create", {"--image", ""}), 1,
                   "--image: expected the name of a file; see mpuparams create --help");
}

TEST_F(Create, TheEnvironmentDoesNotChooseTheSource) {
    const std::string other = files.write("other.conf", "Version = 15\nSlot = 9\n");
    const std::string image =
        files.write("image", std::string("\0\0\0\x0F\0\0\0\0\0\0\0\x07", 12) + std::string(732, '\0'));
    setenv("NONXML_FILE", other.c_str(), 1);
    EXPECT_EQ(tool("create", {"--image", image}).status, 0);
    EXPECT_EQ(shown("slotId"), "7");
    unsetenv("NONXML_FILE");
}

TEST_F(Delete, RemovesTheSegment) {
    createFrom("");
    const Result_t result = tool("delete");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(segment.id(), -1);
}

TEST_F(Delete, WhatIsNotThereCannotBeDeleted) {
    EXPECT_REFUSED(tool("delete"), 2, "no parameter block with key " + keyText() + "; \"mpuparams create\" makes one");
}

TEST_F(Delete, ASegmentOfAnotherSizeIsNoParameterBlock) {
    for (const std::size_t size : {743U, 745U}) {
        segment.make(std::string(size, 'x'));
        const int foreign = segment.id();
        EXPECT_REFUSED(tool("delete"), 2,
                       "the segment with key " + keyText() + " is no parameter block: it has " + std::to_string(size) +
                           " bytes, expected 744");
        EXPECT_EQ(segment.id(), foreign);
        EXPECT_EQ(shmctl(foreign, IPC_RMID, nullptr), 0);
    }
}

TEST_F(Delete, ABlockOfAnotherReleaseCanBeDeleted) {
    segment.make(std::string(744, 'x'));
    EXPECT_EQ(tool("delete").status, 0);
    EXPECT_EQ(segment.id(), -1);
}
