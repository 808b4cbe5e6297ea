/** Changing fields of a live block. */
#include <sstream>

#include "tool.h"

using Set = ToolTest;

namespace {

constexpr char FIELD_LIST[] =
    "version, flags, slotId, bladeType, disklineMode, iCharMode, numPorts, regBlockOffset, regBlockSize, "
    "otherPresentOffset, otherPresentBlock, otherPresentBit, resetOtherOffset, resetOtherBlock, resetOtherBit, "
    "issIpAddress, numBusses, numAdapters, batteryMgtPolicy, _pad1, mpuVer, q4xVer, asicDeviceId, pciVendorId, "
    "asicRevision, haccMode, chassisType, serialNo, shmKey, ouiNo, mfgProductIdStr, mfgBoardRevStr, _pad2, smSize, "
    "bmSize, haccStartingIpAddress, haccNetmask, mgtPortIpAddress, mgtPortNetmask, serialStr, chassisSN, macAddress, "
    "mmsgDirectory, nvramDirectory, logDirectory, portConfig, vendorId, productId, revisionLvl, bus, _pad3, adapters";

} // namespace

TEST_F(Set, EveryField) {
    createFrom("");
    std::istringstream cases(
        "flags=CacheValid,0x80 -> 0x00000090 (CacheValid, RcpComplete)|slotId=4294967295 -> 4294967295|"
        "bladeType=255 -> 255|disklineMode=0x10 -> 16|iCharMode=stubclient -> 4 (StubClient)|numPorts=2 -> 2|"
        "regBlockOffset=0x0123456789abcdef -> 0x0123456789ABCDEF|regBlockSize=4294967296 -> 0x0000000100000000|"
        "otherPresentOffset=65535 -> 65535|otherPresentBlock=1 -> 1|otherPresentBit=2 -> 2|"
        "resetOtherOffset=3 -> 3|resetOtherBlock=4 -> 4|resetOtherBit=5 -> 5|"
        "issIpAddress=10.0.0.255 -> 10.0.0.255|numBusses=6 -> 6|numAdapters=7 -> 7|"
        "batteryMgtPolicy=UPSPresent -> 4 (UPSPresent)|_pad1=8 -> 8|mpuVer=1.3.0.24 -> 1.3.0.24|"
        "q4xVer=65535.2.3.4 -> 65535.2.3.4|asicDeviceId=9 -> 9|pciVendorId=10 -> 10|asicRevision=11 -> 11|"
        "haccMode=9 -> 9|chassisType=W83782D -> 6 (w83782d)|serialNo=12 -> 12|shmKey=13 -> 13|ouiNo=14 -> 14|"
        "mfgProductIdStr=PROD -> PROD|mfgBoardRevStr=B1 -> B1|_pad2[3]=15 -> 15|smSize=3g -> 3221225472|"
        "bmSize=64M -> 67108864|haccStartingIpAddress=1.2.3.4 -> 1.2.3.4|"
        "haccNetmask=255.255.255.0 -> 255.255.255.0|mgtPortIpAddress=5.6.7.8 -> 5.6.7.8|"
        "mgtPortNetmask=255.0.0.0 -> 255.0.0.0|serialStr=a=b -> a=b|chassisSN=CH-1 -> CH-1|"
        "macAddress[7]=00:17:34:01:02:FF -> 00:17:34:01:02:ff|mmsgDirectory=/var/mmsg -> /var/mmsg|"
        "nvramDirectory=/var/nvram -> /var/nvram|logDirectory=/var/log -> /var/log|"
        "portConfig[7]=1GIGE -> 1 (1gige)|vendorId=ACME -> ACME|productId=A product -> A product|"
        "revisionLvl=1.30 -> 1.30|bus[1]=true -> 1 (True)|_pad3[0]=16 -> 16|adapters[1]=2/65535 -> 2/65535|");
    std::vector<std::string> assignments;
    std::map<std::string, std::string> expected = {{"_pad2[0]", "0"}, {"adapters[0]", "0/0"}};
    for (std::string line; std::getline(cases, line, '|');) {
        const std::size_t arrow = line.find(" -> ");
        assignments.push_back(line.substr(0, arrow));
        expected[line.substr(0, line.find('='))] = line.substr(arrow + 4);
    }
    EXPECT_EQ(assignments.size(), 51U);
    const Result_t result = tool("set", assignments);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out + result.err, "");
    auto fields = allShown();
    for (const auto& [field, value] : expected) {
        EXPECT_EQ(fields[field], value) << field;
    }
    EXPECT_EQ(tool("set", {"SLOTID=7"}).status, 0);
    EXPECT_EQ(shown("slotId"), "7") << "names without regard to case";
}

TEST_F(Set, AChassisGoesByEitherOfItsNamesOrByItsNumber) {
    createFrom("");
    const struct {
        const char* value;
        const char* shown;
    } cases[] = {
        {"none", "1 (none)"},     {"xyratex", "2 (xyratex)"}, {"Xyratex2U12ATX", "2 (xyratex)"},
        {"quadra", "3 (quadra)"}, {"chenbro", "4 (chenbro)"}, {"chenbro3u16atx", "4 (chenbro)"},
        {"vsc055", "5 (vsc055)"}, {"W83782D", "6 (w83782d)"}, {"0x3", "3 (quadra)"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(tool("set", {std::string("chassisType=") + c.value}).status, 0) << c.value;
        EXPECT_EQ(shown("chassisType"), c.shown) << c.value;
    }
    for (const std::string wrong : {"0", "7", "xyrat", "xyratex2", "Tower", ""}) {
        EXPECT_REFUSED(tool("set", {"chassisType=" + wrong}), 1,
                       "chassisType=" + wrong +
                           ": expected none, xyratex, quadra, chenbro, vsc055 or w83782d, or a number from 1 to 6");
    }
}

TEST_F(Set, OnlyTheNamedBytesChange) {
    createFrom("SerialNumber = x\n");
    std::string expected = segment.bytes();
    ASSERT_EQ(tool("set", {"chassisType=4", "vendorId=ab", "macAddress[0]=01:02:03:04:05:06"}).status, 0);
    expected[71] = 4;
    expected.replace(704, 8, "ab      ");
    expected.replace(248, 6, "\x01\x02\x03\x04\x05\x06");
    EXPECT_EQ(segment.bytes(), expected);
}

TEST_F(Set, FlagsAreSetByNamesAndNumbersOrSinglyRaisedAndLowered) {
    createFrom("CacheValid\n");
    const std::pair<const char*, const char*> cases[] = {
        {"flags+=RcpComplete", "0x00000090 (CacheValid, RcpComplete)"},
        {"flags-=cachevalid", "0x00000080 (RcpComplete)"},
        {"flags+=0x1000000,BatterySafe", "0x01000088 (BatterySafe, RcpComplete, CmapTracingEnabled)"},
        {"flags=2", "0x00000002 (OtherBladePresent)"},
        {"flags=0", "0x00000000 ()"},
        {"flags=OtherBladePresent", "0x00000002 (OtherBladePresent)"},
        {"flags=RestartRecovery", "0x00000004 (RestartRecovery)"},
        {"flags=BatterySafe", "0x00000008 (BatterySafe)"},
        {"flags=CacheValid", "0x00000010 (CacheValid)"},
        {"flags=ResetAsserted", "0x00000020 (ResetAsserted)"},
        {"flags=BatteryPresent", "0x00000040 (BatteryPresent)"},
        {"flags=RcpComplete", "0x00000080 (RcpComplete)"},
        {"flags=DisableBreakpoint", "0x00010000 (DisableBreakpoint)"},
        {"flags=InitializeDrives", "0x00020000 (InitializeDrives)"},
        {"flags=DisableTimeouts", "0x00040000 (DisableTimeouts)"},
        {"flags=ClearPersistence", "0x00080000 (ClearPersistence)"},
        {"flags=MgtPortNotInited", "0x00100000 (MgtPortNotInited)"},
        {"flags=ReduceEvents", "0x00200000 (ReduceEvents)"},
        {"flags=CmapTracingEnabled", "0x01000000 (CmapTracingEnabled)"},
        {"flags=CmapHaTracingEnabled", "0x02000000 (CmapHaTracingEnabled)"}};
    for (const auto& [assignment, value] : cases) {
        EXPECT_EQ(tool("set", {assignment}).status, 0) << assignment;
        EXPECT_EQ(shown("flags"), value) << assignment;
    }
}

TEST_F(Set, WhatIsWrongSaysWhatWouldBeRightAndThenNothingChanges) {
    createFrom("");
    const std::string before = segment.bytes();
    const std::string names =
        ": expected names separated by \",\" out of OtherBladePresent, RestartRecovery, BatterySafe, CacheValid, "
        "ResetAsserted, BatteryPresent, "
        "RcpComplete, DisableBreakpoint, InitializeDrives, DisableTimeouts, ClearPersistence, "
        "MgtPortNotInited, ReduceEvents, CmapTracingEnabled or CmapHaTracingEnabled, or a number of 32 bits";
    const struct {
        std::string assignment;
        std::string message;
    } cases[] = {
        {"colour=1", std::string("unknown field \"colour\"; the fields are ") + FIELD_LIST},
        {"slotId", "\"slotId\": expected FIELD=VALUE, FIELD[N]=VALUE, flags+=NAME or flags-=NAME"},
        {"=1", "\"=1\": expected FIELD=VALUE, FIELD[N]=VALUE, flags+=NAME or flags-=NAME"},
        {"bus[1=1", "\"bus[1=1\": expected FIELD=VALUE, FIELD[N]=VALUE, flags+=NAME or flags-=NAME"},
        {"slotId=", "slotId=: expected a number from 0 to 4294967295"},
        {"slotId=1x", "slotId=1x: expected a number from 0 to 4294967295"},
        {"slotId=-1", "slotId=-1: expected a number from 0 to 4294967295"},
        {"slotId=4294967296", "slotId=4294967296: expected a number from 0 to 4294967295"},
        {"asicDeviceId=0x10000", "asicDeviceId=0x10000: expected a number from 0 to 65535"},
        {"regBlockSize=18446744073709551616",
         "regBlockSize=18446744073709551616: expected a number of at most 64 bits"},
        {"smSize=4g", "smSize=4g: expected bytes below 4g, or a number followed by k, m or g"},
        {"smSize=k", "smSize=k: expected bytes below 4g, or a number followed by k, m or g"},
        {"haccMode=Solo", "haccMode=Solo: expected StandAlone, DualSim, eBlade or Default, or a number from 0 to 255"},
        {"bus[0]=256", "bus[0]=256: expected True or False, or a number from 0 to 255"},
        {"flags=Banana", "flags=Banana" + names},
        {"flags+=CacheValid,", "flags+=CacheValid," + names},
        {"flags=0x100000000", "flags=0x100000000" + names},
        {"slotId+=1", "slotId is no set of flags: expected slotId=VALUE"},
        {"slotId[0]=1", "slotId has no elements: expected slotId=VALUE"},
        {"bus=1", "bus has 2 elements: expected bus[0] to bus[1]"},
        {"bus[2]=1", "bus has 2 elements: expected bus[0] to bus[1]"},
        {"macAddress[8]=00:00:00:00:00:00", "macAddress has 8 elements: expected macAddress[0] to macAddress[7]"},
        {"macAddress[x]=00:00:00:00:00:00", "macAddress has 8 elements: expected macAddress[0] to macAddress[7]"},
        {"macAddress[0]=0:1:2:3:4",
         "macAddress[0]=0:1:2:3:4: expected six hexadecimal bytes such as 00:17:34:01:02:03"},
        {"macAddress[0]=0:1:2:3:4:100",
         "macAddress[0]=0:1:2:3:4:100: expected six hexadecimal bytes such as 00:17:34:01:02:03"},
        {"issIpAddress=1.2.3", "issIpAddress=1.2.3: expected an address such as 192.168.0.1"},
        {"issIpAddress=1.2.3.256", "issIpAddress=1.2.3.256: expected an address such as 192.168.0.1"},
        {"mpuVer=1.2.3", "mpuVer=1.2.3: expected major.minor.maintenance.build, each from 0 to 65535"},
        {"adapters[0]=1", "adapters[0]=1: expected two numbers such as 2/1, each from 0 to 65535"},
        {"vendorId=123456789", "vendorId=123456789: expected at most 8 characters, got 9"},
        {"version=14", "version=14: the version tells the layout of the block and stays 15"},
    };
    for (const auto& c : cases) {
        EXPECT_REFUSED(tool("set", {c.assignment}), 1, c.message);
    }
    EXPECT_REFUSED(tool("set", {"slotId=2", "flags+=RcpComplete", "numPorts=256"}), 1,
                   "numPorts=256: expected a number from 0 to 255");
    EXPECT_EQ(segment.bytes(), before);
}

TEST_F(Set, TextsFillTheirFieldAndDirectoriesKeepTheirEnd) {
    createFrom("");
    EXPECT_EQ(tool("set", {"serialStr=" + std::string(64, 's'), "logDirectory=/" + std::string(126, 'l')}).status, 0);
    EXPECT_EQ(shown("serialStr"), std::string(64, 's'));
    EXPECT_EQ(shown("logDirectory"), "/" + std::string(126, 'l'));
    const std::string path = "logDirectory=/" + std::string(127, 'l');
    EXPECT_REFUSED(tool("set", {path}), 1, path + ": expected at most 127 characters, got 128");
    const std::string serial = "serialStr=" + std::string(65, 's');
    EXPECT_REFUSED(tool("set", {serial}), 1, serial + ": expected at most 64 characters, got 65");
}
