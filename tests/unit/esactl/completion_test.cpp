/** The bash completion, asked as the shell asks it. */
#include <cstdlib>
#include <filesystem>
#include <fstream>
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
        const std::string script = "source '" ESACTL_COMPLETION ".bash'\n"
                                   "esactl() { " +
                                   program +
                                   "\"$@\"; }\n"
                                   "COMP_WORDS=(esactl " +
                                   words +
                                   ")\n"
                                   "COMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
                                   "_esactl\n"
                                   "echo ${COMPREPLY[@]}\n";
        testsupport::StartOptions_t options;
        options.environment["ESA_MMSG_DIRECTORY"] = net_.directory();
        const testsupport::RunResult_t result =
            testsupport::run({"bash", "-c", script}, std::chrono::seconds(60), options);
        EXPECT_EQ(result.err, "");
        return result.out;
    }

    /** The output of a shell's script in which `esactl` is the real program. */
    std::string shell(const char* name, const std::string& script) {
        const std::string folder = net_.directory() + "/bin";
        std::filesystem::create_directories(folder);
        std::string program;
        for (const std::string& word : testsupport::programCommand("esactl")) {
            program += "'" + word + "' ";
        }
        std::ofstream(folder + "/esactl") << "#!/bin/sh\nexec " << program << "\"$@\"\n";
        std::filesystem::permissions(folder + "/esactl", std::filesystem::perms::all);
        testsupport::StartOptions_t options;
        options.environment["ESA_MMSG_DIRECTORY"] = net_.directory();
        options.environment["PATH"] = folder + ":" + std::getenv("PATH");
        options.environment["HOME"] = net_.directory();
        const testsupport::RunResult_t result =
            testsupport::run({name, "-c", script}, std::chrono::seconds(60), options);
        EXPECT_EQ(result.err, "");
        return result.out;
    }

    FakeSwitch_t net_;
};

TEST_F(Completion, Commands) {
    EXPECT_EQ(offered("''"),
              "status config slots accept led locate fan psu alarm events history watch raw page bundle decode\n");
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
    EXPECT_EQ(offered("led all off --fo"), "--force\n");
}

TEST_F(Completion, FishAsksTheProgramToo) {
    const auto offered = [&](const std::string& line) {
        return shell("fish", "source '" ESACTL_COMPLETION ".fish'; complete -C '" + line + "'");
    };
    EXPECT_EQ(offered("esactl --timeout=1 conf"),
              "config\tWhat the enclosure consists of, and the adapter's version\n");
    EXPECT_EQ(offered("esactl led s"), "slot00\nslot01\n");
    EXPECT_EQ(offered("esactl status --format=js"), "--format=json\n");
}

TEST_F(Completion, ZshAsksTheProgramToo) {
    const auto offered = [&](const std::string& words) {
        return shell("zsh", "_describe() { print -l -- ${(P)2}; }; words=(" + words +
                                "); CURRENT=$#words; source '" ESACTL_COMPLETION ".zsh'");
    };
    EXPECT_EQ(offered("esactl --timeout=1 conf"), "config:What the enclosure consists of, and the adapter's version\n");
    EXPECT_EQ(offered("esactl led s"), "slot00\nslot01\n");
    EXPECT_EQ(offered("esactl alarm ''"), "mute\nfault\ncritical\n");
}

} // namespace
