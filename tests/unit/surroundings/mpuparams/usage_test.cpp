/** The command line itself. */
#include <algorithm>
#include <iterator>
#include <set>
#include <sstream>

#include "tool.h"

using Usage = ToolTest;

TEST_F(Usage, TheHelpOfTheProgramAndOfEveryCommandIsThatOfTheFile) {
    std::string all;
    for (const std::string command : {"", "create", "check", "show", "set", "image", "delete"}) {
        const Result_t result = command.empty() ? run({"--help"}) : run({command, "--help"});
        EXPECT_EQ(result.status, 0) << command;
        EXPECT_EQ(result.err, "") << command;
        all += "$ mpuparams" + (command.empty() ? "" : " " + command) + " --help\n" + result.out;
    }
    EXPECT_EQ(all, testsupport::readFile(TEXTS "/help.txt"));
}

TEST_F(Usage, AKeyIsDecimalOrHexadecimalFrom100On) {
    for (const std::string& text :
         std::vector<std::string>{"99", "0x63", "0", "-5", "abc", "100x", "0x", "0144", "2147483648", "0x80000000",
                                  "99999999999999999999", std::string(253, '0') + "100"}) {
        EXPECT_REFUSED(run({"show", "--key=" + text}), 1,
                       "key \"" + text + "\": expected a decimal or 0x hexadecimal number from 100 to 2147483647");
    }
    for (const std::string text : {"100", "256"}) {
        EXPECT_NE(run({"show", "--key=" + text}).status, 1) << text << " may be the key of another block";
    }
}

TEST_F(Usage, WhatIsMissingOrUnknownIsSaidInOneLine) {
    const std::string file = files.write("a.conf", "Version = 15\n");
    const std::vector<std::vector<std::string>> wrong = {
        {"show"},
        {"show", "--key="},
        {"show", "--key", "100", "--colour"},
        {"show", "--key", "100", "surplus"},
        {"create", "--key", "100"},
        {"create", "--key", "100", "--config", file, "--image", file},
        {"create", "--key", "100", "--config", file, "--config", file},
        {"set", "--key", "100"},
        {"image", "--key", "100"},
        {"image", "--key", "100", ""},
        {"check"},
        {"check", ""},
    };
    for (const auto& arguments : wrong) {
        const Result_t result = run(arguments);
        const std::string& what = arguments.front();
        EXPECT_EQ(result.status, 1) << what;
        EXPECT_EQ(result.out, "") << what;
        EXPECT_TRUE(result.err.starts_with("mpuparams: ")) << result.err;
        EXPECT_TRUE(result.err.ends_with("; see mpuparams " + what + " --help\n")) << result.err;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    }
}

TEST_F(Usage, TheCommandComesFirstAndAWrongOptionIsNamed) {
    const std::string commands = ": expected one of create, check, show, set, image, delete; see mpuparams --help";
    EXPECT_REFUSED(run({}), 1, "no command" + commands);
    EXPECT_REFUSED(run({"frobnicate"}), 1, "'frobnicate' is no command" + commands);
    const std::string before = " before the command: expected one of --help, --version; see mpuparams --help";
    EXPECT_REFUSED(run({"--key", "100", "show"}), 1, "there is no option '--key'" + before);
    EXPECT_REFUSED(run({"--bogus"}), 1, "there is no option '--bogus'" + before);
    EXPECT_REFUSED(run({"check", "--bogus", "x"}), 1,
                   "there is no option '--bogus': expected one of --lenient, --help; see mpuparams check --help");
}

TEST_F(Usage, AWrongAssignmentIsToldBeforeAFileIsLookedAt) {
    const std::string message = "slotId=x: expected a number from 0 to 4294967295";
    EXPECT_REFUSED(run({"check", folder + "/none", "slotId=x"}), 1, message);
    EXPECT_REFUSED(tool("create", {"--config", folder + "/none", "slotId=x"}), 1, message);
}

TEST_F(Usage, AMessageStaysOnOneLineWhateverItNames) {
    EXPECT_REFUSED(tool("create", {"--config", "/no\nsuch\x1B"}), 2,
                   "cannot read /no?such?: No such file or directory");
}

TEST_F(Usage, TheManualPageNamesEveryKeyFlagAndValueOfTheTextFile) {
    std::string page = testsupport::readFile(MANUAL_PAGE);
    std::replace_if(
        page.begin(), page.end(), [](unsigned char c) { return std::isalnum(c) == 0 && c != '_'; }, ' ');
    std::istringstream words(page);
    const std::set<std::string> named(std::istream_iterator<std::string>(words), {});
    std::istringstream names(
        "Version Flags Slot iCharMode NumberOfPorts IssIpAddress NumberOfBusses NumberOfAdapters "
        "BatteryMgtPolicy MpuSoftwareVersion Q4xFirmwareVersion AsicDeviceId PciVendorId AsicRevision "
        "HaccMode ChassisType SerialValue OUINumber ProductIdString BoardRevNumber SystemMemorySize "
        "BufferMemorySize HaccStartingIpAddress HaccNetmask MgtPortIpAddress MgtPortNetmask SerialNumber "
        "ChassisSerialNumber MacAddress MmsgDirectory NvramDirectory LogDirectory portConfiguration "
        "VendorId ProductId RevisionLevel Bus Adapter OtherBladePresent RestartRecovery BatterySafe "
        "CacheValid ResetAsserted BatteryPresent DisableBreakpoint InitializeDrives DisableTimeouts "
        "ClearPersistence MgtPortNotInited ReduceEvents CmapTracingEnabled CmapHaTracingEnabled "
        "RcpComplete Driver ISS StubServer StubClient StandAlone DualSim eBlade Default None "
        "Xyratex2U12ATX Quadra Chenbro3U16ATX Vsc055 W83782d 1gige 10gige True False Unknown Ignore "
        "WriteThrough Quiesce UPSPresent");
    for (std::string name; names >> name;) {
        EXPECT_TRUE(named.contains(name)) << name;
    }
}
