/** How the text is cut into lines, keys and values. */
#include <gtest/gtest.h>

#include "nonxml_reader.h"

using nonxmltest::read;
using nonxmltest::Result_t;

TEST(NonxmlLines, ACommentStartsInTheFirstColumn) {
    EXPECT_EQ(read("#Slot = 1\n# CacheValid\n#\n").err, "");
    EXPECT_TRUE(read("#Slot = 1\n# CacheValid\n").zeroOutside(0, 0));
    EXPECT_EQ(read(" # indented\n").err, "+++ Warning: Unrecognized flag in configuration file:  # indented\n");
}

TEST(NonxmlLines, EmptyAndBlankLinesAreSkippedAndAnEmptyFileChangesNothing) {
    for (const char* text : {"", "\n   \n\t\n\r\n \v\f\n"}) {
        EXPECT_EQ(read(text).err, "");
        EXPECT_TRUE(read(text).zeroOutside(0, 0));
    }
}

TEST(NonxmlLines, TrailingWhiteSpaceIsRemoved) {
    EXPECT_EQ(read("CacheValid \t\r\n").word(4), 0x10U);
    EXPECT_EQ(read("MmsgDirectory = /a b \t \r\n").text(312, 6), std::string("/a b\0\0", 6));
}

TEST(NonxmlLines, BlanksAroundTheEqualsSignDoNotMatter) {
    for (const char* line : {"Slot=7", "Slot =7", "Slot= 7", "Slot  =  7", "Slot\t=\t7", "Slot \t = \t 7"}) {
        EXPECT_EQ(read(line).word(8), 7U) << line;
        EXPECT_EQ(read(line).err, "") << line;
    }
}

TEST(NonxmlLines, LeadingBlanksBelongToTheKey) {
    const Result_t result = read("  Slot = 7\n");
    EXPECT_EQ(result.err, "+++ Warning: Unrecognized option in configuration file:   Slot\n");
    EXPECT_TRUE(result.zeroOutside(0, 0));
}

TEST(NonxmlLines, TheFirstEqualsSignParts) {
    EXPECT_EQ(read("SerialNumber = a=b\n").text(120, 4), std::string("a=b\0", 4));
}

TEST(NonxmlLines, AnUnknownKeyIsReportedAndTheRestIsRead) {
    const Result_t result = read("Colour = red\nSlot = 5\nBanana\nCacheValid\n= 3\n");
    EXPECT_EQ(result.err, "+++ Warning: Unrecognized option in configuration file: Colour\n"
                          "+++ Warning: Unrecognized flag in configuration file: Banana\n"
                          "+++ Warning: Unrecognized option in configuration file: \n");
    EXPECT_EQ(result.word(8), 5U);
    EXPECT_EQ(result.word(4), 0x10U);
}

TEST(NonxmlLines, WhatALineHasBeyondItsLimitIsReadAsTheNext) {
    const std::string filled = "# " + std::string(1021, 'x'); // 1023 characters: with the terminator, the limit
    EXPECT_EQ(read(filled + "CacheValid\n").word(4), 0x10U);
    EXPECT_EQ(read(filled + "CacheValid\n").err, "");
    EXPECT_EQ(read(filled + "\nCacheValid\n").word(4), 0x10U);
    EXPECT_EQ(read(filled + "xyz\n").err, "+++ Warning: Unrecognized flag in configuration file: xyz\n");
}

TEST(NonxmlLines, AZeroByteEndsTheLineItIsIn) {
    const Result_t result = read(std::string("Slot = 5\0 7\nCacheValid\n", 23));
    EXPECT_EQ(result.word(8), 5U);
    EXPECT_EQ(result.word(4), 0x10U);
}

TEST(NonxmlIndex, AValueMayNameItsElement) {
    EXPECT_EQ(read("Bus = 1-True").text(732, 2), std::string("\0\1", 2));
    EXPECT_EQ(read("portConfiguration = 7- 10gige").block[703], 2);
    EXPECT_EQ(read("Adapter = 1-3/4").word(740), 0x00030004U);
    EXPECT_EQ(read("MacAddress = 7-1:2:3:4:5:6").text(304, 8), std::string("\1\2\3\4\5\6\0\0", 8));
    EXPECT_EQ(read("Slot = 0-9").word(8), 9U);
}

TEST(NonxmlIndex, IsDecimalAndMayHaveAPlusSignAndIsZeroWhenItIsNoNumber) {
    EXPECT_EQ(read("Bus = -True").block[732], 1);
    EXPECT_EQ(read("Bus = one-True").block[732], 1);
    EXPECT_EQ(read("Slot = x-9").word(8), 9U);
    EXPECT_EQ(read("portConfiguration = 007-1gige").block[703], 1);
    EXPECT_EQ(read("MacAddress = +1-1:2:3:4:5:6").text(256, 6), "\1\2\3\4\5\6");
    EXPECT_EQ(read("Bus = +1-True").block[733], 1);
}

TEST(NonxmlIndex, TheCountItselfWritesOnePastTheArray) {
    const struct {
        const char* line;
        std::size_t offset;
        std::string bytes;
    } cases[] = {
        {"MacAddress = 8-1:2:3:4:5:6", 312, "\1\2\3\4\5\6"},
        {"portConfiguration = 8-10gige", 704, "\2"},
        {"Bus = 2-True", 734, "\1"},
        {"iCharMode = 1-ISS", 15, "\2"},
        {"NumberOfPorts = 1-9", 16, "\x09"},
    };
    for (const auto& c : cases) {
        const Result_t result = read(c.line);
        EXPECT_EQ(result.err, "") << c.line;
        EXPECT_EQ(result.text(c.offset, c.bytes.size()), c.bytes) << c.line;
        EXPECT_TRUE(result.zeroOutside(c.offset, c.bytes.size())) << c.line;
    }
    EXPECT_EQ(read("Adapter = 2-3/4").word(744), 0x00030004U);
    EXPECT_TRUE(read("Adapter = 2-3/4").zeroOutside(744, 4));
    EXPECT_EQ(read("Version = 1-0x40").word(4), 0x40U);
    EXPECT_EQ(read("AsicDeviceId = 1-7").half(66), 7U);
    EXPECT_EQ(read("SystemMemorySize = 1-2k").word(100), 2048U);
    EXPECT_EQ(read("HaccNetmask = 1-1.2.3.4").word(112), 0x01020304U);
    EXPECT_EQ(read("MpuSoftwareVersion = 1-1.2.3").half(56), 1U);
}

TEST(NonxmlIndex, AnIndexBeyondTheCountSkipsTheLine) {
    const struct {
        const char* line;
        const char* key;
    } cases[] = {
        {"MacAddress = 9-1:2:3:4:5:6", "MacAddress"},
        {"portconfiguration = 9-1gige", "portConfiguration"},
        {"portConfiguration = 010-1gige", "portConfiguration"},
        {"Bus = 3-True", "Bus"},
        {"Bus = +3-True", "Bus"},
        {"Adapter = 3-1/2", "Adapter"},
        {"Slot = 2-1", "Slot"},
        {"Slot = 4294967296-1", "Slot"},
        {"Slot = 99999999999999999999-1", "Slot"},
        {"HaccMode = 2-eBlade", "HaccMode"},
    };
    for (const auto& c : cases) {
        const Result_t result = read(std::string(c.line) + "\nNumberOfBusses = 3\n");
        EXPECT_EQ(result.err, std::string("Error: Array index out of range for ") + c.key + "\n") << c.line;
        EXPECT_EQ(result.block[44], 3) << c.line;
        EXPECT_TRUE(result.zeroOutside(44, 1)) << c.line;
    }
}

TEST(NonxmlIndex, TextsKnowNoIndex) {
    EXPECT_EQ(read("SerialNumber = 1-23").text(120, 5), std::string("1-23\0", 5));
    EXPECT_EQ(read("VendorId = 9-X").text(704, 8), "9-X     ");
}
