/** Every way to fail: exit status, one line on standard error, and a JSON document where JSON was asked for; and what
 * the shells offer, so that it does not come to that. */
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/fsuid.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "diagnosis.h"
#include "errors.h"
#include "fake_switch.h"
#include "ses_client.h"

namespace {

void expectError(const Said_t& said, int exitStatus, const std::string& code, const std::string& text) {
    EXPECT_EQ(said.status, exitStatus);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, text, said.err);
    EXPECT_EQ(std::count(said.err.begin(), said.err.end(), '\n'), 1) << said.err;
    const JsonValue_t document = JsonValue_t::parse(said.out);
    EXPECT_EQ(document["schema"], "esactl.error");
    EXPECT_EQ(document["version"], 1);
    EXPECT_EQ(document["error"]["code"], code);
    EXPECT_EQ(document["error"]["exit_status"], exitStatus);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, text, document["error"]["text"].text());
}

TEST(Errors, UsageIsOne) {
    const std::string commands = "status, config, slots, accept, led, locate, fan, psu, alarm, events, history, watch, "
                                 "raw, page, bundle, decode";
    const std::pair<std::string, std::string> cases[] = {
        {"", "no command: expected one of " + commands},
        {"bogus worse", "'bogus' is no command: expected one of " + commands},
        {"status --format prometheus", "--json and --format prometheus"},
        {"status surplus", "surplus"},
        {"led 3 maybe", "{on,off}"},
        {"alarm loud", "{mute,fault,critical}"},
        {"psu 0 on", "{fail,ok}"},
        {"--timeout 0 status", "--timeout"},
        {"--timeout soon status", "--timeout"},
        {"status --format xml", "{text,json,prometheus}"},
        {"--bogus --worse", "there is no option '--bogus' before the command: expected one of --directory, "},
        {"led 3 --bogus=1 on", "there is no option '--bogus': expected one"},
        {"led 3 --bogus=1 on", "; see esactl led --help"},
        {"status --version", "there is no option '--version': expected one"},
        {"raw", "raw needs a control page as hex, or --page N"},
        {"raw 02 --page 2", "not both"},
        {"led", "SLOTS is required; see esactl led --help"},
        {"--timeout 0", "; see esactl --help"},
        {"--chassis other status",
         "no chassis 'other'; expected one of none, xyratex, quadra, chenbro, vsc055, w83782d"},
        {"decode /usr", "'/usr' is a directory; give an event log"},
        {"raw 0z", "'0z' is not hex"},
        {"raw 123", "odd number"},
        {"raw --page 256", "--page"},
        {"--directory " + std::string(200, 'd') + " config", "too long"},
        {"status \xFF\xFE", "not expected"}}; // the document is valid JSON all the same
    for (const auto& [words, text] : cases) {
        SCOPED_TRACE(words);
        expectError(esactl(words + " --json"), 1, "usage", text);
    }
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "'/usr' is a directory", esactl("decode -- /usr").err);
}

/** What comes of sending more than the socket holds. */
std::string complaintAbout(const std::string& directory) {
    try {
        SwitchConnection_t connection(directory, "peer", Clock_t::now() + std::chrono::milliseconds(100));
        connection.send(Bytes_t(1U << 24, 0));
    } catch (const ToolError_t& error) {
        return std::string(error.code()) + ": " + error.what();
    }
    return "";
}

TEST(Errors, PermissionDeniedNamesTheGroupThatHasItAndNeverRoots) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "nobody but root can be somebody else";
    }
    const testsupport::Folder_t folder;
    const testsupport::Stream_t listener(testsupport::listenAt(folder.path("peer")));
    constexpr uid_t NOBODY = 65534;
    constexpr gid_t MAIL = 8; // the same on every Debian system
    const std::string members = "members of the group mail may talk to the switch; join it (usermod -aG mail USER) "
                                "and log in again";
    const std::string root = "only root and whoever runs the switch may talk to it; ask them, or use sudo";
    const std::tuple<mode_t, mode_t, gid_t, const char*, std::string> cases[] = {
        {0755, 0060, MAIL, "", members},
        {0755, 0060, 0, "", root},
        {0755, 0000, MAIL, "", root},
        {0050, 0060, 0, "", members},
        {0050, 0060, MAIL, "/.", root}}; // nothing of it can be seen
    for (const auto& [folderMode, socketMode, group, below, who] : cases) {
        const std::string directory = folder.path() + below;
        ASSERT_EQ(chown((directory + "/peer").c_str(), NOBODY, group), 0);
        ASSERT_EQ(chmod((directory + "/peer").c_str(), socketMode), 0);
        ASSERT_EQ(chown(directory.c_str(), NOBODY, MAIL), 0);
        ASSERT_EQ(chmod(directory.c_str(), folderMode), 0);
        (void)setfsuid(NOBODY); // an owner without permission has none as a member of the group either
        const std::string told = complaintAbout(directory);
        (void)setfsuid(0);
        const std::string where = "no-switch: permission denied at '" + directory + "/peer': ";
        EXPECT_EQ(told, where + who);
    }
}

TEST(Errors, NoSwitchIsTwoAndWithoutJsonStandardOutputStaysEmpty) {
    for (const std::string words :
         {"status", "config", "led 0 on", "fan 0 on", "psu 0 ok", "alarm mute", "events", "raw --page 1"}) {
        SCOPED_TRACE(words);
        expectError(esactl("--directory /nonexistent --json " + words), 2, "no-switch", "no switch at '/nonexistent/");
    }
    const Said_t said = esactl("--directory /nonexistent status");
    EXPECT_EQ(said.out, "");
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "esactl: no switch at '/nonexistent/peer'", said.err);
    FakeSwitch_t net;
    net.hangUp = true;
    expectError(net.esactl("status --json"), 2, "no-switch", "");
}

TEST(Errors, SwitchThatTakesNothingIsGivenUpInTimeAndSoIsOneForWhichNoDescriptorIsLeft) {
    // Nobody accepts, and the first fills the queue.
    const testsupport::Folder_t folder;
    const testsupport::Stream_t listener(testsupport::listenAt(folder.path("peer"), 0));
    EXPECT_EQ(complaintAbout(folder.path()),
              "no-answer: the switch at '" + folder.path("peer") + "' took no message in time");
    const auto start = std::chrono::steady_clock::now();
    expectError(esactl("--directory " + folder.path() + " --timeout 0.2 status --json"), 2, "no-answer",
                "took no connection in time");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{0, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    EXPECT_EQ(complaintAbout(folder.path()), "no-switch: cannot make a socket: Too many open files");
    EXPECT_EQ(lastTransferTime(), "") << "nor can anybody else be asked";
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
}

TEST(Errors, NoAnswerWithinTheTimeoutIsTwo) {
    FakeSwitch_t net; // never answers
    const auto start = std::chrono::steady_clock::now();
    expectError(net.esactl("--timeout 0.2 status --json"), 2, "no-answer",
                "no answer to the request for page 1 within 0.2 s");
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_GE(took, std::chrono::milliseconds(200));
    EXPECT_LT(took, std::chrono::seconds(5)) << "the default of 5 s was not meant";
}

TEST(Errors, GreetingThatGivesNoPeerIdIsTwo) {
    FakeSwitch_t net;
    for (const U8_t id : {U8_t{33}, U8_t{64}}) {
        net.greeting[18] = id;
        expectError(net.esactl("status --json"), 2, "bad-answer", "from 34 to 63");
    }
    net.greeting[18] = 34;
    net.greeting[16] = 17; // not from the switch
    expectError(net.esactl("status --json"), 2, "bad-answer", "greeting");
    net.greeting[16] = 16;
    net.greeting[18] = 63;
    net.serve(smallConfiguration(), smallStatus());
    EXPECT_EQ(net.esactl("status").status, 0);
    EXPECT_EQ(net.requests(28).at(0)[16], 63) << "the last peer's id";
    net.greeting.clear();
    expectError(net.esactl("--timeout 0.2 status --json"), 2, "no-answer", "no endpoint id in time");
}

TEST(Errors, AnswersThatMakeNoSenseAreTwo) {
    FakeSwitch_t net;
    const auto answerWith = [&](U8_t claimed) {
        net.script = [claimed](const Bytes_t& request) -> std::vector<Bytes_t> {
            Bytes_t message = responseTo(request, 0, {});
            message.resize(64);
            message[10] = 0;
            message[11] = claimed;
            return {message};
        };
    };
    answerWith(63);
    expectError(net.esactl("status --json"), 2, "bad-answer", "claims 63 bytes");
    answerWith(64);
    expectError(net.esactl("status --json"), 2, "bad-answer", "ends before its status byte");
    net.serve(Bytes_t(10, 0), healthyBackplaneStatus());
    expectError(net.esactl("status --json"), 2, "bad-answer", "configuration makes no sense");
    net.serve(smallConfiguration(), healthyBackplaneStatus());
    expectError(net.esactl("status --json"), 2, "bad-answer", "status makes no sense");
}

TEST(Errors, RefusalIsFourWithItsSenseData) {
    FakeSwitch_t net(backplaneConfiguration(), healthyBackplaneStatus());
    const FakeSwitch_t::Script_t asks = net.script;
    net.script = [asks](const Bytes_t& request) -> std::vector<Bytes_t> {
        return request[15] == 29 ? std::vector<Bytes_t>{responseTo(request, 2, Bytes_t(27, 0))} : asks(request);
    };
    expectError(net.esactl("led 0 on --json"), 4, "refused", "the control page was refused");
    EXPECT_THROW(requireGood({.statusCode = 0, .returnCode = 5, .payload = {}}, "it"), ToolError_t);
    net.script = [](const Bytes_t& request) -> std::vector<Bytes_t> {
        return {
            responseTo(request, 2, unhex("e0 00 50 00 00 00 00 00 00 00 00 00 00 00 00 00 24 00 00 00 00 00 00 00"))};
    };
    expectError(net.esactl("status --json"), 4, "refused",
                "was refused: status 2, return code 2, sense key 0x5, ASC 0x24, ASCQ 0x00");
}

TEST(Errors, ElementThatIsNotThereIsUsageAndChangesNothing) {
    FakeSwitch_t net(smallConfiguration(), smallStatus());
    expectError(net.esactl("led 2 on --json"), 1, "usage", "there is no slot02; this enclosure has slot00 to slot01");
    expectError(net.esactl("fan fan2 on --json"), 1, "usage", "this enclosure has fan0 to fan1");
    expectError(net.esactl("psu 1 ok --json"), 1, "usage", "this enclosure has psu0 to psu0");
    EXPECT_TRUE(net.requests(29).empty());
}

TEST(Errors, HelpIsNoError) {
    for (const std::string command : {"status", "config", "led", "fan", "psu", "alarm", "events", "watch", "raw"}) {
        const Said_t said = esactl(command + " --help");
        EXPECT_EQ(std::to_string(said.status) + said.err, "0") << command;
        EXPECT_PRED_FORMAT2(testing::IsSubstring, "Example: esactl " + command, said.out);
    }
    for (const char* const words : {"--help", "-h", "led -h", "--help --bogus"}) {
        EXPECT_EQ(esactl(words).status, 0) << words;
    }
    EXPECT_TRUE(esactl("--version").out.starts_with("esactl "));
}

class Completion : public testing::Test {
protected:
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

    FakeSwitch_t net_{smallConfiguration(), smallStatus()};
};

TEST_F(Completion, OffersWhatMayStandThere) {
    const std::pair<const char*, const char*> cases[] = {
        {"''", "status config slots accept led locate fan psu alarm events history watch raw page bundle decode"},
        {"--timeout 3 co", "config"},
        {"bogus ''", ""},
        {"status --output ''", ":files"},
        {"config ''", ""},
        {"config --none=", ""},
        {"--json=", ""},
        {"psu = ''", "fail ok"}, // a word like others
        {"--v", "--version"},
        {"led --v", ""},
        {"led ''", "all slot00 slot01"}, // elements that this enclosure has
        {"fan ''", "fan0 fan1"},
        {"psu p", "psu0"},
        {"led slot00,slot0", "slot00,slot00 slot00,slot01"},
        {"--directory /nonexistent led ''", "all"}, // those of the directory that is named
        {"led slot01 ''", "on off"},
        {"psu psu0 ''", "fail ok"},
        {"alarm ''", "mute fault critical"},
        {"status --format p", "prometheus"},
        {"--chassis q", "quadra"},
        {"--directory /et", ":directories"},
        {"events --f", "--follow"},
        {"led all off --fo", "--force"}};
    setenv("ESA_MMSG_DIRECTORY", net_.directory().c_str(), 1);
    for (const auto& [words, offered] : cases) {
        std::istringstream given(words);
        std::vector<std::string> command{"--complete"};
        for (std::string word; given >> word;) {
            command.push_back(word == "''" ? "" : word);
        }
        std::istringstream lines(esactl(command).out);
        std::string first;
        for (std::string line; std::getline(lines, line);) {
            first += (first.empty() ? "" : " ") + line.substr(0, line.find('\t'));
        }
        EXPECT_EQ(first, offered) << words;
    }
    unsetenv("ESA_MMSG_DIRECTORY");
}

TEST_F(Completion, BashAsksTheProgram) {
    const std::pair<const char*, const char*> cases[] = {
        {"--timeout=1 co", "config"},   // a shell that takes = for a part of the word
        {"--timeout = 1 co", "config"}, // and one that does not, as bash
        {"--json --timeout = 1 led s", "slot00 slot01"},
        {"status --format = p", "prometheus"},
        {"status --format = ", "text json prometheus"},
        {"alarm ''", "mute fault critical"},
        {"bogus ''", ""},
        {"--directory /et", "/etc"},
        {"decode /proc/self/statu", "/proc/self/status"}};
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
