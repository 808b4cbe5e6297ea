/** Showing a block. */
#include <cstring>
#include <sstream>

#include "json_value.h"
#include "tool.h"

using Show = ToolTest;

namespace {

/** Every line of the text file that shows in the block, one of each kind. */
constexpr char CONFIG[] = "Flags = 0x80\nCacheValid\nCmapTracingEnabled\nSlot = 3\nNumberOfPorts = 8\n"
                          "iCharMode = ISS\nBatteryMgtPolicy = Quiesce\nHaccMode = eBlade\nChassisType = Quadra\n"
                          "IssIpAddress = 192.168.1.2\nMpuSoftwareVersion = 1.3.24\nAsicDeviceId = 0x1234\n"
                          "SystemMemorySize = 64m\nSerialNumber = SN 1\nMacAddress = 1-0:23:52:255:1:2\n"
                          "MmsgDirectory = /var/mmsg\nportConfiguration = 7-10gige\nVendorId = ACME\n"
                          "ProductId = A B\nBus = 1-True\nAdapter = 1-2/3\n";

constexpr char SHOWN[] = "version                15\n"
                         "flags                  0x01000090 (CacheValid, RcpComplete, CmapTracingEnabled)\n"
                         "slotId                 3\n"
                         "bladeType              0\n"
                         "disklineMode           0\n"
                         "iCharMode              2 (ISS)\n"
                         "numPorts               8\n"
                         "regBlockOffset         0x0000000000000000\n"
                         "regBlockSize           0x0000000000000000\n"
                         "otherPresentOffset     0\n"
                         "otherPresentBlock      0\n"
                         "otherPresentBit        0\n"
                         "resetOtherOffset       0\n"
                         "resetOtherBlock        0\n"
                         "resetOtherBit          0\n"
                         "issIpAddress           192.168.1.2\n"
                         "numBusses              0\n"
                         "numAdapters            0\n"
                         "batteryMgtPolicy       3 (Quiesce)\n"
                         "_pad1                  0\n"
                         "mpuVer                 1.3.0.24\n"
                         "q4xVer                 0.0.0.0\n"
                         "asicDeviceId           4660\n"
                         "pciVendorId            0\n"
                         "asicRevision           0\n"
                         "haccMode               3 (eBlade)\n"
                         "chassisType            3 (quadra)\n"
                         "serialNo               0\n"
                         "shmKey                 0\n"
                         "ouiNo                  0\n"
                         "mfgProductIdStr        \n"
                         "mfgBoardRevStr         \n"
                         "_pad2[0]               0\n"
                         "_pad2[1]               0\n"
                         "_pad2[2]               0\n"
                         "_pad2[3]               0\n"
                         "smSize                 67108864\n"
                         "bmSize                 0\n"
                         "haccStartingIpAddress  0.0.0.0\n"
                         "haccNetmask            0.0.0.0\n"
                         "mgtPortIpAddress       0.0.0.0\n"
                         "mgtPortNetmask         0.0.0.0\n"
                         "serialStr              SN 1\n"
                         "chassisSN              \n"
                         "macAddress[0]          00:00:00:00:00:00\n"
                         "macAddress[1]          00:17:34:ff:01:02\n"
                         "macAddress[2]          00:00:00:00:00:00\n"
                         "macAddress[3]          00:00:00:00:00:00\n"
                         "macAddress[4]          00:00:00:00:00:00\n"
                         "macAddress[5]          00:00:00:00:00:00\n"
                         "macAddress[6]          00:00:00:00:00:00\n"
                         "macAddress[7]          00:00:00:00:00:00\n"
                         "mmsgDirectory          /var/mmsg\n"
                         "nvramDirectory         \n"
                         "logDirectory           \n"
                         "portConfig[0]          0\n"
                         "portConfig[1]          0\n"
                         "portConfig[2]          0\n"
                         "portConfig[3]          0\n"
                         "portConfig[4]          0\n"
                         "portConfig[5]          0\n"
                         "portConfig[6]          0\n"
                         "portConfig[7]          2 (10gige)\n"
                         "vendorId               ACME\n"
                         "productId              A B\n"
                         "revisionLvl            \n"
                         "bus[0]                 0 (False)\n"
                         "bus[1]                 1 (True)\n"
                         "_pad3[0]               0\n"
                         "_pad3[1]               0\n"
                         "adapters[0]            0/0\n"
                         "adapters[1]            2/3\n";

} // namespace

TEST_F(Show, EveryFieldByItsName) {
    createFrom(CONFIG);
    const Result_t result = tool("show");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, SHOWN);
}

TEST_F(Show, TheDocumentHoldsEveryFieldByItsName) {
    createFrom(CONFIG);
    const Result_t result = tool("show", {"--json"});
    EXPECT_EQ(result.status, 0);
    const auto document = testsupport::JsonValue_t::parse(result.out);
    EXPECT_EQ(document.size(), 3U);
    EXPECT_EQ(document["version"], 1);
    EXPECT_EQ(document["key"], key);
    const auto params = document["params"];
    EXPECT_EQ(params.size(), 52U);
    EXPECT_EQ(params["version"], 15);
    EXPECT_EQ(params["flags"].dump(),
              "{\"names\":[\"CacheValid\",\"RcpComplete\",\"CmapTracingEnabled\"],\"value\":16777360}");
    EXPECT_EQ(params["slotId"], 3);
    EXPECT_EQ(params["chassisType"].dump(), "{\"name\":\"quadra\",\"value\":3}");
    EXPECT_EQ(params["portConfig"].size(), 8U);
    EXPECT_EQ(params["portConfig"][0].dump(), "{\"name\":null,\"value\":0}");
    EXPECT_EQ(params["portConfig"][7].dump(), "{\"name\":\"10gige\",\"value\":2}");
    EXPECT_EQ(params["regBlockOffset"], "0x0000000000000000");
    EXPECT_EQ(params["issIpAddress"], "192.168.1.2");
    EXPECT_EQ(params["mpuVer"], "1.3.0.24");
    EXPECT_EQ(params["smSize"], 67108864);
    EXPECT_EQ(params["macAddress"][1], "00:17:34:ff:01:02");
    EXPECT_EQ(params["mmsgDirectory"], "/var/mmsg");
    EXPECT_EQ(params["vendorId"], "ACME");
    EXPECT_EQ(params["_pad2"].dump(), "[0,0,0,0]");
    EXPECT_EQ(params["adapters"].dump(), "[\"0/0\",\"2/3\"]");
}

TEST_F(Show, TheDocumentNamesTheFieldsThatTheTextNames) {
    createFrom("");
    const auto params = testsupport::JsonValue_t::parse(tool("show", {"--json"}).out)["params"];
    std::vector<std::string> ofText;
    std::istringstream lines(SHOWN);
    for (std::string line; std::getline(lines, line);) {
        const std::string name = line.substr(0, line.find_first_of("[ "));
        if (ofText.empty() || ofText.back() != name) {
            ofText.push_back(name);
        }
    }
    EXPECT_EQ(params.names(), ofText);
}

TEST_F(Show, EachChassisHasAName) {
    createFrom("");
    const char* const names[] = {"1 (none)", "2 (xyratex)", "3 (quadra)", "4 (chenbro)", "5 (vsc055)", "6 (w83782d)"};
    for (int type = 1; type <= 6; ++type) {
        ASSERT_EQ(tool("set", {"chassisType=" + std::to_string(type)}).status, 0);
        EXPECT_EQ(shown("chassisType"), names[type - 1]);
    }
}

TEST_F(Show, BytesThatCannotBePrintedStayOnTheirLine) {
    std::string bytes(744, '\0');
    bytes[3] = 15; // as it lies in an image
    bytes.replace(120, 6,
                  std::string("a\n\\\xFF"
                              "b\0",
                              6));                       // serialStr
    bytes.replace(704, 8, "x\x01      ");                // vendorId
    bytes.replace(254, 2, "\x12\x34");                   // the first MAC address' filler
    bytes.replace(4, 4, std::string("\x40\0\0\x11", 4)); // flags, two without a name
    ASSERT_EQ(tool("create", {"--image", files.write("image", bytes)}).status, 0);
    EXPECT_EQ(shown("serialStr"), "a\\x0A\\x5C\\xFFb");
    EXPECT_EQ(shown("vendorId"), "x\\x01");
    EXPECT_EQ(shown("macAddress[0]"), "00:00:00:00:00:00 (_filler1 0x1234)");
    EXPECT_EQ(shown("flags"), "0x40000011 (CacheValid, 0x40000001)");
    const auto params = testsupport::JsonValue_t::parse(tool("show", {"--json"}).out)["params"];
    EXPECT_EQ(params["serialStr"], "a\\x0A\\x5C\\xFFb");
}

TEST_F(Show, WithoutABlock) {
    EXPECT_REFUSED(tool("show"), 2, "no parameter block with key " + keyText() + "; \"mpuparams create\" makes one");
    EXPECT_REFUSED(tool("show", {"--json"}), 2,
                   "no parameter block with key " + keyText() + "; \"mpuparams create\" makes one");
}

TEST_F(Show, ABlockOfAnotherVersion) {
    segment.make(std::string(744, '\0'));
    EXPECT_REFUSED(tool("show"), 2, "the parameter block with key " + keyText() + " has version 0, expected 15");
}

TEST_F(Show, ASegmentOfAnotherSizeIsNoParameterBlock) {
    std::string bytes(745, '\0');
    const std::uint32_t version = 15;
    std::memcpy(bytes.data(), &version, sizeof(version));
    segment.make(bytes);
    EXPECT_REFUSED(tool("show"), 2,
                   "the segment with key " + keyText() + " is no parameter block: it has 745 bytes, expected 744");
}
