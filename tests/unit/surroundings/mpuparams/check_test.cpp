/** Judging a configuration, and what is given beside it. */
#include "tool.h"

using Check = ToolTest;

namespace {

constexpr const char* GOOD = "Version = 15\nChassisType = Quadra\nMmsgDirectory = /run/esa\nLogDirectory = /var/log\n";

/** The text with "FILE" for every `path`. */
std::string withoutPath(std::string text, const std::string& path) {
    for (std::size_t at = text.find(path); at != std::string::npos; at = text.find(path, at)) {
        text.replace(at, path.size(), "FILE");
    }
    return text;
}

std::string times(std::size_t count, const char* text) {
    std::string all;
    while (count-- > 0) {
        all += text;
    }
    return all;
}

} // namespace

TEST_F(Check, AGoodFileHasNothingToSay) {
    const std::string path = files.write(
        "a.conf", std::string(GOOD) + "# comment\n\n" +
                      "Slot=0xFF\r\nMacAddress = 7-0:1:2:3:4:5\nMacAddress = 0:1:2:3:4:5\nCacheValid \n   \n"
                      "BufferMemorySize = 4194303K\nSystemMemorySize = 3000000000\nBus = 1 - true\n"
                      "Bus = 0- True\nOUINumber = 0X1F\nNumberOfPorts = 0\n"
                      "SerialNumber = A-1 = B\nIssIpAddress = " +
                      times(255, "0") +
                      ".1.2.3\n"
                      "NvramDirectory = /" +
                      times(126, "n") + "\nSerialValue =" + times(255, " ") + "3\n#" + times(1021, "x") + "\n");
    const Result_t result = run({"check", path});
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, path + ": nothing is wrong\n");
    EXPECT_EQ(result.status, 0);
}

TEST_F(Check, EveryBadLineIsNamedWithWhatWouldBeRightWhateverStandsBeforeIt) {
    const std::string path = TEXTS "/bad.conf";
    const Result_t result = run({"check", path});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(withoutPath(result.err, path), testsupport::readFile(TEXTS "/bad.txt"));
    EXPECT_EQ(run({"check", "--lenient", path}).status, 0);
}

TEST_F(Check, LongNamesAndValuesAndManyLinesAreJudgedLikeShortOnes) {
    const std::pair<std::string, std::string> cases[] = {
        {"Slot" + times(254, "x") + " = 1", "no key \"Slot" + times(254, "x") + "\": mpuparams(8) lists them"},
        {times(258, "x") + " = 1", "no key \"" + times(258, "x") + "\": mpuparams(8) lists them"},
        {times(255, "x") + "= 1", "no key \"" + times(255, "x") + "\": mpuparams(8) lists them"},
        {"Slot = " + times(256, "0"),
         "Slot \"" + times(256, "0") + "\": a number with a leading 0 is octal: expected it without the 0, or with 0x"},
        {"Slot = " + times(255, "x") + "-1",
         "Slot \"" + times(255, "x") + "-1\": expected no element (N-) before the value: there is one only"},
        {"VendorId = " + times(258, "v"),
         "VendorId \"" + times(258, "v") + "\": cut to 8 of its 258 characters: expected at most 8"},
        {"NvramDirectory = /" + times(127, "n"),
         "NvramDirectory \"/" + times(127, "n") + "\": cut to 127 of its 128 characters: expected at most 127"},
        {"Banana " + times(1016, "x"), "a line of 1023 characters is read as several: expected at most 1022"},
        {"#" + times(1022, "x"), "a line of 1023 characters is read as several: expected at most 1022"},
        {"#" + times(1023, "x"), "a line of 1024 characters is read as several: expected at most 1022"},
    };
    for (const auto& [line, finding] : cases) {
        const std::string path = files.write("a.conf", GOOD + line + "\n");
        EXPECT_REFUSED(run({"check", path}), 3, path + ":5: " + finding);
    }
    const std::string path = files.write("a.conf", GOOD + times(251, "\n") + "Slot = x\nSlot = 3\n");
    const Result_t result = run({"check", path});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(withoutPath(result.err, path),
              "mpuparams: FILE:256: Slot \"x\": expected a number from 0 to 4294967295\n"
              "mpuparams: FILE:257: Slot takes the place of line 256: expected one of the two\n");
}

TEST_F(Check, AnEmptyFileLacksWhatEveryProcessNeeds) {
    const std::string path = files.write("a.conf", "");
    const Result_t result = run({"check", path});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(withoutPath(result.err, path),
              "mpuparams: FILE: every process refuses a block of version 0: expected a line \"Version = 15\"\n"
              "mpuparams: FILE: the adapter knows no chassis 0 and manages nothing: expected ChassisType = None, "
              "Xyratex2U12ATX or Quadra, or chassisType=chenbro, vsc055 or w83782d beside the file\n"
              "mpuparams: FILE: no process can reach the message switch: expected MmsgDirectory, the directory of its "
              "sockets, of at most 97 characters\n"
              "mpuparams: FILE: the logs have no place: expected LogDirectory, such as /var/log/esa\n");
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
        {"Version = 271\nChassisType = None\nMmsgDirectory = /run/esa\nLogDirectory = /log\n",
         ":1: every process refuses a block of version 271: expected a line \"Version = 15\""},
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
    const std::string start = "Version = 15\nChassisType = None\nLogDirectory = /log\nMmsgDirectory = /";
    EXPECT_EQ(run({"check", files.write("a.conf", start + std::string(96, 'a') + "\n")}).status, 0);
}

TEST_F(Check, FieldsGivenBesideTheFileAreInTheBlockFromItsFirstMoment) {
    const std::string path = files.write("a.conf", GOOD);
    EXPECT_EQ(tool("create", {"--config", path, "chassisType=vsc055", "flags+=RcpComplete"}).status, 0);
    EXPECT_EQ(tool("create", {"--config", path, "chassisType=vcs055"}).status, 1);
    EXPECT_EQ(shown("chassisType"), "5 (vsc055)") << "a wrong one leaves the older block";
    EXPECT_EQ(shown("flags"), "0x00000080 (RcpComplete)");
}
