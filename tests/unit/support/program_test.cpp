#include "program.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {

constexpr Milliseconds LONG{20000};

TEST(Program, StartsAProgramOfThisBuildWithItsArguments) {
    const RunResult result = run(programCommand("echo_program", {"args", "one", "two words", ""}));
    EXPECT_FALSE(result.timedOut);
    EXPECT_EQ(result.ending.exitCode, 0);
    EXPECT_EQ(result.out, "[one][two words][]");
    EXPECT_EQ(result.err, "");
}

TEST(Program, GivesExitStatusAndStandardError) {
    const RunResult result = run(programCommand("echo_program", {"exit", "42"}));
    EXPECT_EQ(result.ending.exitCode, 42);
    EXPECT_EQ(result.ending.signal, 0);
    EXPECT_EQ(result.err, "leaving");
}

TEST(Program, OutputLargerThanAPipeDoesNotBlock) {
    const RunResult result = run(programCommand("echo_program", {"flood"}));
    EXPECT_EQ(result.ending.exitCode, 0);
    EXPECT_EQ(result.out.size(), 200000U);
}

TEST(Program, FeedsStandardInput) {
    StartOptions options;
    options.closeStdin = false;
    Process process(programCommand("echo_program", {"cat"}), options);
    EXPECT_TRUE(process.writeInput("hello"));
    EXPECT_TRUE(process.running());
    process.closeInput();
    ASSERT_TRUE(process.wait(LONG).has_value());
    EXPECT_EQ(process.out(), "hello");
}

TEST(Program, StandardInputIsAtItsEndByDefault) {
    const RunResult result = run(programCommand("echo_program", {"cat"}));
    EXPECT_FALSE(result.timedOut);
    EXPECT_EQ(result.out, "");
}

TEST(Program, SetsAndUnsetsEnvironmentVariables) {
    setenv("ESA_SUPPORT_TEST", "inherited", 1);
    StartOptions set;
    set.environment["ESA_SUPPORT_TEST"] = "given";
    StartOptions unset;
    unset.unset.push_back("ESA_SUPPORT_TEST");
    const auto command = programCommand("echo_program", {"env", "ESA_SUPPORT_TEST"});
    EXPECT_EQ(run(command).out, "inherited");
    EXPECT_EQ(run(command, LONG, set).out, "given");
    EXPECT_EQ(run(command, LONG, unset).out, "(none)");
}

TEST(Program, StartsInTheGivenDirectory) {
    StartOptions options;
    options.directory = "/usr";
    EXPECT_EQ(run({"pwd"}, LONG, options).out, "/usr\n");
}

TEST(Program, SignalEndsItAndIsReported) {
    Process process(programCommand("echo_program", {"sleep"}));
    ASSERT_TRUE(process.waitForOut("sleeping", LONG));
    process.kill(SIGTERM);
    const auto ending = process.wait(LONG);
    ASSERT_TRUE(ending.has_value());
    EXPECT_EQ(ending->exitCode, -1);
    EXPECT_EQ(ending->signal, SIGTERM);
}

TEST(Program, TimeoutKillsItAndKeepsWhatItWrote) {
    const RunResult result = run(programCommand("echo_program", {"sleep"}), Milliseconds(1500));
    EXPECT_TRUE(result.timedOut);
    EXPECT_EQ(result.ending.signal, SIGKILL);
    EXPECT_NE(result.out.find("sleeping"), std::string::npos);
}

TEST(Program, DestructorKillsTheWholeProcessGroup) {
    pid_t grandchild = 0;
    {
        std::vector<std::string> shell{"sh", "-c", "\"$@\" & wait", "sh"};
        const auto command = programCommand("echo_program", {"sleep"});
        shell.insert(shell.end(), command.begin(), command.end());
        Process process(shell);
        ASSERT_TRUE(process.waitForOut("sleeping", LONG));
        grandchild = std::atoi(process.out().c_str());
    }
    ASSERT_GT(grandchild, 0);
    // Killed processes stay for a moment until whoever inherits them has looked.
    for (int i = 0; i < 200 && ::kill(grandchild, 0) == 0; i++) {
        run({"sleep", "0.05"});
    }
    EXPECT_EQ(::kill(grandchild, 0), -1);
    EXPECT_EQ(errno, ESRCH);
}

TEST(Program, WaitingForTextEndsWithTheProgram) {
    Process process(programCommand("echo_program", {"args", "this"}));
    EXPECT_FALSE(process.waitForOut("that", LONG));
    EXPECT_FALSE(process.running());
    EXPECT_EQ(process.out(), "[this]");
}

TEST(Program, WaitsForTextOnStandardError) {
    Process process(programCommand("echo_program", {"exit", "0"}));
    EXPECT_TRUE(process.waitForErr("leaving", LONG));
}

TEST(Program, WhatCannotBeStartedEndsWith127AndSaysWhy) {
    const RunResult result = run({"/nonexistent/program"});
    EXPECT_EQ(result.ending.exitCode, 127);
    EXPECT_NE(result.err.find("/nonexistent/program: No such file or directory"), std::string::npos);
}

TEST(Program, EmulatorOfTheEnvironmentComesFirst) {
    setenv("ESA_EMULATOR", "wrapper -x", 1);
    const auto command = programCommand("esa");
    ASSERT_EQ(command.size(), 3U);
    EXPECT_EQ(command[0], "wrapper");
    EXPECT_EQ(command[1], "-x");
    EXPECT_EQ(command[2], programPath("esa"));
}

} // namespace
