/** Every key, every name of a value and every flag of the text file, and where each lands in the block. */
#include <cctype>
#include <gtest/gtest.h>

#include "mpu_gbl.h"
#include "nonxml.h"
#include "nonxml_reader.h"

using nonxmltest::read;
using nonxmltest::Result_t;

namespace {

std::string swapCase(std::string text) {
    for (char& c : text) {
        const auto u = static_cast<unsigned char>(c);
        c = static_cast<char>(std::isupper(u) != 0 ? std::tolower(u) : std::toupper(u));
    }
    return text;
}

struct Key_t {
    const char* name;
    int type;
    unsigned offset;
    unsigned size;
    unsigned count;
    const char* sample; /**< a value */
    unsigned width;     /**< of the integer that the value is: 1, 2 or 4 bytes; 0 for other kinds */
    std::uint32_t expected;
};

constexpr Key_t KEYS[] = {
    {"Version", 0, 0, 4, 1, "15", 4, 15},
    {"Flags", 0, 4, 4, 1, "0x1000080", 4, 0x1000080},
    {"Slot", 0, 8, 4, 1, "3", 4, 3},
    {"iCharMode", 1, 14, 1, 1, "StubServer", 1, 3},
    {"NumberOfPorts", 2, 15, 1, 1, "8", 1, 8},
    {"IssIpAddress", 8, 40, 4, 1, "192.168.1.2", 4, 0xC0A80102},
    {"NumberOfBusses", 2, 44, 1, 1, "2", 1, 2},
    {"NumberOfAdapters", 2, 45, 1, 1, "1", 1, 1},
    {"BatteryMgtPolicy", 1, 46, 1, 1, "Quiesce", 1, 3},
    {"MpuSoftwareVersion", 9, 48, 8, 1, "1.3.24", 0, 0},
    {"Q4xFirmwareVersion", 9, 56, 8, 1, "2.4.25", 0, 0},
    {"AsicDeviceId", 3, 64, 2, 1, "0x1234", 2, 0x1234},
    {"PciVendorId", 3, 66, 2, 1, "0x5678", 2, 0x5678},
    {"AsicRevision", 3, 68, 2, 1, "0x9ABC", 2, 0x9ABC},
    {"HaccMode", 1, 70, 1, 1, "eBlade", 1, 3},
    {"ChassisType", 1, 71, 1, 1, "Xyratex2U12ATX", 1, 2},
    {"SerialValue", 0, 72, 4, 1, "4000000000", 4, 4000000000U},
    {"OUINumber", 0, 80, 4, 1, "0x001734", 4, 0x1734},
    {"ProductIdString", 6, 84, 1, 4, "P", 0, 0},
    {"BoardRevNumber", 6, 88, 4, 4, "B1", 0, 0},
    {"SystemMemorySize", 11, 96, 4, 1, "64m", 4, 67108864},
    {"BufferMemorySize", 11, 100, 4, 1, "1g", 4, 1073741824},
    {"HaccStartingIpAddress", 8, 104, 4, 1, "10.0.0.1", 4, 0x0A000001},
    {"HaccNetmask", 8, 108, 4, 1, "255.255.255.0", 4, 0xFFFFFF00},
    {"MgtPortIpAddress", 8, 112, 4, 1, "10.1.2.3", 4, 0x0A010203},
    {"MgtPortNetmask", 8, 116, 4, 1, "255.0.0.0", 4, 0xFF000000},
    {"SerialNumber", 5, 120, 64, 1, "SN-1", 0, 0},
    {"ChassisSerialNumber", 5, 184, 64, 1, "CH-2", 0, 0},
    {"MacAddress", 7, 248, 8, 8, "0:23:52:1:2:3", 0, 0},
    {"MmsgDirectory", 5, 312, 128, 1, "/var/mmsg", 0, 0},
    {"NvramDirectory", 5, 440, 128, 1, "/var/nvram", 0, 0},
    {"LogDirectory", 5, 568, 128, 1, "/var/log", 0, 0},
    {"portConfiguration", 1, 696, 1, 8, "10gige", 1, 2},
    {"VendorId", 6, 704, 8, 1, "ACME", 0, 0},
    {"ProductId", 6, 712, 16, 1, "Array", 0, 0},
    {"RevisionLevel", 6, 728, 4, 1, "1.3", 0, 0},
    {"Bus", 1, 732, 1, 2, "True", 1, 1},
    {"Adapter", 10, 736, 4, 2, "2/1", 4, 0x00020001},
};

std::uint32_t integerAt(const Result_t& result, const Key_t& key) {
    return key.width == 1   ? result.block[key.offset]
           : key.width == 2 ? result.half(key.offset)
                            : result.word(key.offset);
}

} // namespace

TEST(NonxmlKeys, TheTableHoldsThirtyEightKeysInOrderAndAnEnd) {
    ASSERT_EQ(std::size(KEYS), 38U);
    for (std::size_t i = 0; i < std::size(KEYS); ++i) {
        const NonXML_s& tag = nonXML_Tables.tagList[i];
        ASSERT_STREQ(tag.name, KEYS[i].name);
        EXPECT_EQ(int{tag.type}, KEYS[i].type) << tag.name;
        EXPECT_EQ(tag.offset, KEYS[i].offset) << tag.name;
        EXPECT_EQ(tag.size, KEYS[i].size) << tag.name;
        EXPECT_EQ(tag.count, KEYS[i].count) << tag.name;
        EXPECT_EQ(tag.enums != nullptr, KEYS[i].type == 1) << tag.name;
    }
    EXPECT_EQ(nonXML_Tables.tagList[38].name, nullptr);
}

TEST(NonxmlKeys, AKeyInAnyCaseStoresAtItsOffsetAndNowhereElse) {
    for (const Key_t& key : KEYS) {
        const std::string value = std::string(" = ") + key.sample + "\n";
        const Result_t result = read(key.name + value);
        const Result_t swapped = read(swapCase(key.name) + value);
        EXPECT_EQ(result.err + swapped.err, "") << key.name;
        EXPECT_EQ(swapped.block, result.block) << key.name;
        EXPECT_FALSE(result.zeroOutside(0, 0)) << key.name;
        if (key.width != 0) {
            EXPECT_EQ(integerAt(result, key), key.expected) << key.name;
            EXPECT_TRUE(result.zeroOutside(key.offset, key.width)) << key.name;
        }
    }
}

TEST(NonxmlKeys, TextsAreFilledWithZerosOrWithBlanksAndNoTerminator) {
    const struct {
        const char* line;
        std::size_t offset;
        std::size_t size;
        std::string value; /**< what follows it is zero */
    } cases[] = {
        {"SerialNumber = SN-1", 120, 64, "SN-1"},
        {"ChassisSerialNumber = CH 2", 184, 64, "CH 2"},
        {"MmsgDirectory = /var/mmsg", 312, 128, "/var/mmsg"},
        {"NvramDirectory = /var/nv", 440, 128, "/var/nv"},
        {"LogDirectory = /var/log", 568, 128, "/var/log"},
        {"VendorId = ACME", 704, 8, "ACME    "},
        {"ProductId = Array 12", 712, 16, "Array 12        "},
        {"RevisionLevel = 1.3", 728, 4, "1.3 "},
        {"BoardRevNumber = B1", 88, 4, "B1  "},
        {"ProductIdString = P", 84, 1, "P"},
        {"VendorId = 12345678", 704, 8, "12345678"},
        {"VendorId =", 704, 8, "        "},
    };
    for (const auto& c : cases) {
        const Result_t result = read(c.line);
        std::string expected = c.value;
        expected.resize(c.size, '\0');
        EXPECT_EQ(result.err, "") << c.line;
        EXPECT_EQ(result.text(c.offset, c.size), expected) << c.line;
        EXPECT_TRUE(result.zeroOutside(c.offset, c.size)) << c.line;
    }
    const Result_t result = read("ProductIdString = PROD\n"); // one character of four
    EXPECT_EQ(result.err, "String for ProductIdString too long.  Truncating to 1\n");
    EXPECT_EQ(result.text(84, 4), std::string("P\0\0\0", 4));
}

TEST(NonxmlKeys, EveryNameOfAValueAndAWarningForAllOthers) {
    const struct {
        const char* key;
        unsigned offset;
        std::vector<std::pair<std::string, unsigned>> names;
        std::vector<std::string> others;
    } cases[] = {
        {"iCharMode", 14, {{"Driver", 1}, {"ISS", 2}, {"StubServer", 3}, {"StubClient", 4}}, {"Nonsense"}},
        {"HaccMode", 70, {{"StandAlone", 1}, {"DualSim", 2}, {"eBlade", 3}, {"Default", 4}}, {"Nonsense"}},
        {"ChassisType",
         71,
         {{"None", 1}, {"Xyratex2U12ATX", 2}, {"Quadra", 3}},
         {"Nonsense", "Chenbro3U16ATX", "Vsc055", "W83782D", "4", "5", "6"}},
        {"portConfiguration", 696, {{"1gige", 1}, {"10gige", 2}}, {"Nonsense"}},
        {"Bus", 732, {{"True", 1}, {"False", 0}}, {"Nonsense"}},
        {"BatteryMgtPolicy",
         46,
         {{"Unknown", 0}, {"Ignore", 1}, {"WriteThrough", 2}, {"Quiesce", 3}, {"UPSPresent", 4}},
         {"Nonsense"}},
    };
    for (const auto& c : cases) {
        for (const auto& [listed, value] : c.names) {
            for (const std::string& name : {listed, swapCase(listed)}) {
                const Result_t result = nonxmltest::readOver(0xEE, std::string(c.key) + "=" + name);
                EXPECT_EQ(result.err, "") << c.key << " " << name;
                EXPECT_EQ(result.block[c.offset], value) << c.key << " " << name;
                EXPECT_EQ(result.block[c.offset + 1], 0xEE) << c.key << " " << name;
            }
        }
        for (const std::string& name : c.others) {
            const Result_t result = nonxmltest::readOver(0xEE, std::string(c.key) + " = " + name + "\n");
            EXPECT_EQ(result.err, "+++ Warning: Unrecognized enumeration in configuration file - " + name +
                                      "\n    Using default 0\n");
            EXPECT_EQ(result.block[c.offset], 0) << c.key << " " << name;
        }
    }
}

/** The table has no end of its own: a key's name stands for the low byte of the word behind it, its offset. */
TEST(NonxmlKeys, ABatteryPolicyIsLookedUpAmongTheKeysToo) {
    const std::pair<std::string, unsigned> cases[] = {
        {"Slot", 8},           {"slot", 8},         {"Flags", 4},      {"iCharMode", 14},
        {"SerialNumber", 120}, {"MacAddress", 248}, {"Adapter", 0xE0}, {"MmsgDirectory", 0x38}};
    for (const auto& [name, value] : cases) {
        const Result_t result = nonxmltest::readOver(0xEE, "BatteryMgtPolicy = " + name);
        EXPECT_EQ(result.err, "") << name;
        EXPECT_EQ(result.block[46], value) << name;
        EXPECT_EQ(result.block[47], 0xEE) << name;
    }
}

TEST(NonxmlKeys, EveryFlagByItsNameInAnyCase) {
    const std::pair<std::string, std::uint32_t> flags[] = {
        {"OtherBladePresent", 0x2},
        {"RestartRecovery", 0x4},
        {"BatterySafe", 0x8},
        {"CacheValid", 0x10},
        {"ResetAsserted", 0x20},
        {"BatteryPresent", 0x40},
        {"DisableBreakpoint", 0x10000},
        {"InitializeDrives", 0x20000},
        {"DisableTimeouts", 0x40000},
        {"ClearPersistence", 0x80000},
        {"MgtPortNotInited", 0x100000},
        {"ReduceEvents", 0x200000},
        {"CmapTracingEnabled", 0x1000000},
        {"CmapHaTracingEnabled", 0x2000000},
    };
    std::string all;
    std::uint32_t together = 0;
    for (const auto& [listed, mask] : flags) {
        for (const std::string& name : {listed, swapCase(listed)}) {
            const Result_t result = read(name + "\n");
            EXPECT_EQ(result.err, "") << name;
            EXPECT_EQ(result.word(4), mask) << name;
            EXPECT_TRUE(result.zeroOutside(4, 4)) << name;
        }
        all += listed + "\n";
        together |= mask;
    }
    EXPECT_EQ(read(all).word(4), together);
    EXPECT_EQ(together, 0x033F007EU);
    EXPECT_EQ(nonXML_Flags[14].name, nullptr);
}

TEST(NonxmlKeys, AFlagIsAddedToTheFlagsThatAreUpAlreadyAndTheRunControlFlagCannotBeNamed) {
    EXPECT_EQ(read("Flags = 0x80\nCacheValid\n").word(4), 0x90U);
    EXPECT_EQ(read("CacheValid\nFlags = 0x80\n").word(4), 0x80U);
    const Result_t result = read("RcpComplete\n");
    EXPECT_EQ(result.err, "+++ Warning: Unrecognized flag in configuration file: RcpComplete\n");
    EXPECT_EQ(result.word(4), 0U);
}
