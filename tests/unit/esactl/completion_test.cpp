/** The bash completion, asked as the shell asks it. */
#include <gtest/gtest.h>

#include "fake_switch.h"

namespace {

class Completion : public testing::Test {
protected:
    Completion() { net_.serve(smallConfiguration(), smallStatus()); }

    /** What bash offers for the last of `words`, which follow "esactl". */
    std::string offered(const std::string& words) {
        std::string program;
        for (const std::string& word : testsupport::programCommand("esactl")) {
            program += "'" + word + "' ";
        }
        const std::string script = "source '" ESACTL_COMPLETION "'\n"
                                   "esactl() { " +
                                   program +
                                   "\"$@\"; }\n"
                                   "COMP_WORDS=(esactl " +
                                   words +
                                   ")\n"
                                   "COMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
                                   "_esactl\n"
                                   "echo ${COMPREPLY[@]}\n";
        testsupport::StartOptions options;
        options.environment["ESA_MMSG_DIRECTORY"] = net_.directory();
        const testsupport::RunResult result =
            testsupport::run({"bash", "-c", script}, std::chrono::seconds(60), options);
        EXPECT_EQ(result.err, "");
        return result.out;
    }

    FakeSwitch_t net_;
};

TEST_F(Completion, Commands) {
    EXPECT_EQ(offered("''"), "status config led fan psu alarm events history watch raw page bundle decode\n");
    EXPECT_EQ(offered("--timeout 3 co"), "config\n");
}

TEST_F(Completion, ElementsThatThisEnclosureHas) {
    EXPECT_EQ(offered("led ''"), "all slot00 slot01\n");
    EXPECT_EQ(offered("fan ''"), "fan0 fan1\n");
    EXPECT_EQ(offered("psu p"), "psu0\n");
}

TEST_F(Completion, ElementsOfTheDirectoryThatIsNamed) {
    EXPECT_EQ(offered("--directory /nonexistent led ''"), "all\n");
}

TEST_F(Completion, RequestsAndOptions) {
    EXPECT_EQ(offered("led slot01 ''"), "on off\n");
    EXPECT_EQ(offered("psu psu0 ''"), "fail ok\n");
    EXPECT_EQ(offered("alarm ''"), "mute fault critical\n");
    EXPECT_EQ(offered("status --format p"), "prometheus\n");
    EXPECT_EQ(offered("events --f"), "--follow\n");
    EXPECT_EQ(offered("led all off --fo"), "--force\n");
}

} // namespace
