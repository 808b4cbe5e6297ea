/** Showing a block. */
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

/** What is shown of it, line by line. */
constexpr char SHOWN[] =
    "version=15|flags=0x01000090 (CacheValid, RcpComplete, CmapTracingEnabled)|slotId=3|bladeType=0|"
    "disklineMode=0|iCharMode=2 (ISS)|numPorts=8|regBlockOffset=0x0000000000000000|"
    "regBlockSize=0x0000000000000000|otherPresentOffset=0|otherPresentBlock=0|otherPresentBit=0|"
    "resetOtherOffset=0|resetOtherBlock=0|resetOtherBit=0|issIpAddress=192.168.1.2|numBusses=0|numAdapters=0|"
    "batteryMgtPolicy=3 (Quiesce)|_pad1=0|mpuVer=1.3.0.24|q4xVer=0.0.0.0|asicDeviceId=4660|pciVendorId=0|"
    "asicRevision=0|haccMode=3 (eBlade)|chassisType=3 (quadra)|serialNo=0|shmKey=0|ouiNo=0|mfgProductIdStr=|"
    "mfgBoardRevStr=|_pad2[0]=0|_pad2[1]=0|_pad2[2]=0|_pad2[3]=0|smSize=67108864|bmSize=0|"
    "haccStartingIpAddress=0.0.0.0|haccNetmask=0.0.0.0|mgtPortIpAddress=0.0.0.0|mgtPortNetmask=0.0.0.0|"
    "serialStr=SN 1|chassisSN=|macAddress[0]=00:00:00:00:00:00|macAddress[1]=00:17:34:ff:01:02|"
    "macAddress[2]=00:00:00:00:00:00|macAddress[3]=00:00:00:00:00:00|macAddress[4]=00:00:00:00:00:00|"
    "macAddress[5]=00:00:00:00:00:00|macAddress[6]=00:00:00:00:00:00|macAddress[7]=00:00:00:00:00:00|"
    "mmsgDirectory=/var/mmsg|nvramDirectory=|logDirectory=|portConfig[0]=0|portConfig[1]=0|portConfig[2]=0|"
    "portConfig[3]=0|portConfig[4]=0|portConfig[5]=0|portConfig[6]=0|portConfig[7]=2 (10gige)|vendorId=ACME|"
    "productId=A B|revisionLvl=|bus[0]=0 (False)|bus[1]=1 (True)|_pad3[0]=0|_pad3[1]=0|adapters[0]=0/0|"
    "adapters[1]=2/3|";

/** Name and value of each line. */
std::vector<std::pair<std::string, std::string>> shownFields() {
    std::vector<std::pair<std::string, std::string>> fields;
    std::istringstream lines(SHOWN);
    for (std::string line; std::getline(lines, line, '|');) {
        fields.emplace_back(line.substr(0, line.find('=')), line.substr(line.find('=') + 1));
    }
    return fields;
}

} // namespace

TEST_F(Show, EveryFieldByItsName) {
    createFrom(CONFIG);
    const Result_t result = tool("show");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    std::string expected;
    for (const auto& [field, value] : shownFields()) {
        expected += field + std::string(23 - field.size(), ' ') + value + "\n";
    }
    EXPECT_EQ(result.out, expected);
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
    const std::pair<testsupport::JsonValue_t, const char*> parts[] = {
        {params["version"], "15"},
        {params["flags"], R"({"names":["CacheValid","RcpComplete","CmapTracingEnabled"],"value":16777360})"},
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
        {params["_pad2"], "[0,0,0,0]"},
        {params["adapters"], R"(["0/0","2/3"])"}};
    for (const auto& [part, text] : parts) {
        EXPECT_EQ(part.dump(), text);
    }
    EXPECT_EQ(params["portConfig"].size(), 8U);
}

TEST_F(Show, TheDocumentNamesTheFieldsThatTheTextNames) {
    createFrom("");
    const auto params = testsupport::JsonValue_t::parse(tool("show", {"--json"}).out)["params"];
    std::vector<std::string> ofText;
    for (const auto& [field, value] : shownFields()) {
        const std::string name = field.substr(0, field.find('['));
        if (ofText.empty() || ofText.back() != name) {
            ofText.push_back(name);
        }
    }
    EXPECT_EQ(params.names(), ofText);
}

TEST_F(Show, BytesThatCannotBePrintedStayOnTheirLine) {
    std::string bytes(744, '\0');
    bytes[3] = 15;                                       // as it lies in an image
    bytes.replace(120, 6, "a\n\\\377b", 6);              // serialStr
    bytes.replace(704, 8, "x\x01      ");                // vendorId
    bytes.replace(254, 2, "\x12\x34");                   // the first MAC address' filler
    bytes.replace(4, 4, std::string("\x40\0\0\x11", 4)); // flags, two without a name
    ASSERT_EQ(tool("create", {"--image", files.write("image", bytes)}).status, 0);
    auto fields = allShown();
    EXPECT_EQ(fields["serialStr"], "a\\x0A\\x5C\\xFFb");
    EXPECT_EQ(fields["vendorId"], "x\\x01");
    EXPECT_EQ(fields["macAddress[0]"], "00:00:00:00:00:00 (_filler1 0x1234)");
    EXPECT_EQ(fields["flags"], "0x40000011 (CacheValid, 0x40000001)");
    const auto params = testsupport::JsonValue_t::parse(tool("show", {"--json"}).out)["params"];
    EXPECT_EQ(params["serialStr"], "a\\x0A\\x5C\\xFFb");
}
