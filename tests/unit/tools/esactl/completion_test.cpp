/** What the shells offer, asked as they ask. */
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "fake_switch.h"

namespace {

class Completion : public testing::Test {
protected:
    Completion() { net_.serve(smallConfiguration(), smallStatus()); }

    /** The output of a shell's script in which `esactl` is the real program. */
    std::string shell(const char* name, const std::string& script) {
        const std::string folder = net_.directory() + "/bin";
        std::filesystem::create_directories(folder);
        std::string program;
        for (const std::string& word : esactlCommand("")) {
            program += "'" + word + "' ";
        }
        std::ofstream(folder + "/esactl") << "#!/bin/sh\nexec " << program << "\"$@\"\n";
        std::filesystem::permissions(folder + "/esactl", std::filesystem::perms::all);
        const testsupport::RunResult_t result =
            testsupport::run({name, "-c", script}, PATIENCE,
                             {.environment = {{"ESA_MMSG_DIRECTORY", net_.directory()},
                                              {"PATH", folder + ":" + std::getenv("PATH")},
                                              {"HOME", net_.directory()}}});
        EXPECT_EQ(result.err, "");
        return result.out;
    }

    FakeSwitch_t net_;
};

TEST_F(Completion, BashAsksTheProgram) {
    const std::pair<const char*, const char*> cases[] = {
        {"''", "status config slots accept led locate fan psu alarm events history watch raw page bundle decode"},
        {"--timeout 3 co", "config"},
        {"--timeout=1 co", "config"},   // a shell that takes = for a part of the word
        {"--timeout = 1 co", "config"}, // and one that does not, as bash
        {"--json --timeout = 1 led s", "slot00 slot01"},
        {"bogus ''", ""},
        {"led ''", "all slot00 slot01"}, // elements that this enclosure has
        {"fan ''", "fan0 fan1"},
        {"psu p", "psu0"},
        {"led slot00,slot0", "slot00,slot00 slot00,slot01"},
        {"--directory /nonexistent led ''", "all"}, // those of the directory that is named
        {"led slot01 ''", "on off"},
        {"psu psu0 ''", "fail ok"},
        {"alarm ''", "mute fault critical"},
        {"status --format p", "prometheus"},
        {"status --format = p", "prometheus"},
        {"status --format = ", "text json prometheus"},
        {"--chassis q", "quadra"},
        {"--directory /et", "/etc"},
        {"events --f", "--follow"},
        {"led all off --fo", "--force"},
    };
    std::string script = "source '" ESACTL_COMPLETION ".bash'\n";
    std::string expected;
    for (const auto& [words, offered] : cases) {
        script += "COMP_WORDS=(esactl " + std::string(words) +
                  "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _esactl; echo ${COMPREPLY[@]}\n";
        expected += offered + std::string("\n");
    }
    EXPECT_EQ(shell("bash", script), expected);
}

TEST_F(Completion, FishAsksTheProgramToo) {
    EXPECT_EQ(shell("fish", "source '" ESACTL_COMPLETION ".fish'\n"
                            "complete -C 'esactl --timeout=1 conf'\n"
                            "complete -C 'esactl led s'\n"
                            "complete -C 'esactl status --format=js'"),
              "config\tWhat the enclosure consists of, and the adapter's version\n"
              "slot00\nslot01\n"
              "--format=json\n");
}

TEST_F(Completion, ZshAsksTheProgramToo) {
    const auto offered = [](const std::string& words) {
        return "words=(" + words + "); CURRENT=$#words; source '" ESACTL_COMPLETION ".zsh'\n";
    };
    EXPECT_EQ(shell("zsh", "_describe() { print -l -- ${(P)2}; }\n" + offered("esactl --timeout=1 conf") +
                               offered("esactl led s") + offered("esactl alarm ''")),
              "config:What the enclosure consists of, and the adapter's version\n"
              "slot00\nslot01\n"
              "mute\nfault\ncritical\n");
}

} // namespace
