#include "failsafe.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "arguments.h"
#include "esa_fixture.h"

namespace {

struct FullSpeed_t {
    int type;
    Lines_t transfers;
};

const FullSpeed_t FULL_SPEED[] = {
    {2, {"W 63 98 3F", "W 63 99 3F"}},
    {3, {"W 41 98 3F", "W 41 99 3F", "W 41 9A 3F"}},
    {4, {"W 28 5B FF", "W 28 5A FF", "W 29 5B FF", "W 2A 5B FF", "W 2B 5B FF", "W 2B 5A FF"}},
    {5, {"W 41 98 3F", "W 41 99 3F", "W 41 9A 3F"}},
    {6, {"W 28 5B FF", "W 28 5E FF", "W 28 5F FF"}},
};

class FailSafe : public EsaTest {
protected:
    static const Chassis_t& chassis(int type) { return esaFindChassis(static_cast<VORAN_E_CHASSIS_t>(type)); }

    /** Full speed in one go: whether it was done. */
    static bool once(int type) { return failSafeOnce(chassis(type), 99); }
};

TEST_F(FailSafe, EveryFanOfEveryChassisGetsItsFullLoadAndNothingElseIsTouched) {
    for (const FullSpeed_t& row : FULL_SPEED) {
        EXPECT_TRUE(once(row.type)) << row.type;
        EXPECT_EQ(fakeBus.takeTransfers(), row.transfers) << row.type;
    }
    EXPECT_EQ(takeMessageNames(), Lines_t{});
    EXPECT_TRUE(fakeEventLog.empty());
}

TEST_F(FailSafe, FanThatDoesNotAnswerKeepsNoOtherFromFullSpeed) {
    fakeBus.failTransfer(0);
    EXPECT_FALSE(once(5));
    EXPECT_EQ(fakeBus.takeTransfers(), (Lines_t{"W 41 98 3F !", "W 41 99 3F", "W 41 9A 3F"}));
}

TEST_F(FailSafe, MissingBackplaneIsNoFailureAsLongAsAnotherAnswers) {
    fakeBus.failDevice(0x29);
    fakeBus.failDevice(0x2B);
    for (const int refusal : {ENXIO, EREMOTEIO}) {
        fakeBus.refusal = refusal;
        EXPECT_TRUE(once(4)) << refusal;
        EXPECT_EQ(fakeBus.takeTransfers(),
                  (Lines_t{"W 28 5B FF", "W 28 5A FF", "W 29 5B FF !", "W 29 5B FF !", "W 2A 5B FF", "W 2B 5B FF !",
                           "W 2B 5B FF !", "W 2B 5A FF !", "W 2B 5A FF !"}))
            << "asked twice: a refusal may have been a disturbance";
    }
    fakeBus.failDevice(0x28);
    fakeBus.failDevice(0x2A);
    EXPECT_FALSE(once(4)) << "nobody is there";
}

TEST_F(FailSafe, BackplaneThatHangsIsAFailure) {
    fakeBus.failRegister(0x29, 0x5B);
    EXPECT_FALSE(once(4));
}

TEST_F(FailSafe, OneChipThatIsMissingIsAFailureWhereThereIsNoOther) {
    for (const int type : {2, 3, 5, 6}) {
        fakeBus.failDevice(type == 2 ? 0x63 : type == 6 ? 0x28 : 0x41);
        EXPECT_FALSE(once(type)) << type;
        fakeBus.heal();
        EXPECT_TRUE(once(type)) << type;
    }
}

TEST_F(FailSafe, PreparationPutsOutTheLedsThatTheStartLeavesLit) {
    const FullSpeed_t rows[] = {{2, {}}, {3, {"W 41 07 FF"}}, {4, {}}, {5, {"W 41 07 FF"}}, {6, {}}};
    for (const FullSpeed_t& row : rows) {
        EXPECT_TRUE(prepareOnce(chassis(row.type), 99)) << row.type;
        EXPECT_EQ(fakeBus.takeTransfers(), row.transfers) << row.type;
    }
    fakeBus.failDevice(0x41);
    EXPECT_FALSE(prepareOnce(chassis(5), 99));
}

TEST_F(FailSafe, DeviceThatIsMissingIsToldAfterTheGivenTime) {
    EXPECT_EQ(failSafe(chassis(5), "/nowhere/enc-0", 0), FAIL_SAFE_E_NO_DEVICE);
    EXPECT_TRUE(fakeBus.takeTransfers().empty());
}

TEST_F(FailSafe, BusThatNeverAnswersIsTriedUntilTheTimeIsOver) {
    fakeBus.failDevice(0x41);
    EXPECT_EQ(failSafe(chassis(5), "/dev/null", 1), FAIL_SAFE_E_NO_ANSWER);
    EXPECT_GE(fakeBus.takeTransfers().size(), 6U) << "three fans, at least twice";
}

bool isRight(Lines_t words) {
    words.insert(words.begin(), "esafailsafe");
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    FailSafeArguments_t arguments;
    return readArguments(static_cast<int>(words.size()), argv.data(), arguments);
}

TEST(FailSafeArguments, KeyOrChassisButNotBoth) {
    for (const Lines_t& words : {Lines_t{"0x64"},
                                 {"--chassis", "quadra"},
                                 {"--chassis=quadra", "--seconds=0"},
                                 {"100", "--seconds", "3600"},
                                 {"--prepare", "100"}}) {
        EXPECT_TRUE(isRight(words)) << testing::PrintToString(words);
    }
    for (const Lines_t& words : {Lines_t{},
                                 {"100", "--chassis", "quadra"},
                                 {"100", "101"},
                                 {"100", "--seconds", "3601"},
                                 {"100", "--seconds", "soon"},
                                 {"100", "--seconds"},
                                 {"--chassis"},
                                 {"--prepare"},
                                 {"--now"}}) {
        EXPECT_FALSE(isRight(words)) << testing::PrintToString(words);
    }
}

TEST(FailSafeArguments, ChassisGoesByEitherOfItsNames) {
    const std::pair<const char*, int> rows[] = {{"xyratex", 2}, {"Quadra", 3}, {"Chenbro3U16ATX", 4}, {"vsc055", 5},
                                                {"W83782d", 6}, {"None", 1},   {"telma", 0}};
    for (const auto& [name, type] : rows) {
        FailSafeArguments_t arguments;
        arguments.chassis = name;
        EXPECT_EQ(int{chassisOf(arguments)}, type) << name;
    }
}

/** A folder for what is remembered, as the service manager gives it. */
class FailSafeMemory : public testing::Test {
protected:
    FailSafeMemory() {
        setenv("STATE_DIRECTORY", folder_.path().c_str(), 1);
        arguments_.key = "1999999999"; // nobody's block
    }
    ~FailSafeMemory() override { unsetenv("STATE_DIRECTORY"); }

    const testsupport::Folder_t folder_;
    FailSafeArguments_t arguments_;
};

TEST_F(FailSafeMemory, RememberedChassisTakesThePlaceOfABlockThatIsGone) {
    EXPECT_EQ(int{chassisOf(arguments_)}, 0) << "nothing is remembered yet";
    rememberChassis(VORAN_E_CHASSIS_CHENBRO_3U16ATX);
    EXPECT_EQ(int{chassisOf(arguments_)}, 4);
    rememberChassis(VORAN_E_CHASSIS_XYRATEX_2U12ATX);
    EXPECT_EQ(int{chassisOf(arguments_)}, 2);
    unsetenv("STATE_DIRECTORY");
    EXPECT_EQ(int{chassisOf(arguments_)}, 0) << "by hand there is no memory";
    rememberChassis(VORAN_E_CHASSIS_NONE);
}

TEST_F(FailSafeMemory, WhatIsNoChassisOrALinkIsNotBelieved) {
    (void)folder_.write("chassis", "7\n");
    EXPECT_EQ(int{chassisOf(arguments_)}, 0);
    (void)folder_.write("elsewhere", "5\n");
    std::filesystem::remove(folder_.path("chassis"));
    std::filesystem::create_symlink(folder_.path("elsewhere"), folder_.path("chassis"));
    EXPECT_EQ(int{chassisOf(arguments_)}, 0);
}

TEST(FailSafeArguments, KeyBelow100OrNoNumberIsRefused) {
    for (const char* key : {"99", "abc", "0x64x", "4294967396"}) {
        FailSafeArguments_t arguments;
        arguments.key = key;
        EXPECT_EQ(int{chassisOf(arguments)}, 0) << key;
    }
}

} // namespace
