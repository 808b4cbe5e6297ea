/** Fields of a live block: set, shown, and written as an image. */
#include <filesystem>
#include <sstream>
#include <sys/stat.h>

#include "json_value.h"
#include "tool.h"

using Set = ToolTest;
using Show = ToolTest;
using Image = ToolTest;
using testsupport::JsonValue_t;

namespace {

/** Every line that "show" prints, in its order: the field, what it is set to if anything, and what is shown then. */
constexpr char FIELDS[] =
    "version -> 15|flags=CacheValid,0x80 -> 0x00000090 (CacheValid, RcpComplete)|slotId=4294967295 -> 4294967295|"
    "bladeType=255 -> 255|disklineMode=0x10 -> 16|iCharMode=stubclient -> 4 (StubClient)|numPorts=2 -> 2|"
    "regBlockOffset=0x0123456789abcdef -> 0x0123456789ABCDEF|regBlockSize=4294967296 -> 0x0000000100000000|"
    "otherPresentOffset=65535 -> 65535|otherPresentBlock=1 -> 1|otherPresentBit=2 -> 2|resetOtherOffset=3 -> 3|"
    "resetOtherBlock=4 -> 4|resetOtherBit=5 -> 5|issIpAddress=10.0.0.255 -> 10.0.0.255|numBusses=6 -> 6|"
    "numAdapters=7 -> 7|batteryMgtPolicy=UPSPresent -> 4 (UPSPresent)|_pad1=8 -> 8|mpuVer=1.3.0.24 -> 1.3.0.24|"
    "q4xVer=65535.2.3.4 -> 65535.2.3.4|asicDeviceId=9 -> 9|pciVendorId=10 -> 10|asicRevision=11 -> 11|"
    "haccMode=9 -> 9|chassisType=W83782D -> 6 (w83782d)|serialNo=12 -> 12|shmKey=13 -> 13|ouiNo=14 -> 14|"
    "mfgProductIdStr=PROD -> PROD|mfgBoardRevStr=B1 -> B1|_pad2[0] -> 0|_pad2[1] -> 0|_pad2[2] -> 0|"
    "_pad2[3]=15 -> 15|smSize=3g -> 3221225472|bmSize=64M -> 67108864|haccStartingIpAddress=1.2.3.4 -> 1.2.3.4|"
    "haccNetmask=255.255.255.0 -> 255.255.255.0|mgtPortIpAddress=5.6.7.8 -> 5.6.7.8|"
    "mgtPortNetmask=255.0.0.0 -> 255.0.0.0|serialStr=a=b -> a=b|chassisSN=CH-1 -> CH-1|"
    "macAddress[0] -> 00:00:00:00:00:00|macAddress[1] -> 00:00:00:00:00:00|macAddress[2] -> 00:00:00:00:00:00|"
    "macAddress[3] -> 00:00:00:00:00:00|macAddress[4] -> 00:00:00:00:00:00|macAddress[5] -> 00:00:00:00:00:00|"
    "macAddress[6] -> 00:00:00:00:00:00|macAddress[7]=00:17:34:01:02:FF -> 00:17:34:01:02:ff|"
    "mmsgDirectory=/var/mmsg -> /var/mmsg|nvramDirectory=/var/nvram -> /var/nvram|logDirectory=/var/log -> /var/log|"
    "portConfig[0] -> 0|portConfig[1] -> 0|portConfig[2] -> 0|portConfig[3] -> 0|portConfig[4] -> 0|"
    "portConfig[5] -> 0|portConfig[6] -> 0|portConfig[7]=1GIGE -> 1 (1gige)|vendorId=ACME -> ACME|"
    "productId=A product -> A product|revisionLvl=1.30 -> 1.30|bus[0] -> 0 (False)|bus[1]=true -> 1 (True)|"
    "_pad3[0]=16 -> 16|_pad3[1] -> 0|adapters[0] -> 0/0|adapters[1]=2/65535 -> 2/65535|";

constexpr char FIELD_LIST[] =
    "version, flags, slotId, bladeType, disklineMode, iCharMode, numPorts, regBlockOffset, regBlockSize, "
    "otherPresentOffset, otherPresentBlock, otherPresentBit, resetOtherOffset, resetOtherBlock, resetOtherBit, "
    "issIpAddress, numBusses, numAdapters, batteryMgtPolicy, _pad1, mpuVer, q4xVer, asicDeviceId, pciVendorId, "
    "asicRevision, haccMode, chassisType, serialNo, shmKey, ouiNo, mfgProductIdStr, mfgBoardRevStr, _pad2, smSize, "
    "bmSize, haccStartingIpAddress, haccNetmask, mgtPortIpAddress, mgtPortNetmask, serialStr, chassisSN, macAddress, "
    "mmsgDirectory, nvramDirectory, logDirectory, portConfig, vendorId, productId, revisionLvl, bus, _pad3, adapters";

constexpr char FLAG_NAMES[] =
    "OtherBladePresent, RestartRecovery, BatterySafe, CacheValid, ResetAsserted, BatteryPresent, RcpComplete, "
    "DisableBreakpoint, InitializeDrives, DisableTimeouts, ClearPersistence, MgtPortNotInited, ReduceEvents, "
    "CmapTracingEnabled or CmapHaTracingEnabled";

} // namespace

TEST_F(Set, EveryFieldAndShowItByItsName) {
    createFrom("");
    std::istringstream rows(FIELDS);
    std::vector<std::string> assignments;
    std::string expected;
    for (std::string row; std::getline(rows, row, '|');) {
        const std::size_t arrow = row.find(" -> ");
        const std::string name = row.substr(0, row.find_first_of("= "));
        if (name.size() < arrow) {
            assignments.insert(assignments.begin(), row.substr(0, arrow)); // backwards: none spills into the next field
        }
        expected += name + std::string(23 - name.size(), ' ') + row.substr(arrow + 4) + "\n";
    }
    const Result_t result = tool("set", assignments);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out + result.err, "");
    const Result_t shown = tool("show");
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(shown.err, "");
    EXPECT_EQ(shown.out, expected);
    EXPECT_EQ(tool("set", {"SLOTID=7"}).status, 0);
    EXPECT_EQ(allShown()["slotId"], "7") << "names without regard to case";
}

TEST_F(Show, TheDocumentHoldsEveryFieldByItsName) {
    createFrom("Flags = 0x80\nCacheValid\nOtherBladePresent\nCmapTracingEnabled\nSlot = 3\nChassisType = "
               "Quadra\nVendorId = ACME\n"
               "IssIpAddress = 192.168.1.2\nMpuSoftwareVersion = 1.3.24\nSystemMemorySize = 64m\nAdapter = 1-2/3\n"
               "MacAddress = 1-0:23:52:255:1:2\nMmsgDirectory = /var/mmsg\nportConfiguration = 7-10gige\n");
    const Result_t result = tool("show", {"--json"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out.substr(0, result.out.find(',')), "{\n  \"version\": 1");
    const auto document = JsonValue_t::parse(result.out);
    EXPECT_EQ(document.size(), 3U);
    EXPECT_EQ(document["version"], 1);
    EXPECT_EQ(document["key"], key);
    const auto params = document["params"];
    const std::pair<JsonValue_t, const char*> parts[] = {
        {params["version"], "15"},
        {params["flags"],
         R"({"names":["OtherBladePresent","CacheValid","RcpComplete","CmapTracingEnabled"],"value":16777362})"},
        {params["slotId"], "3"},
        {params["chassisType"], R"({"name":"quadra","value":3})"},
        {params["portConfig"][0], R"({"name":null,"value":0})"},
        {params["portConfig"][7], R"({"name":"10gige","value":2})"},
        {params["regBlockOffset"], R"("0x0000000000000000")"},
        {params["issIpAddress"], R"("192.168.1.2")"},
        {params["mpuVer"], R"("1.3.0.24")"},
        {params["smSize"], "67108864"},
        {params["macAddress"][1], R"("00:17:34:ff:01:02")"},
        {params["mmsgDirectory"], R"("/var/mmsg")"},
        {params["vendorId"], R"("ACME")"},
        {params["mfgProductIdStr"], R"("")"},
        {params["_pad2"], "[0,0,0,0]"},
        {params["adapters"], R"(["0/0","2/3"])"}};
    for (const auto& [part, text] : parts) {
        EXPECT_EQ(part.dump(), text);
    }
    EXPECT_EQ(params["portConfig"].size(), 8U);
    std::string names;
    for (const std::string& name : params.names()) {
        names += (names.empty() ? "" : ", ") + name;
    }
    EXPECT_EQ(names, FIELD_LIST);
}

TEST_F(Show, BytesThatCannotBePrintedStayOnTheirLine) {
    std::string bytes(744, '\0');
    bytes[3] = 15;                              // as it lies in an image
    bytes.replace(120, 6, "a\n\\\377~\177", 6); // serialStr
    bytes.replace(704, 8, "x\x01      ");       // vendorId
    bytes.replace(254, 2, "\x12\x34");          // fillers of MAC addresses
    bytes.replace(262, 2, std::string("\x12\0", 2));
    bytes.replace(270, 2, std::string("\0\x34", 2));
    bytes.replace(4, 4, std::string("\x40\0\0\x11", 4)); // flags, two without a name
    ASSERT_EQ(tool("create", {"--image", files.write("image", bytes)}).status, 0);
    auto fields = allShown();
    EXPECT_EQ(fields["serialStr"], "a\\x0A\\x5C\\xFF~\\x7F");
    EXPECT_EQ(fields["vendorId"], "x\\x01");
    EXPECT_EQ(fields["macAddress[0]"], "00:00:00:00:00:00 (_filler1 0x1234)");
    EXPECT_EQ(fields["macAddress[1]"], "00:00:00:00:00:00 (_filler1 0x1200)");
    EXPECT_EQ(fields["macAddress[2]"], "00:00:00:00:00:00 (_filler1 0x0034)");
    EXPECT_EQ(fields["macAddress[3]"], "00:00:00:00:00:00");
    EXPECT_EQ(fields["flags"], "0x40000011 (CacheValid, 0x40000001)");
    const auto params = JsonValue_t::parse(tool("show", {"--json"}).out)["params"];
    EXPECT_EQ(params["serialStr"], "a\\x0A\\x5C\\xFF~\\x7F");
}

TEST_F(Set, AChassisGoesByEitherOfItsNamesOrByItsNumber) {
    createFrom("");
    const std::pair<std::string, const char*> cases[] = {
        {"none", "1 (none)"},     {"xyratex", "2 (xyratex)"}, {"Xyratex2U12ATX", "2 (xyratex)"},
        {"quadra", "3 (quadra)"}, {"chenbro", "4 (chenbro)"}, {"chenbro3u16atx", "4 (chenbro)"},
        {"vsc055", "5 (vsc055)"}, {"W83782D", "6 (w83782d)"}, {"0x3", "3 (quadra)"},
    };
    for (const auto& [value, name] : cases) {
        EXPECT_EQ(tool("set", {"chassisType=" + value}).status, 0) << value;
        EXPECT_EQ(shown("chassisType"), name) << value;
    }
    for (const std::string wrong : {"0", "7", "xyrat", "xyratex2", "Tower", ""}) {
        EXPECT_REFUSED(tool("set", {"chassisType=" + wrong}), 1,
                       "chassisType=" + wrong +
                           ": expected none, xyratex, quadra, chenbro, vsc055 or w83782d, or a number from 1 to 6");
    }
}

TEST_F(Set, NumbersHaveUnitsAndPartsOfAnyLength) {
    createFrom("");
    const std::pair<std::string, const char*> cases[] = {
        {"smSize=12", "12"},
        {"smSize=1K", "1024"},
        {"slotId=0X1F", "31"},
        {"regBlockSize=18446744073709551615", "0xFFFFFFFFFFFFFFFF"},
        {"issIpAddress=" + std::string(254, '0') + "1.2.3.4", "1.2.3.4"}};
    for (const auto& [assignment, value] : cases) {
        EXPECT_EQ(tool("set", {assignment}).status, 0) << assignment;
        EXPECT_EQ(shown(assignment.substr(0, assignment.find('='))), value) << assignment;
    }
}

TEST_F(Set, FlagsAreSetByNamesAndNumbersOrSinglyRaisedAndLowered) {
    createFrom("CacheValid\n");
    const std::pair<const char*, const char*> cases[] = {
        {"flags+=RcpComplete", "0x00000090 (CacheValid, RcpComplete)"},
        {"flags-=cachevalid", "0x00000080 (RcpComplete)"},
        {"flags+=0x1000000,BatterySafe", "0x01000088 (BatterySafe, RcpComplete, CmapTracingEnabled)"},
        {"flags=1", "0x00000001 (0x1)"},
        {"flags+=RcpComplete", "0x00000081 (RcpComplete, 0x1)"},
        {"flags=2", "0x00000002 (OtherBladePresent)"},
        {"flags+=OtherBladePresent", "0x00000002 (OtherBladePresent)"},
        {"flags=0", "0x00000000 ()"}};
    for (const auto& [assignment, value] : cases) {
        EXPECT_EQ(tool("set", {assignment}).status, 0) << assignment;
        EXPECT_EQ(shown("flags"), value) << assignment;
    }
    const std::pair<std::string, std::string> names[] = {
        {"OtherBladePresent", "00000002"}, {"RestartRecovery", "00000004"},    {"BatterySafe", "00000008"},
        {"CacheValid", "00000010"},        {"ResetAsserted", "00000020"},      {"BatteryPresent", "00000040"},
        {"RcpComplete", "00000080"},       {"DisableBreakpoint", "00010000"},  {"InitializeDrives", "00020000"},
        {"DisableTimeouts", "00040000"},   {"ClearPersistence", "00080000"},   {"MgtPortNotInited", "00100000"},
        {"ReduceEvents", "00200000"},      {"CmapTracingEnabled", "01000000"}, {"CmapHaTracingEnabled", "02000000"}};
    for (const auto& [name, bit] : names) {
        EXPECT_EQ(tool("set", {"flags=" + name}).status, 0) << name;
        EXPECT_EQ(shown("flags"), "0x" + bit + " (" + name + ")");
    }
}

TEST_F(Set, WhatIsWrongSaysWhatWouldBeRightAndThenNothingChanges) {
    createFrom("");
    const std::string before = segment.bytes();
    const std::string flags = std::string("names separated by \",\" out of ") + FLAG_NAMES + ", or a number of 32 bits";
    const std::string longName(255, 'x');
    std::string dots;
    while (dots.size() < 518) {
        dots += "1.";
    }
    const std::pair<std::string, std::string> values[] = {
        {"slotId=", "a number from 0 to 4294967295"},
        {"slotId=1x", "a number from 0 to 4294967295"},
        {"slotId=-1", "a number from 0 to 4294967295"},
        {"slotId=4294967296", "a number from 0 to 4294967295"},
        {"asicDeviceId=0x10000", "a number from 0 to 65535"},
        {"regBlockSize=18446744073709551616", "a number of at most 64 bits"},
        {"smSize=4g", "bytes below 4g, or a number followed by k, m or g"},
        {"smSize=12b", "bytes below 4g, or a number followed by k, m or g"},
        {"smSize=1xk", "bytes below 4g, or a number followed by k, m or g"},
        {"smSize=k", "bytes below 4g, or a number followed by k, m or g"},
        {"haccMode=Solo", "StandAlone, DualSim, eBlade or Default, or a number from 0 to 255"},
        {"bus[0]=256", "True or False, or a number from 0 to 255"},
        {"flags=Banana", flags},
        {"flags+=CacheValid,", flags},
        {"flags=0x100000000", flags},
        {"macAddress[0]=0:1:2:3:4", "six hexadecimal bytes such as 00:17:34:01:02:03"},
        {"macAddress[0]=0:1:2:3:4:100", "six hexadecimal bytes such as 00:17:34:01:02:03"},
        {"issIpAddress=1.2.3", "an address such as 192.168.0.1"},
        {"issIpAddress=1.2.3.256", "an address such as 192.168.0.1"},
        {"issIpAddress=1.2.3.99999999999", "an address such as 192.168.0.1"},
        {"issIpAddress=" + dots + "3", "an address such as 192.168.0.1"},
        {"mpuVer=65536.0.0.0", "major.minor.maintenance.build, each from 0 to 65535"},
        {"mpuVer=1.2.3", "major.minor.maintenance.build, each from 0 to 65535"},
        {"adapters[0]=1", "two numbers such as 2/1, each from 0 to 65535"},
        {"adapters[0]=65536/0", "two numbers such as 2/1, each from 0 to 65535"},
        {"vendorId=" + longName + "xxx", "at most 8 characters, got 258"},
        {"version=x", "a number from 0 to 4294967295"},
        {"vendorId=123456789", "at most 8 characters, got 9"},
        {"serialStr=" + std::string(65, 's'), "at most 64 characters, got 65"},
        {"logDirectory=/" + std::string(127, 'l'), "at most 127 characters, got 128"},
    };
    for (const auto& [assignment, right] : values) {
        EXPECT_REFUSED(tool("set", {assignment}), 1, assignment + ": expected " + right);
    }
    const std::string forms = ": expected FIELD=VALUE, FIELD[N]=VALUE, flags+=NAME or flags-=NAME";
    const std::pair<std::string, std::string> assignments[] = {
        {"colour=1", std::string("unknown field \"colour\"; the fields are ") + FIELD_LIST},
        {longName + "=1", "unknown field \"" + longName + "\"; the fields are " + FIELD_LIST},
        {longName + "x=1", "unknown field \"" + longName + "x\"; the fields are " + FIELD_LIST},
        {longName + "[1]=1", "unknown field \"" + longName + "\"; the fields are " + FIELD_LIST},
        {"flags[0]=CacheValid", "flags has no elements: expected flags=VALUE"},
        {"slotId", "\"slotId\"" + forms},
        {"=1", "\"=1\"" + forms},
        {"bus[1=1", "\"bus[1=1\"" + forms},
        {"slotId+=1", "slotId is no set of flags: expected slotId=VALUE"},
        {"slotId[0]=1", "slotId has no elements: expected slotId=VALUE"},
        {"bus=1", "bus has 2 elements: expected bus[0] to bus[1]"},
        {"bus[2]=1", "bus has 2 elements: expected bus[0] to bus[1]"},
        {"macAddress[8]=00:00:00:00:00:00", "macAddress has 8 elements: expected macAddress[0] to macAddress[7]"},
        {"macAddress[x]=00:00:00:00:00:00", "macAddress has 8 elements: expected macAddress[0] to macAddress[7]"},
        {"version=14", "version=14: the version tells the layout of the block and stays 15"},
    };
    for (const auto& [assignment, message] : assignments) {
        EXPECT_REFUSED(tool("set", {assignment}), 1, message);
    }
    EXPECT_REFUSED(tool("set", {"slotId=2", "flags+=RcpComplete", "numPorts=256"}), 1,
                   "numPorts=256: expected a number from 0 to 255");
    EXPECT_EQ(segment.bytes(), before);
}

TEST_F(Set, TextsFillTheirFieldDirectoriesKeepTheirEndAndOnlyTheNamedBytesChange) {
    createFrom("SerialNumber = x\n");
    std::string expected = segment.bytes();
    ASSERT_EQ(tool("set", {"chassisType=4", "vendorId=ab", "macAddress[0]=01:02:03:04:05:06"}).status, 0);
    expected[71] = 4;
    expected.replace(704, 8, "ab      ");
    expected.replace(248, 6, "\x01\x02\x03\x04\x05\x06");
    EXPECT_EQ(segment.bytes(), expected);
    EXPECT_EQ(tool("set", {"serialStr=" + std::string(64, 's'), "logDirectory=/" + std::string(126, 'l')}).status, 0);
    EXPECT_EQ(shown("serialStr"), std::string(64, 's'));
    EXPECT_EQ(shown("logDirectory"), "/" + std::string(126, 'l'));
}

TEST_F(Image, HoldsTheBlockInNetworkByteOrderAndMakesItAgain) {
    createFrom("Slot = 0x01020304\nAsicDeviceId = 0x0506\nIssIpAddress = 1.2.3.4\nMpuSoftwareVersion = 1.3.24\n"
               "SerialNumber = SN\nMacAddress = 1:2:3:4:5:6\nAdapter = 1-2/3\nCacheValid\n");
    ASSERT_EQ(tool("set", {"chassisType=Vsc055", "regBlockOffset=0x0102030405060708", "flags+=RcpComplete"}).status, 0);
    const std::string path = folder + "/image";
    const Result_t result = tool("image", {path});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out + result.err, "");
    std::string expected(744, '\0');
    expected.replace(0, 12, std::string("\0\0\0\x0F\0\0\0\x90\x01\x02\x03\x04", 12));
    expected.replace(16, 8, "\x01\x02\x03\x04\x05\x06\x07\x08");
    expected.replace(40, 4, "\x01\x02\x03\x04");
    expected.replace(48, 8, std::string("\0\x01\0\x03\0\0\0\x18", 8));
    expected.replace(64, 2, "\x05\x06");
    expected[71] = 5;
    expected.replace(120, 2, "SN");
    expected.replace(248, 6, "\x01\x02\x03\x04\x05\x06");
    expected.replace(740, 4, std::string("\0\x02\0\x03", 4));
    EXPECT_EQ(testsupport::readFile(path), expected);
    const std::string before = segment.bytes();
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
        const mode_t before = umask(0026);
        EXPECT_EQ(tool("image", {name}).status, 0);
        EXPECT_EQ(umask(before), 0026U);
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
