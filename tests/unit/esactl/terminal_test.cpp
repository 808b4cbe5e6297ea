/** What esactl does on a terminal; script(1) provides one. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fake_switch.h"

namespace {

using testing::HasSubstr;
using testing::Not;

class Terminal : public testing::Test {
protected:
    Terminal() {
        net_.serve(backplaneConfiguration(), faultyBackplaneStatus());
        options_.environment = {{"TERM", "xterm"}, {"SHELL", "/bin/sh"}};
        options_.unset = {"NO_COLOR"};
        options_.closeStdin = false;
    }

    /** script(1) running esactl with these words on a terminal. */
    std::vector<std::string> onTerminal(const std::string& words) const {
        // In the shell's place: a shell that waited would die of Ctrl-C itself and hide esactl's exit status.
        std::string command = "exec ";
        for (const std::string& word : testsupport::programCommand("esactl")) {
            command += "'" + word + "' ";
        }
        return {"script", "-qec", command + "--directory '" + net_.directory() + "' " + words, "/dev/null"};
    }

    std::string outputOf(const std::string& words) {
        testsupport::Process_t process(onTerminal(words), options_);
        EXPECT_TRUE(process.wait(std::chrono::seconds(60)));
        return process.out();
    }

    FakeSwitch_t net_;
    testsupport::StartOptions_t options_;
};

TEST_F(Terminal, StatusHasColour) {
    EXPECT_THAT(outputOf("status"), HasSubstr("Enclosure \033[1;31mFAULT\033[0m: psu1 "));
}

TEST_F(Terminal, NoColorIsHeeded) {
    options_.unset.clear();
    options_.environment["NO_COLOR"] = "1";
    EXPECT_THAT(outputOf("status"), testing::AllOf(HasSubstr("Enclosure FAULT: psu1 "), Not(HasSubstr("\033"))));
}

TEST_F(Terminal, DumbTerminalGetsNoColour) {
    options_.environment["TERM"] = "dumb";
    EXPECT_THAT(outputOf("status"), Not(HasSubstr("\033")));
}

TEST_F(Terminal, JsonHasNoColour) {
    EXPECT_THAT(outputOf("status --json"), Not(HasSubstr("\033")));
}

TEST_F(Terminal, WatchTakesTheScreenAndQGivesItBack) {
    testsupport::Process_t watch(onTerminal("watch --interval 60"), options_);
    ASSERT_TRUE(watch.waitForOut("\033[?1049h\033[?25l", std::chrono::seconds(60)));
    ASSERT_TRUE(watch.waitForOut("Events: none yet", std::chrono::seconds(60)));
    ASSERT_TRUE(watch.writeInput("xq"));
    const auto ending = watch.wait(std::chrono::seconds(60));
    ASSERT_TRUE(ending);
    EXPECT_EQ(ending->exitCode, 0);
    EXPECT_THAT(watch.out(), testing::EndsWith("\033[?25h\033[?1049l"));
}

TEST_F(Terminal, WatchGivesTheScreenBackOnCtrlC) {
    testsupport::Process_t watch(onTerminal("watch --interval 60"), options_);
    ASSERT_TRUE(watch.waitForOut("Events: none yet", std::chrono::seconds(60)));
    ASSERT_TRUE(watch.writeInput("\003"));
    const auto ending = watch.wait(std::chrono::seconds(60));
    ASSERT_TRUE(ending);
    EXPECT_EQ(ending->exitCode, 0);
    EXPECT_THAT(watch.out(), testing::EndsWith("\033[?25h\033[?1049l"));
}

TEST_F(Terminal, WatchQuitsWhileTheAdapterIsSilent) {
    net_.script = nullptr;
    testsupport::Process_t watch(onTerminal("--timeout 50 watch"), options_);
    ASSERT_TRUE(watch.waitForOut("\033[?1049h", std::chrono::seconds(60)));
    ASSERT_TRUE(watch.writeInput("q"));
    EXPECT_TRUE(watch.wait(std::chrono::seconds(30))) << "a wait for the adapter does not hold the user";
}

} // namespace
