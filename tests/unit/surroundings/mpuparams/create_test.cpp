/** Creating and deleting a block, and whose it is. */
#include <cstring>
#include <filesystem>
#include <sys/ipc.h>
#include <sys/shm.h>

#include "tool.h"

using Create = ToolTest;
using Delete = ToolTest;
using AnyCommand = ToolTest;

TEST_F(Create, FromATextFileWithADecimalOrHexadecimalKey) {
    const std::string config = files.write("a.conf", "Version = 15\nSlot = 3\n");
    for (const std::string& text : {std::to_string(key), "0x" + hexKey(), "0X" + hexKey()}) {
        const Result_t result = run({"create", "-k", text, "-c", config});
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(result.out,
                  "created parameter block " + keyText + ", segment " + std::to_string(segment.id()) + "\n");
        EXPECT_EQ(shown("slotId"), "3");
        struct shmid_ds state = {};
        ASSERT_EQ(shmctl(segment.id(), IPC_STAT, &state), 0);
        EXPECT_EQ(state.shm_nattch, 0U);
        EXPECT_EQ(state.shm_segsz, 744U);
        EXPECT_EQ(tool("delete").status, 0);
    }
}

TEST_F(Create, EveryExampleIsReadWithoutAComplaint) {
    const std::map<std::string, std::string> examples = {
        {"none.conf", "1 (none)"}, {"xyratex.conf", "2 (xyratex)"}, {"quadra.conf", "3 (quadra)"}};
    std::size_t there = 0;
    for (const auto& entry : std::filesystem::directory_iterator(EXAMPLES)) {
        there += entry.path().extension() == ".conf" ? 1 : 0;
    }
    EXPECT_EQ(there, examples.size());
    for (const auto& [file, chassis] : examples) {
        const std::string path = EXAMPLES "/" + file;
        EXPECT_EQ(run({"check", path}).status, 0) << file;
        const Result_t result = tool("create", {"--config", path});
        EXPECT_EQ(result.status, 0) << file;
        EXPECT_EQ(result.err, "") << file;
        auto fields = allShown();
        EXPECT_EQ(fields["chassisType"], chassis);
        EXPECT_EQ(fields["mmsgDirectory"], "/tmp/mmsg");
    }
    EXPECT_EQ(run({"check", PACKAGED}).status, 0);
}

TEST_F(Create, AnOlderBlockIsReplacedWithANotice) {
    createFrom("Slot = 1\n");
    const Result_t result = tool("create", {"--config", files.write("b.conf", "Version = 15\nNumberOfPorts = 4\n")});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "created parameter block " + keyText + ", segment " + std::to_string(segment.id()) +
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

TEST_F(Create, WhatIsNoConfigurationAndNoImageIsRefusedAndLeavesTheOlderBlock) {
    const std::string none = folder + "/none";
    const std::string noVersion = files.write("a.conf", "Slot = 3\n");
    const std::string misspelt = files.write("b.conf", "Slot = 3\nVerison = 15\nBanana\n");
    const std::string shorter = files.write("short", std::string(743, '\0'));
    const std::string longer = files.write("long", std::string(1000, '\0'));
    const std::string larger = files.write("large", "");
    std::filesystem::resize_file(larger, 4294968040U); // the low 32 bits are 744
    const std::string future = files.write("future", std::string("\0\0\x01\x0F", 4) + std::string(740, '\0'));
    const std::string versionTooHigh = files.write("c.conf", "Version = 271\n");
    const std::string old = files.write("old", std::string("\0\0\0\x0E", 4) + std::string(740, '\0'));
    const std::string versionless = " gives version 0, which every process refuses: expected a line \"Version = 15\"";
    const struct {
        const char* option;
        std::string file;
        std::string message;
        int status = 2;
    } cases[] = {
        {"--config", none, "cannot read " + none + ": No such file or directory"},
        {"--image", none, "cannot read " + none + ": No such file or directory"},
        {"--config", folder, "cannot read " + folder + ": not a regular file"},
        {"--image", folder, "cannot read " + folder + ": not a regular file"},
        {"--config", noVersion, noVersion + versionless},
        {"--config", misspelt,
         misspelt + versionless + "; the first complaint: " + misspelt +
             ":2: no key \"Verison\": expected \"Version\""},
        {"--image", shorter, shorter + " is no image of a parameter block: it has 743 bytes, expected 744"},
        {"--image", longer, longer + " is no image of a parameter block: it has 1000 bytes, expected 744"},
        {"--image", larger, larger + " is no image of a parameter block: it has 4294968040 bytes, expected 744"},
        {"--image", future, future + " is an image of version 271, expected 15"},
        {"--config", versionTooHigh,
         versionTooHigh + " gives version 271, which every process refuses: expected a line \"Version = 15\""},
        {"--image", old, old + " is an image of version 14, expected 15"},
        {"--config", "", "--config: expected the name of a file; see mpuparams create --help", 1},
        {"--image", "", "--image: expected the name of a file; see mpuparams create --help", 1}};
    for (const auto& c : cases) {
        EXPECT_REFUSED(tool("create", {c.option, c.file}), c.status, c.message);
        EXPECT_EQ(segment.id(), -1);
    }
    createFrom("Slot = 5\n");
    const int older = segment.id();
    for (const auto& c : cases) {
        EXPECT_EQ(tool("create", {c.option, c.file}).status, c.status);
        EXPECT_EQ(segment.id(), older);
    }
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
    EXPECT_EQ(result.out + result.err, "");
    EXPECT_EQ(segment.id(), -1);
}

TEST_F(Delete, ABlockOfAnotherReleaseCanBeDeletedButNotBeReadOrChanged) {
    for (const std::uint32_t version : {2021161080U, 271U}) {
        std::string block(744, 'x');
        std::memcpy(block.data(), &version, sizeof(version));
        segment.make(block);
        const std::string message =
            "the parameter block with key " + keyText + " has version " + std::to_string(version) + ", expected 15";
        EXPECT_REFUSED(tool("set", {"slotId=1"}), 2, message);
        EXPECT_REFUSED(tool("show"), 2, message);
        EXPECT_EQ(segment.bytes(), block);
        EXPECT_EQ(tool("delete").status, 0);
        EXPECT_EQ(segment.id(), -1);
    }
}

TEST_F(AnyCommand, WithoutABlockSaysWhatMakesOne) {
    const std::vector<std::string> commands[] = {
        {"show"}, {"show", "--json"}, {"set", "slotId=1"}, {"image", folder + "/image"}, {"delete"}};
    for (const auto& words : commands) {
        EXPECT_REFUSED(tool(words[0], {words.begin() + 1, words.end()}), 2,
                       "no parameter block with key " + keyText + "; \"mpuparams create\" makes one");
    }
    EXPECT_EQ(filesInFolder(), 0U);
}

TEST_F(AnyCommand, ASegmentOfAnotherSizeIsSomebodyElsesAndStays) {
    const std::string config = files.write("a.conf", "Version = 15\n");
    const std::string image = files.write("image", std::string("\0\0\0\x0F", 4) + std::string(740, '\0'));
    const std::vector<std::string> commands[] = {
        {"create", "--config", config}, {"create", "--image", image}, {"show"}, {"delete"}};
    for (const std::size_t size : {100U, 743U, 745U, 1000U, 8192U}) {
        std::string bytes(size, '\0');
        const std::uint32_t version = 15;
        std::memcpy(bytes.data(), &version, sizeof(version));
        segment.make(bytes);
        const int foreign = segment.id();
        for (const auto& words : commands) {
            EXPECT_REFUSED(tool(words[0], {words.begin() + 1, words.end()}), 2,
                           "the segment with key " + keyText + " is no parameter block: it has " +
                               std::to_string(size) + " bytes, expected 744");
        }
        EXPECT_EQ(segment.id(), foreign);
        EXPECT_EQ(shmctl(foreign, IPC_RMID, nullptr), 0);
    }
}
