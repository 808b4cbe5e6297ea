/** The conversion of each type. */
#include <algorithm>
#include <gtest/gtest.h>

#include "nonxml_private.h"
#include "nonxml_reader.h"

using nonxmltest::read;
using nonxmltest::readOver;
using nonxmltest::Result_t;

namespace {

std::string tooLarge(const std::string& value, const std::string& used) {
    return "+++ Warning: Number out of range in configuration file - " + value + "\n    Using " + used + "\n";
}

/** Carries out one entry on a block full of zeros. */
Result_t store(const NonXML_s& tag, const char* value) {
    Result_t result;
    testing::internal::CaptureStderr();
    nonXmlStore(tag, value, result.block.data());
    result.err = testing::internal::GetCapturedStderr();
    return result;
}

constexpr NonXML_Enums_t COLOURS[] = {{"red", 1}, {nullptr, 7}};

} // namespace

TEST(NonxmlValues, IntegersFollowTheirPrefix) {
    EXPECT_EQ(read("Slot = 10").word(8), 10U);
    EXPECT_EQ(read("Slot = 0x10").word(8), 16U);
    EXPECT_EQ(read("Slot = 0X1f").word(8), 31U);
    EXPECT_EQ(read("Slot = 010").word(8), 8U);
    EXPECT_EQ(read("Slot = 0").err, "");
    EXPECT_EQ(read("Slot = 4294967295").word(8), 0xFFFFFFFFU);
    EXPECT_EQ(read("NumberOfPorts = 0x1F").block[15], 31);
    EXPECT_EQ(read("NumberOfPorts = 017").block[15], 15);
    EXPECT_EQ(read("NumberOfPorts = 255").block[15], 255);
    EXPECT_EQ(read("AsicDeviceId = 65535").half(64), 65535U);
    EXPECT_EQ(read("AsicDeviceId = 0x0A0B").half(64), 0x0A0BU);
    EXPECT_EQ(read("AsicDeviceId = 020").half(64), 16U);
    EXPECT_EQ(read("Slot = 12 slots").word(8), 12U);
    EXPECT_EQ(read("Slot = 12 slots").err, "");
}

TEST(NonxmlValues, WhatIsNoNumberIsZeroAndNotReported) {
    const struct {
        const char* key;
        std::size_t offset;
        std::size_t size;
    } keys[] = {
        {"Slot", 8, 4},          {"NumberOfPorts", 15, 1}, {"AsicRevision", 68, 2}, {"SystemMemorySize", 96, 4},
        {"IssIpAddress", 40, 4}, {"MacAddress", 248, 6},   {"Adapter", 736, 4},
    };
    for (const auto& key : keys) {
        for (const std::string value : {"many", "", "x1", "k"}) {
            const Result_t result = readOver(0xEE, std::string(key.key) + " = " + value + "\nNumberOfBusses = 3\n");
            EXPECT_EQ(result.err, "") << key.key << " = " << value;
            Result_t expected = readOver(0xEE, "");
            expected.block[44] = 3;
            std::fill_n(expected.block.begin() + static_cast<std::ptrdiff_t>(key.offset), key.size, std::uint8_t{0});
            EXPECT_EQ(result.block, expected.block) << key.key << " = " << value;
        }
    }
}

TEST(NonxmlValues, ANumberMayHaveASign) {
    EXPECT_EQ(read("Slot = +10").word(8), 10U);
    EXPECT_EQ(read("Slot = +0x10").word(8), 16U);
    EXPECT_EQ(read("NumberOfPorts = +8").block[15], 8);
    EXPECT_EQ(read("AsicRevision = +010").half(68), 8U);
    EXPECT_EQ(read("SystemMemorySize = +64m").word(96), 67108864U);
    EXPECT_EQ(read("Adapter = +2/+1").word(736), 0x00020001U);
    EXPECT_EQ(read("IssIpAddress = +1.+2.+3.+4").word(40), 0x01020304U);
    EXPECT_EQ(read("MacAddress = +1:+2:3:4:5:+6").text(248, 6), "\1\2\3\4\5\6");
    EXPECT_EQ(read("MpuSoftwareVersion = +1.+3.+24").half(54), 24U);
    EXPECT_EQ(read("MpuSoftwareVersion = +1.+3.+24").half(48), 1U);
    for (const char* line : {"Slot = +10", "IssIpAddress = +1.2.3.4", "MacAddress = +1:2", "Adapter = +2/+1"}) {
        EXPECT_EQ(read(line).err, "") << line;
    }
}

TEST(NonxmlValues, ANumberTooLargeForItsFieldKeepsItsLowBits) {
    const Result_t bits8 = read("NumberOfPorts = 300");
    EXPECT_EQ(bits8.err, tooLarge("300", "44"));
    EXPECT_EQ(bits8.block[15], 44);
    EXPECT_TRUE(bits8.zeroOutside(15, 1));
    const Result_t bits16 = read("AsicDeviceId = 0x12345");
    EXPECT_EQ(bits16.err, tooLarge("0x12345", "9029"));
    EXPECT_EQ(bits16.half(64), 0x2345U);
    const Result_t bits32 = read("Slot = 4294967301");
    EXPECT_EQ(bits32.err, tooLarge("4294967301", "5"));
    EXPECT_EQ(bits32.word(8), 5U);
    EXPECT_EQ(read("SystemMemorySize = 4g").err, tooLarge("4g", "0"));
    EXPECT_EQ(read("Adapter = 0x10002/3").err, tooLarge("0x10002/3", "131075"));
    EXPECT_EQ(read("Adapter = 1/65538").err, tooLarge("1/65538", "65538"));
}

TEST(NonxmlValues, WideIntegersLieHighWordFirst) {
    const NonXML_s tag = {"Wide", NONXML_E_TYPE_U64, 16, 8, 2, nullptr};
    const Result_t result = store(tag, "0x0123456789ABCDEF");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.word(16), 0x01234567U);
    EXPECT_EQ(result.word(20), 0x89ABCDEFU);
    EXPECT_TRUE(result.zeroOutside(16, 8));
    EXPECT_EQ(store(tag, "1-4294967296").word(24), 1U);
    EXPECT_EQ(store(tag, "1-4294967296").word(28), 0U);
    EXPECT_EQ(store(tag, "010").word(20), 8U);
    EXPECT_EQ(store(tag, "x").err, "");
    EXPECT_TRUE(store(tag, "x").zeroOutside(0, 0));
}

TEST(NonxmlValues, SizesTakeAUnitInAnyCase) {
    const std::pair<std::string, std::uint32_t> sizes[] = {{"64m", 67108864}, {"64M", 67108864},  {"3k", 3072},
                                                           {"3K", 3072},      {"3g", 3221225472}, {"3G", 3221225472},
                                                           {"4096", 4096},    {"010", 10},        {"5t", 5}};
    for (const auto& [text, size] : sizes) {
        EXPECT_EQ(read("SystemMemorySize = " + text).word(96), size) << text;
    }
}

TEST(NonxmlValues, AMacAddressIsSixDecimalParts) {
    const std::pair<std::string, std::string> addresses[] = {
        {"0:23:52:255:1:2", std::string("\x00\x17\x34\xFF\x01\x02", 6)},
        {"010:0x11:9", std::string("\x0A\0\x09\0\0\0", 6)},
        {"1:2:3:4:5:6:7", "\1\2\3\4\5\6"},
        {"ff:1:2:3:4:5", std::string("\0\1\2\3\4\5", 6)},
        {"1:2:3:4:5:ff", std::string("\1\2\3\4\5\0", 6)},
        {":2:3", std::string("\0\2\3\0\0\0", 6)},
        {"1::3", std::string("\1\0\3\0\0\0", 6)},
        {"1:2", std::string("\1\2\0\0\0\0", 6)},
        {"257:2:3:4:5:6", "\1\2\3\4\5\6"},
    };
    for (const auto& [text, bytes] : addresses) {
        const Result_t result = readOver(0xEE, "MacAddress = " + text);
        EXPECT_EQ(result.text(248, 8), bytes + "\xEE\xEE") << text << ": the filler stays";
    }
    EXPECT_EQ(read("MacAddress = ff:1:2:3:4:5").err, "");
}

TEST(NonxmlValues, TheFirstPartOfAnAddressIsTheMostSignificant) {
    const std::pair<std::string, std::uint32_t> addresses[] = {
        {"1.2.3.4", 0x01020304},
        {"1.2", 0x01020000},
        {"1", 0x01000000},
        {"1.2.3.4.5", 0x01020304},
        {"255.255.255.255", 0xFFFFFFFF},
        {"host.2.3.4", 0x00020304}, // as a later part that is no number
        {"1.2.three.4", 0x01020004},
        {"010.0.0.1", 0x0A000001},
        {"0.1.256.0", 0x00020000}, // a part too large adds to the one before
    };
    for (const auto& [text, word] : addresses) {
        EXPECT_EQ(readOver(0xEE, "IssIpAddress = " + text).word(40), word) << text;
    }
}

TEST(NonxmlValues, AVersionNeverSetsTheMaintenanceNumber) {
    const Result_t result = readOver(0xEE, "MpuSoftwareVersion = 1.3.24");
    EXPECT_EQ(result.half(48), 1U);
    EXPECT_EQ(result.half(50), 3U);
    EXPECT_EQ(result.half(52), 0xEEEEU);
    EXPECT_EQ(result.half(54), 24U);
    const Result_t four = read("Q4xFirmwareVersion = 1.3.0.24");
    EXPECT_EQ(four.half(56), 1U);
    EXPECT_EQ(four.half(58), 3U);
    EXPECT_EQ(four.half(60), 0U);
    EXPECT_EQ(four.half(62), 0U);
    const Result_t named = readOver(0xEE, "MpuSoftwareVersion = v1.3.24");
    EXPECT_EQ(named.err, "");
    EXPECT_EQ(named.half(48), 0U);
    EXPECT_EQ(named.half(50), 3U);
    EXPECT_EQ(named.half(52), 0xEEEEU);
    EXPECT_EQ(named.half(54), 24U);
    EXPECT_EQ(read("MpuSoftwareVersion = 7").half(48), 7U);
    EXPECT_TRUE(read("MpuSoftwareVersion = 7").zeroOutside(48, 2));
}

TEST(NonxmlValues, AdaptersAreTwoHalves) {
    const std::pair<std::string, std::uint32_t> adapters[] = {
        {"2/1", 0x00020001},     {"0x10/0x20", 0x00100020}, {"65535/65535", 0xFFFFFFFF},
        {"1/65538", 0x00010002},                    // the lower half never reaches the upper
        {"3 / 4", 0x00030004},   {"3", 0x00030000}, // a missing half is 0
        {"3/", 0x00030000},      {"/4", 0x00000004},        {"two/4", 0x00000000}, // no slash follows the first number
    };
    for (const auto& [text, word] : adapters) {
        EXPECT_EQ(read("Adapter = " + text).word(736), word) << text;
    }
}

TEST(NonxmlValues, TextsAreCutToTheirField) {
    const std::tuple<std::string, std::size_t, std::size_t> fields[] = {
        {"SerialNumber", 120, 64}, {"LogDirectory", 568, 128}, {"VendorId", 704, 8}};
    for (const auto& [key, offset, size] : fields) {
        std::string text;
        for (std::size_t i = 0; i < size; ++i) {
            text += static_cast<char>('A' + i % 26);
        }
        const Result_t whole = read(key + " = " + text);
        EXPECT_EQ(whole.err, "");
        EXPECT_EQ(whole.text(offset, size), text);
        const Result_t cut = read(key + " = " + text + "xyz");
        EXPECT_EQ(cut.err, "String for " + key + " too long.  Truncating to " + std::to_string(size) + "\n");
        EXPECT_EQ(cut.block, whole.block);
        EXPECT_TRUE(cut.zeroOutside(offset, size));
    }
}

TEST(NonxmlValues, AShorterTextLeavesNothingOfALongerOne) {
    EXPECT_EQ(read("LogDirectory = /long/one\nLogDirectory = /x\n").text(568, 9), std::string("/x\0\0\0\0\0\0\0", 9));
    EXPECT_EQ(read("VendorId = LONGNAME\nVendorId = ab\n").text(704, 8), "ab      ");
}

TEST(NonxmlValues, TheDefaultIsTheValueOfTheEndEntry) {
    const NonXML_s tag = {"Colour", NONXML_E_TYPE_ENUM, 3, 1, 1, COLOURS};
    const Result_t result = store(tag, "blue");
    EXPECT_EQ(result.err, "+++ Warning: Unrecognized enumeration in configuration file - blue\n    Using default 7\n");
    EXPECT_EQ(result.block[3], 7);
    EXPECT_EQ(store(tag, "RED").block[3], 1);
}

TEST(NonxmlValues, TheWordOfAKeyIsItsTypeAndOffset) {
    const NonXmlFound_t directory = nonXmlFindEnum(nonXML_Tables.batteryPolicy, "mmsgdirectory");
    EXPECT_TRUE(directory.known);
    EXPECT_EQ(directory.value, 0x05000138U);
    const NonXmlFound_t nothing = nonXmlFindEnum(nonXML_Tables.batteryPolicy, "nonsense");
    EXPECT_FALSE(nothing.known);
    EXPECT_EQ(nothing.value, 0U);
}

TEST(NonxmlValues, AnEntryOfTheWrongSizeStoresNothing) {
    const struct {
        NonXML_types_e type;
        int size;
        const char* value;
    } cases[] = {
        {NONXML_E_TYPE_U32, 4, "1"},      {NONXML_E_TYPE_ENUM, 1, "red"},    {NONXML_E_TYPE_U8, 1, "1"},
        {NONXML_E_TYPE_U16, 2, "1"},      {NONXML_E_TYPE_U64, 8, "1"},       {NONXML_E_TYPE_MACADDR, 8, "1:2"},
        {NONXML_E_TYPE_IPADDR, 4, "1.2"}, {NONXML_E_TYPE_VERSION, 8, "1.2"}, {NONXML_E_TYPE_ADAPTERS, 4, "1/2"},
        {NONXML_E_TYPE_SIZE, 4, "1k"},
    };
    for (const auto& c : cases) {
        const NonXML_s tag = {"Test", c.type, 0, 3, 1, COLOURS};
        const Result_t result = store(tag, c.value);
        EXPECT_EQ(result.err, "Internal error: Entry size does not match type! 3 != " + std::to_string(c.size) + "\n");
        EXPECT_TRUE(result.zeroOutside(0, 0)) << c.type;
    }
}

TEST(NonxmlValues, ATypeThatDoesNotExistStoresNothing) {
    const NonXML_s tag = {"Test", static_cast<NonXML_types_e>(12), 0, 4, 1, nullptr};
    const Result_t result = store(tag, "1");
    EXPECT_EQ(result.err, "+++ Internal error parsing configuration file - 12\n");
    EXPECT_TRUE(result.zeroOutside(0, 0));
}

TEST(NonxmlValues, TheTablesHaveTheWidthsTheyShareWithOtherReaders) {
    EXPECT_EQ(sizeof(NonXML_s::type), 1U);
    EXPECT_EQ(sizeof(NonXML_s::offset), 2U);
    EXPECT_EQ(sizeof(NonXML_s::size), 2U);
    EXPECT_EQ(sizeof(NonXML_s::count), 1U);
    EXPECT_EQ(sizeof(NonXML_Enums_t::value), 4U);
    EXPECT_EQ(sizeof(NonXML_Flag_t::mask), 4U);
    EXPECT_EQ(sizeof(nonXML_Tables), sizeof(nonXML_Tables.batteryPolicy) + sizeof(nonXML_Tables.tagList))
        << "the policies run straight into the keys";
}

TEST(NonxmlValues, TheTypesHaveTheirNumbers) {
    const int types[] = {NONXML_E_TYPE_U32,    NONXML_E_TYPE_ENUM,    NONXML_E_TYPE_U8,       NONXML_E_TYPE_U16,
                         NONXML_E_TYPE_U64,    NONXML_E_TYPE_STRING,  NONXML_E_TYPE_BSTRING,  NONXML_E_TYPE_MACADDR,
                         NONXML_E_TYPE_IPADDR, NONXML_E_TYPE_VERSION, NONXML_E_TYPE_ADAPTERS, NONXML_E_TYPE_SIZE};
    for (int i = 0; i < 12; ++i) {
        EXPECT_EQ(types[i], i);
    }
}
