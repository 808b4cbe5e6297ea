/** Every key, every name of a value and every flag of the text file, and where each lands in the block. */
#include <cctype>

#include <gtest/gtest.h>

#include "mpu_gbl.h"
#include "nonxml.h"
#include "nonxml_reader.h"

namespace nonxmltest {

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
    const char* stored; /**< what it becomes, from the offset on */
};

constexpr Key_t KEYS[] = {
    {"Version", 0, 0, 4, 1, "15", "0000000f"},
    {"Flags", 0, 4, 4, 1, "0x1000080", "01000080"},
    {"Slot", 0, 8, 4, 1, "3", "00000003"},
    {"iCharMode", 1, 14, 1, 1, "StubServer", "03"},
    {"NumberOfPorts", 2, 15, 1, 1, "8", "08"},
    {"IssIpAddress", 8, 40, 4, 1, "192.168.1.2", "c0a80102"},
    {"NumberOfBusses", 2, 44, 1, 1, "2", "02"},
    {"NumberOfAdapters", 2, 45, 1, 1, "1", "01"},
    {"BatteryMgtPolicy", 1, 46, 1, 1, "Quiesce", "03"},
    {"MpuSoftwareVersion", 9, 48, 8, 1, "1.3.24", "00010003 54:0018"},
    {"Q4xFirmwareVersion", 9, 56, 8, 1, "2.4.25", "00020004 62:0019"},
    {"AsicDeviceId", 3, 64, 2, 1, "0x1234", "1234"},
    {"PciVendorId", 3, 66, 2, 1, "0x5678", "5678"},
    {"AsicRevision", 3, 68, 2, 1, "0x9ABC", "9abc"},
    {"HaccMode", 1, 70, 1, 1, "eBlade", "03"},
    {"ChassisType", 1, 71, 1, 1, "Xyratex2U12ATX", "02"},
    {"SerialValue", 0, 72, 4, 1, "3000000000", "b2d05e00"},
    {"OUINumber", 0, 80, 4, 1, "0x001734", "00001734"},
    {"ProductIdString", 6, 84, 1, 4, "P", "50"},
    {"BoardRevNumber", 6, 88, 4, 4, "B1", "42312020"},
    {"SystemMemorySize", 11, 96, 4, 1, "64m", "04000000"},
    {"BufferMemorySize", 11, 100, 4, 1, "1g", "40000000"},
    {"HaccStartingIpAddress", 8, 104, 4, 1, "10.0.0.1", "0a000001"},
    {"HaccNetmask", 8, 108, 4, 1, "255.255.255.0", "ffffff00"},
    {"MgtPortIpAddress", 8, 112, 4, 1, "10.1.2.3", "0a010203"},
    {"MgtPortNetmask", 8, 116, 4, 1, "255.0.0.0", "ff000000"},
    {"SerialNumber", 5, 120, 64, 1, "SN-1", "534e2d31(00x60)"},
    {"ChassisSerialNumber", 5, 184, 64, 1, "CH 2", "43482032(00x60)"},
    {"MacAddress", 7, 248, 8, 8, "0:23:52:1:2:3", "001734010203"},
    {"MmsgDirectory", 5, 312, 128, 1, "/var/mmsg", "2f7661722f6d6d7367(00x119)"},
    {"NvramDirectory", 5, 440, 128, 1, "/var/nv", "2f7661722f6e76(00x121)"},
    {"LogDirectory", 5, 568, 128, 1, "/var/log", "2f7661722f6c6f67(00x120)"},
    {"portConfiguration", 1, 696, 1, 8, "10gige", "02"},
    {"VendorId", 6, 704, 8, 1, "ACME", "41434d4520202020"},
    {"ProductId", 6, 712, 16, 1, "Array 12",
     "417272617920313220202020"
     "20202020"},
    {"RevisionLevel", 6, 728, 4, 1, "1.3", "312e3320"},
    {"Bus", 1, 732, 1, 2, "True", "01"},
    {"Adapter", 10, 736, 4, 2, "2/1", "00020001"},
};

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
        const std::string expected = std::to_string(key.offset) + ":" + key.stored;
        EXPECT_EQ(read(std::string(key.name) + " = " + key.sample + "\n"), expected) << key.name;
        EXPECT_EQ(read(swapCase(key.name) + " = " + key.sample + "\n"), expected) << key.name;
    }
}

TEST(NonxmlKeys, EveryNameOfAValueAndAWarningForAllOthers) {
    const struct {
        std::string key;
        std::string offset;
        std::vector<std::string> names;
        std::vector<std::string> others;
        int first = 1; /**< what the first name stands for; each following one for one more */
    } cases[] = {
        {"iCharMode=", "14:", {"Driver", "ISS", "StubServer", "StubClient"}, {"Nonsense"}},
        {"HaccMode=", "70:", {"StandAlone", "DualSim", "eBlade", "Default"}, {"Nonsense"}},
        {"ChassisType=",
         "71:",
         {"None", "Xyratex2U12ATX", "Quadra"},
         {"Nonsense", "Chenbro3U16ATX", "Vsc055", "W83782D", "4", "5", "6"}},
        {"portConfiguration=", "696:", {"1gige", "10gige"}, {"Nonsense"}},
        {"Bus=", "732:", {"False", "True"}, {"Nonsense"}, 0},
        {"BatteryMgtPolicy=", "46:", {"Unknown", "Ignore", "WriteThrough", "Quiesce", "UPSPresent"}, {"Nonsense"}, 0},
    };
    for (const auto& c : cases) {
        int value = c.first;
        for (const std::string& name : c.names) {
            const std::string stored = c.offset + "0" + std::to_string(value++);
            expectOutcomes(c.key, {{name, stored}, {swapCase(name), stored}});
        }
        for (const std::string& name : c.others) {
            expectOutcomes(c.key, {{name, UNKNOWN_NAME + name + "\n    Using default 0\n" + c.offset + "00"}});
        }
    }
}

/** The table has no end of its own: a key's name stands for the low byte of the word behind it, its offset. */
TEST(NonxmlKeys, ABatteryPolicyIsLookedUpAmongTheKeysToo) {
    expectOutcomes("BatteryMgtPolicy = ", {{"Slot", "46:08"},
                                           {"slot", "46:08"},
                                           {"Flags", "46:04"},
                                           {"iCharMode", "46:0e"},
                                           {"SerialNumber", "46:78"},
                                           {"MacAddress", "46:f8"},
                                           {"Adapter", "46:e0"},
                                           {"MmsgDirectory", "46:38"}});
    const NonXmlFound_t directory = nonXmlFindEnum(nonXML_Tables.batteryPolicy, "mmsgdirectory");
    EXPECT_TRUE(directory.known);
    EXPECT_EQ(directory.value, 0x05000138U) << "type and offset";
}

TEST(NonxmlKeys, EveryFlagByItsNameInAnyCase) {
    const Outcomes_t flags = {
        {"OtherBladePresent", "7:02"},  {"RestartRecovery", "7:04"},      {"BatterySafe", "7:08"},
        {"CacheValid", "7:10"},         {"ResetAsserted", "7:20"},        {"BatteryPresent", "7:40"},
        {"DisableBreakpoint", "5:01"},  {"InitializeDrives", "5:02"},     {"DisableTimeouts", "5:04"},
        {"ClearPersistence", "5:08"},   {"MgtPortNotInited", "5:10"},     {"ReduceEvents", "5:20"},
        {"CmapTracingEnabled", "4:01"}, {"CmapHaTracingEnabled", "4:02"},
    };
    std::string all;
    for (const auto& [name, outcome] : flags) {
        EXPECT_EQ(read(name + "\n", 0), outcome);
        EXPECT_EQ(read(swapCase(name) + "\n", 0), outcome);
        all += name + "\n";
    }
    EXPECT_EQ(read(all, 0), "4:033f 7:7e");
    EXPECT_EQ(nonXML_Flags[14].name, nullptr);
    EXPECT_EQ(nonXML_Flags[14].mask, 0U);
}

TEST(NonxmlKeys, AFlagIsAddedToTheFlagsThatAreUpAlreadyAndTheRunControlFlagCannotBeNamed) {
    expectOutcomes("", {{"Flags = 0x80\nCacheValid\n", "4:00000090"},
                        {"CacheValid\nFlags = 0x80\n", "4:00000080"},
                        {"RcpComplete\n", UNKNOWN_FLAG + "RcpComplete\n"}});
}

} // namespace nonxmltest
