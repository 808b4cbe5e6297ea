/** How the text is cut into lines, keys and values, and the conversion of each type. */
#include <gtest/gtest.h>

#include "nonxml_reader.h"

namespace nonxmltest {

namespace {

std::string tooLarge(const std::string& value, const std::string& used) {
    return "+++ Warning: Number out of range in configuration file - " + value + "\n    Using " + used + "\n";
}

constexpr NonXML_Enums_t COLOURS[] = {{"red", 1}, {nullptr, 7}};

} // namespace

TEST(NonxmlLines, ACommentStartsInTheFirstColumn) {
    expectOutcomes("", {{"#Slot = 1\n# CacheValid\n#\n", ""}, {" # indented\n", UNKNOWN_FLAG + " # indented\n"}});
}

TEST(NonxmlLines, EmptyAndBlankLinesAreSkippedAndAnEmptyFileChangesNothing) {
    expectOutcomes("", {{"", ""}, {"\n   \n\t\n\r\n \v\f\n", ""}});
}

TEST(NonxmlLines, WhiteSpaceAtTheEndAndBlanksAroundTheFirstEqualsSignDoNotMatter) {
    for (const auto& blanks : {std::string(" \t\r\n"), std::string(246, ' ')}) { // of 256 characters
        EXPECT_EQ(read("CacheValid" + blanks, 0), "7:10");
    }
    CHAR_t text[] = "x \n";
    EXPECT_EQ(outcomeOf([&](U8_t* block) { nonXmlLine(text + 2, block); }), "");
    EXPECT_EQ(text[1], ' ') << "not of the line";
    expectOutcomes("", {{"RevisionLevel = a b \t \r\n", "728:61206220"}, {"RevisionLevel = a=b\n", "728:613d6220"}});
    expectOutcomes("Slot", {{"=7", "8:00000007"},
                            {" =7", "8:00000007"},
                            {"= 7", "8:00000007"},
                            {"  =  7", "8:00000007"},
                            {"\t=\t7", "8:00000007"},
                            {" \t = \t 7", "8:00000007"}});
}

TEST(NonxmlLines, WhatIsUnknownIsReportedAndTheRestIsReadAndLeadingBlanksBelongToTheKey) {
    EXPECT_EQ(read("Colour = red\nSlot = 5\nBanana\nNumberOfBusses = 3\n= 3\n  Slot = 7\n"),
              UNKNOWN_KEY + "Colour\n" + UNKNOWN_FLAG + "Banana\n" + UNKNOWN_KEY + "\n" + UNKNOWN_KEY + "  Slot\n" +
                  "8:00000005 44:03");
}

TEST(NonxmlLines, WhatALineHasBeyondItsLimitIsReadAsTheNext) {
    const std::string filled = "# " + std::string(1021, 'x'); // 1023 characters: with the terminator, the limit
    expectOutcomes(filled,
                   {{"Slot = 1\n", "8:00000001"}, {"\nSlot = 1\n", "8:00000001"}, {"xyz\n", UNKNOWN_FLAG + "xyz\n"}});
}

TEST(NonxmlLines, AZeroByteEndsTheLineItIsIn) {
    EXPECT_EQ(read(std::string("Slot = 5\0 7\nBus = True\n", 23)), "8:00000005 732:01");
}

TEST(NonxmlIndex, AValueMayNameItsElementUpToTheCountWhichIsOnePastTheArray) {
    expectOutcomes("", {{"Bus = 1-True", "733:01"},
                        {"Bus = 2-True", "734:01"},
                        {"portConfiguration = 7- 10gige", "703:02"},
                        {"portConfiguration = 8-10gige", "704:02"},
                        {"Adapter = 1-3/4", "740:00030004"},
                        {"Adapter = 2-3/4", "744:00030004"},
                        {"MacAddress = 7-1:2:3:4:5:6", "304:010203040506"},
                        {"MacAddress = 8-1:2:3:4:5:6", "312:010203040506"},
                        {"Slot = 0-9", "8:00000009"},
                        {"Version = 1-0x40", "4:00000040"},
                        {"iCharMode = 1-ISS", "15:02"},
                        {"NumberOfBusses = 1-9", "45:09"},
                        {"AsicDeviceId = 1-7", "66:0007"},
                        {"SystemMemorySize = 1-2k", "100:00000800"},
                        {"HaccNetmask = 1-1.2.3.4", "112:01020304"},
                        {"MpuSoftwareVersion = 1-1.2.3", "56:00010002 62:0003"}});
}

TEST(NonxmlIndex, IsDecimalAndMayHaveAPlusSignAndIsZeroWhenItIsNoNumber) {
    expectOutcomes("", {{"Bus = -True", "732:01"},
                        {"Bus = one-True", "732:01"},
                        {"Bus = a-True", "732:01"},
                        {"Slot = x-9", "8:00000009"},
                        {"portConfiguration = 007-1gige", "703:01"},
                        {"MacAddress = +1-1:2:3:4:5:6", "256:010203040506"},
                        {"Bus = +1-True", "733:01"}});
}

TEST(NonxmlIndex, BeyondTheCountSkipsTheLine) {
    const std::pair<std::string, std::string> cases[] = {{"MacAddress", "9-1:2:3:4:5:6"},
                                                         {"portConfiguration", "9-1gige"},
                                                         {"portConfiguration", "010-1gige"},
                                                         {"Bus", "3-True"},
                                                         {"Bus", "+3-True"},
                                                         {"Adapter", "3-1/2"},
                                                         {"Slot", "2-1"},
                                                         {"Slot", "4294967296-1"},
                                                         {"Slot", "99999999999999999999-1"},
                                                         {"HaccMode", "2-eBlade"}};
    for (const auto& [key, value] : cases) {
        EXPECT_EQ(read(key + " = " + value + "\nNumberOfBusses = 3\n"),
                  "Error: Array index out of range for " + key + "\n44:03")
            << value;
    }
    EXPECT_EQ(read("portconfiguration = 9-1gige"), "Error: Array index out of range for portConfiguration\n");
}

TEST(NonxmlValues, IntegersFollowTheirPrefixAndMayHaveASign) {
    expectOutcomes("Slot = ", {{"10", "8:0000000a"},
                               {"0x10", "8:00000010"},
                               {"0X1f", "8:0000001f"},
                               {"010", "8:00000008"},
                               {"0", "8:00000000"},
                               {"4294967295", "8:ffffffff"},
                               {"12 slots", "8:0000000c"},
                               {"+10", "8:0000000a"},
                               {"+0x10", "8:00000010"}});
    expectOutcomes("NumberOfPorts = ", {{"0x1F", "15:1f"}, {"017", "15:0f"}, {"255", "15:ff"}, {"+8", "15:08"}});
    expectOutcomes("AsicDeviceId = ",
                   {{"65535", "64:ffff"}, {"0x0A0B", "64:0a0b"}, {"020", "64:0010"}, {"+010", "64:0008"}});
}

TEST(NonxmlValues, WhatIsNoNumberIsZeroAndNotReported) {
    for (const auto& [key, stored] : Outcomes_t{{"Slot", "8:00000000 44:03"},
                                                {"NumberOfPorts", "15:00 44:03"},
                                                {"AsicRevision", "44:03 68:0000"},
                                                {"SystemMemorySize", "44:03 96:00000000"},
                                                {"IssIpAddress", "40:0000000003"},
                                                {"MacAddress", "44:03 248:000000000000"},
                                                {"Adapter", "44:03 736:00000000"}}) {
        for (const std::string value : {"many", "", "x1", "k"}) {
            EXPECT_EQ(read(key + " = " + value + "\nNumberOfBusses = 3\n"), stored) << key << " = " << value;
        }
    }
}

TEST(NonxmlValues, ANumberTooLargeForItsFieldKeepsItsLowBits) {
    expectOutcomes("", {{"NumberOfPorts = 300", tooLarge("300", "44") + "15:2c"},
                        {"AsicDeviceId = 0x12345", tooLarge("0x12345", "9029") + "64:2345"},
                        {"Slot = 4294967301", tooLarge("4294967301", "5") + "8:00000005"},
                        {"SystemMemorySize = 4g", tooLarge("4g", "0") + "96:00000000"},
                        {"Adapter = 0x10002/3", tooLarge("0x10002/3", "131075") + "736:00020003"},
                        {"Adapter = 0x10000/3", tooLarge("0x10000/3", "3") + "736:00000003"},
                        {"Adapter = 0x100000000/3", tooLarge("0x100000000/3", "3") + "736:00000003"},
                        {"Adapter = 2/65536", tooLarge("2/65536", "131072") + "736:00020000"},
                        {"Adapter = 2/0x100000000", tooLarge("2/0x100000000", "131072") + "736:00020000"},
                        {"Adapter = 2/65537", tooLarge("2/65537", "131073") + "736:00020001"}});
}

TEST(NonxmlValues, WideIntegersLieHighWordFirst) {
    const NonXML_s tag = {"Wide", NONXML_E_TYPE_U64, 16, 8, 2, nullptr};
    EXPECT_EQ(store(tag, "0x0123456789ABCDEF"), "16:0123456789abcdef");
    EXPECT_EQ(store(tag, "1-4294967296"), "24:0000000100000000");
    EXPECT_EQ(store(tag, "010"), "16:0000000000000008");
    EXPECT_EQ(store(tag, "x"), "16:0000000000000000");
}

TEST(NonxmlValues, SizesTakeAUnitInAnyCase) {
    expectOutcomes("SystemMemorySize = ", {{"64m", "96:04000000"},
                                           {"64M", "96:04000000"},
                                           {"+64m", "96:04000000"},
                                           {"3k", "96:00000c00"},
                                           {"3K", "96:00000c00"},
                                           {"3g", "96:c0000000"},
                                           {"3G", "96:c0000000"},
                                           {"4096", "96:00001000"},
                                           {"010", "96:0000000a"},
                                           {"5t", "96:00000005"}});
}

TEST(NonxmlValues, AMacAddressIsSixDecimalParts) {
    expectOutcomes("MacAddress = ", {{"0:23:52:255:1:2", "248:001734ff0102"},
                                     {"010:0x11:9", "248:0a0009000000"},
                                     {"1:2:3:4:5:6:7", "248:010203040506"},
                                     {"ff:1:2:3:4:5", "248:000102030405"},
                                     {"1:2:3:4:5:ff", "248:010203040500"},
                                     {":2:3", "248:000203000000"},
                                     {"1::3", "248:010003000000"},
                                     {"1:2", "248:010200000000"},
                                     {"257:2:3:4:5:6", "248:010203040506"},
                                     {"+1:+2:3:4:5:+6", "248:010203040506"}});
}

TEST(NonxmlValues, TheFirstPartOfAnAddressIsTheMostSignificant) {
    expectOutcomes("IssIpAddress = ", {{"1.2.3.4", "40:01020304"},
                                       {"1.2", "40:01020000"},
                                       {"1", "40:01000000"},
                                       {"1.2.3.4.5", "40:01020304"},
                                       {"255.255.255.255", "40:ffffffff"},
                                       {"host.2.3.4", "40:00020304"}, // as a later part that is no number
                                       {"1.2.three.4", "40:01020004"},
                                       {"010.0.0.1", "40:0a000001"},
                                       {"0.1.256.0", "40:00020000"}, // a part too large adds to the one before
                                       {"+1.+2.+3.+4", "40:01020304"}});
}

TEST(NonxmlValues, AVersionNeverSetsTheMaintenanceNumber) {
    expectOutcomes("MpuSoftwareVersion = ", {{"1.3.24", "48:00010003 54:0018"},
                                             {"1.3.0.24", "48:00010003 54:0000"},
                                             {"v1.3.24", "48:00000003 54:0018"},
                                             {"+1.+3.+24", "48:00010003 54:0018"},
                                             {"7", "48:0007"}});
}

TEST(NonxmlValues, AdaptersAreTwoHalves) {
    expectOutcomes("Adapter = ", {{"2/1", "736:00020001"},
                                  {"0x10/0x20", "736:00100020"},
                                  {"65535/65535", "736:ffffffff"},
                                  {"+2/+1", "736:00020001"},
                                  {"3 / 4", "736:00030004"},
                                  {"3", "736:00030000"}, // a missing half is 0
                                  {"3/", "736:00030000"},
                                  {"/4", "736:00000004"},
                                  {"two/4", "736:00000000"}}); // no slash follows the first number
}

TEST(NonxmlValues, TextsAreCutToTheirFieldAndKnowNoIndex) {
    const std::string b8 = "4242424242424242";
    expectOutcomes(
        "", {{"VendorId = BBBBBBBB", "704:" + b8},
             {"VendorId = BBBBBBBBxyz", "String for VendorId too long.  Truncating to 8\n704:" + b8},
             {"VendorId = " + std::string(256, 'B'), "String for VendorId too long.  Truncating to 8\n704:" + b8},
             {"VendorId =", "704:2020202020202020"},
             {"VendorId = 9-X", "704:392d582020202020"},
             {"VendorId = LONGNAME\nVendorId = ab\n", "704:6162202020202020"},
             {"ProductIdString = PROD", "String for ProductIdString too long.  Truncating to 1\n84:50"},
             {"SerialNumber = 1-23", "120:312d3233(00x60)"},
             {"SerialNumber = " + std::string(64, 'B'), "120:(42x64)"},
             {"SerialNumber = A" + std::string(69, 'B'),
              "String for SerialNumber too long.  Truncating to 64\n120:41(42x63)"},
             {"LogDirectory = " + std::string(128, 'B'), "568:(42x128)"},
             {"LogDirectory = A" + std::string(130, 'B'),
              "String for LogDirectory too long.  Truncating to 128\n568:41(42x127)"},
             {"LogDirectory = /long/one\nLogDirectory = /x\n", "568:2f78(00x126)"}});
}

TEST(NonxmlValues, TheDefaultIsTheValueOfTheEndEntry) {
    const NonXML_s tag = {"Colour", NONXML_E_TYPE_ENUM, 12, 1, 1, COLOURS};
    EXPECT_EQ(store(tag, "blue"), UNKNOWN_NAME + "blue\n    Using default 7\n12:07");
    EXPECT_EQ(store(tag, "RED"), "12:01");
}

TEST(NonxmlValues, AnEntryOfTheWrongSizeOrOfATypeThatDoesNotExistStoresNothing) {
    const int sizes[] = {4, 1, 1, 2, 8, 0, 0, 8, 4, 8, 4, 4}; // by type; a text has any
    for (std::uint8_t type = 0; type < 12; ++type) {
        for (const int wrong : {3, sizes[type] + 256}) {
            if (sizes[type] == 0) {
                continue;
            }
            const auto size = static_cast<std::uint16_t>(wrong);
            EXPECT_EQ(store({"Test", static_cast<NonXML_types_e>(type), 0, size, 1, COLOURS}, "1"),
                      "Internal error: Entry size does not match type! " + std::to_string(size) +
                          " != " + std::to_string(sizes[type]) + "\n");
        }
    }
    EXPECT_EQ(store({"Test", static_cast<NonXML_types_e>(12), 0, 4, 1, nullptr}, "1"),
              "+++ Internal error parsing configuration file - 12\n");
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

} // namespace nonxmltest
