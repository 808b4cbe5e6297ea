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
    EXPECT_EQ(offered("''"), "status config slots accept led locate fan psu alarm events watch raw\n");
    EXPECT_EQ(offered("--timeout 3 co"), "config\n");
    EXPECT_EQ(offered("--timeout=1 co"), "config\n") << "a shell that takes = for a part of the word";
    EXPECT_EQ(offered("--timeout = 1 co"), "config\n") << "and one that does not, as bash";
    EXPECT_EQ(offered("--json --timeout = 1 led s"), "slot00 slot01\n");
    EXPECT_EQ(offered("bogus ''"), "\n");
}

TEST_F(Completion, ElementsThatThisEnclosureHas) {
    EXPECT_EQ(offered("led ''"), "all slot00 slot01\n");
    EXPECT_EQ(offered("fan ''"), "fan0 fan1\n");
    EXPECT_EQ(offered("psu p"), "psu0\n");
    EXPECT_EQ(offered("led slot00,slot0"), "slot00,slot00 slot00,slot01\n");
}

TEST_F(Completion, ElementsOfTheDirectoryThatIsNamed) {
    EXPECT_EQ(offered("--directory /nonexistent led ''"), "all\n");
}

TEST_F(Completion, RequestsAndOptions) {
    EXPECT_EQ(offered("led slot01 ''"), "on off\n");
    EXPECT_EQ(offered("psu psu0 ''"), "fail ok\n");
    EXPECT_EQ(offered("alarm ''"), "mute fault critical\n");
    EXPECT_EQ(offered("status --format p"), "prometheus\n");
    EXPECT_EQ(offered("status --format = p"), "prometheus\n");
    EXPECT_EQ(offered("status --format = "), "text json prometheus\n");
    EXPECT_EQ(offered("--chassis q"), "quadra\n");
    EXPECT_EQ(offered("--directory /et"), "/etc\n");
    EXPECT_EQ(offered("events --f"), "--follow\n");
}

} // namespace
