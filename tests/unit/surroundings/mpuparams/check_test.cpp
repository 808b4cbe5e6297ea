/** Judging a configuration, and what is given beside it. */
#include "tool.h"

using Check = ToolTest;

namespace {

constexpr const char* GOOD = "Version = 15\nChassisType = Quadra\nMmsgDirectory = /run/esa\nLogDirectory = /var/log\n";

/** A line, and what is said of it behind "FILE:5: ". */
constexpr std::pair<const char*, const char*> BAD_LINES[] = {
    {"Slto = 3", "no key \"Slto\": expected \"Slot\""},
    {"CmapTracingEnabled = yes", "CmapTracingEnabled is a flag: expected its name alone on the line, or no such line"},
    {"LogDirectory /var/log/esa", "no \"=\": expected \"LogDirectory = /var/log/esa\""},
    {"Banana = 3", "no key \"Banana\": mpuparams(8) lists them"},
    {"CacheValdi", "no flag \"CacheValdi\": expected \"CacheValid\""},
    {"RcpComplete", "no file can raise RcpComplete: expected flags+=RcpComplete for mpuparams create or set"},
    {"Slot", "no value: expected \"Slot = VALUE\""},
    {"  # indented", "left out: expected its first character in the first column"},
    {" Slot = 3", "left out: expected its first character in the first column"},
    {"Slot = three", "Slot \"three\": expected a number from 0 to 4294967295"},
    {"NumberOfPorts = 256", "NumberOfPorts \"256\": expected a number from 0 to 255"},
    {"AsicDeviceId = 0x10000", "AsicDeviceId \"0x10000\": expected a number from 0 to 65535"},
    {"Slot = 010", "Slot \"010\": a number with a leading 0 is octal: expected it without the 0, or with 0x"},
    {"SystemMemorySize = 4g",
     "SystemMemorySize \"4g\": expected bytes below 4g in decimal, or a number followed by k, m or g"},
    {"SystemMemorySize = 0x10",
     "SystemMemorySize \"0x10\": expected bytes below 4g in decimal, or a number followed by k, m or g"},
    {"IssIpAddress = 192.168.0", "IssIpAddress \"192.168.0\": expected an address such as 192.168.0.1"},
    {"IssIpAddress = 1.2.3.256", "IssIpAddress \"1.2.3.256\": expected an address such as 192.168.0.1"},
    {"MacAddress = 00:17:34:01:02:0a",
     "MacAddress \"00:17:34:01:02:0a\": expected six decimal numbers up to 255, such as 0:23:52:1:2:3"},
    {"MacAddress = 9-0:1:2:3:4:5", "MacAddress \"9-0:1:2:3:4:5\": expected an element from 0- to 7-"},
    {"portConfiguration = 8-1gige", "portConfiguration \"8-1gige\": expected an element from 0- to 7-"},
    {"Slot = 0-1-2", "Slot \"0-1-2\": expected a number from 0 to 4294967295"},
    {"Slot = 1-2", "Slot \"1-2\": expected no element (N-) before the value: there is one only"},
    {"MpuSoftwareVersion = 1.3.0.24", "MpuSoftwareVersion \"1.3.0.24\": expected major.minor.build, such as 1.3.24"},
    {"Adapter = 1", "Adapter \"1\": expected two numbers up to 65535, such as 2/1"},
    {"HaccMode = solo", "HaccMode \"solo\": expected StandAlone, DualSim, eBlade or Default"},
    {"BatteryMgtPolicy = Slot",
     "BatteryMgtPolicy \"Slot\": expected Unknown, Ignore, WriteThrough, Quiesce or UPSPresent"},
    {"VendorId = LONGVENDOR", "VendorId \"LONGVENDOR\": cut to 8 of its 10 characters: expected at most 8"},
    {"NvramDirectory = nvram", "NvramDirectory \"nvram\": expected a path from the root, such as /run/esa"},
    {"LogDirectory = /log", "LogDirectory takes the place of line 4: expected one of the two"},
};

} // namespace

TEST_F(Check, AGoodFileHasNothingToSay) {
    const std::string path =
        files.write("a.conf", std::string(GOOD) + "# comment\n\n" +
                                  "Slot = 0xFF\r\nMacAddress = 7-0:1:2:3:4:5\nCacheValid\n"
                                  "BufferMemorySize = 64m\nBus = 1-true\nSerialNumber = A-1 = B\n");
    const Result_t result = run({"check", path});
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, path + ": nothing is wrong\n");
    EXPECT_EQ(result.status, 0);
}

TEST_F(Check, ABadLineIsNamedWithWhatWouldBeRight) {
    for (const auto& [line, finding] : BAD_LINES) {
        const std::string path = files.write("a.conf", std::string(GOOD) + line + "\n");
        EXPECT_REFUSED(run({"check", path}), 3, path + ":5: " + finding);
        EXPECT_EQ(run({"check", "--lenient", path}).status, 0) << line;
    }
}

TEST_F(Check, AChassisThatTheFileCannotNameGoesBesideIt) {
    const std::string start = "Version = 15\nMmsgDirectory = /run/esa\nLogDirectory = /var/log\n";
    const std::string path = files.write("a.conf", start + "ChassisType = chenbro\n");
    const Result_t result = run({"check", path});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.err, "mpuparams: " + path +
                              ":4: ChassisType \"chenbro\": expected None, Xyratex2U12ATX or Quadra; this one goes "
                              "beside the file, as chassisType=chenbro for mpuparams create, or as ESA_CHASSIS for the "
                              "service\nmpuparams: " +
                              path +
                              ":4: the adapter knows no chassis 0 and manages nothing: expected ChassisType = None, "
                              "Xyratex2U12ATX or Quadra, or chassisType=chenbro, vsc055 or w83782d beside the file\n");
    EXPECT_EQ(run({"check", files.write("b.conf", start), "chassisType=chenbro"}).status, 0);
    EXPECT_REFUSED(run({"check", path, "chassisType=chenbor"}), 1,
                   "chassisType=chenbor: expected none, xyratex, quadra, chenbro, vsc055 or w83782d, or a number from "
                   "1 to 6");
}

TEST_F(Check, WhatNoProcessCanWorkWithIsWrongForTheLenientToo) {
    const std::pair<std::string, std::string> cases[] = {
        {"ChassisType = None\nMmsgDirectory = /run/esa\nLogDirectory = /log\n",
         ": every process refuses a block of version 0: expected a line \"Version = 15\""},
        {"Version = 14\nChassisType = None\nMmsgDirectory = /run/esa\nLogDirectory = /log\n",
         ":1: every process refuses a block of version 14: expected a line \"Version = 15\""},
        {"Version = 15\nChassisType = None\nLogDirectory = /log\n",
         ": no process can reach the message switch: expected MmsgDirectory, the directory of its sockets, of at most "
         "97 characters"},
        {"Version = 15\nChassisType = None\nLogDirectory = /log\nMmsgDirectory = /" + std::string(97, 'a') + "\n",
         ":4: no process can reach the message switch: expected MmsgDirectory, the directory of its sockets, of at "
         "most 97 characters"},
    };
    for (const auto& [text, finding] : cases) {
        const std::string path = files.write("a.conf", text);
        EXPECT_REFUSED(run({"check", "--lenient", path}), 3, path + finding);
    }
}

TEST_F(Check, ALineBeyondTheReadersLimitIsReadAsSeveral) {
    const std::string path = files.write("a.conf", std::string(GOOD) + "#" + std::string(1022, 'x') + "\n");
    EXPECT_REFUSED(run({"check", path}), 3,
                   path + ":5: a line of 1023 characters is read as several: expected at most 1022");
}

TEST_F(Check, FieldsGivenBesideTheFileAreInTheBlockFromItsFirstMoment) {
    const std::string path = files.write("a.conf", GOOD);
    EXPECT_EQ(tool("create", {"--config", path, "chassisType=vsc055", "flags+=RcpComplete"}).status, 0);
    EXPECT_EQ(tool("create", {"--config", path, "chassisType=vcs055"}).status, 1);
    EXPECT_EQ(shown("chassisType"), "5 (vsc055)") << "a wrong one leaves the older block";
    EXPECT_EQ(shown("flags"), "0x00000080 (RcpComplete)");
}
