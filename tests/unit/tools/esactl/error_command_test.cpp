/** Every way to fail: exit status, one line on standard error, and a JSON document where JSON was asked for. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

#include "fake_switch.h"

namespace {

using testing::HasSubstr;

void expectError(const Said_t& said, int exitStatus, const std::string& code, const std::string& text) {
    EXPECT_EQ(said.status, exitStatus);
    EXPECT_THAT(said.err, HasSubstr(text));
    EXPECT_EQ(std::count(said.err.begin(), said.err.end(), '\n'), 1) << said.err;
    const JsonValue_t document = JsonValue_t::parse(said.out);
    EXPECT_EQ(document["schema"], "esactl.error");
    EXPECT_EQ(document["version"], 1);
    EXPECT_EQ(document["error"]["code"], code);
    EXPECT_EQ(document["error"]["exit_status"], exitStatus);
    EXPECT_THAT(document["error"]["text"].text(), HasSubstr(text));
}

TEST(Errors, WithoutJsonStandardOutputStaysEmpty) {
    const Said_t said = esactl("--directory /nonexistent status");
    EXPECT_EQ(said.status, 2);
    EXPECT_EQ(said.out, "");
    EXPECT_THAT(said.err, HasSubstr("esactl: no switch at '/nonexistent/peer'"));
}

TEST(Errors, UsageIsOne) {
    const std::string commands = "status, config, slots, accept, led, locate, fan, psu, alarm, events, history, watch, "
                                 "raw, page, bundle, decode";
    const std::pair<std::string, std::string> cases[] = {
        {"", "no command: expected one of " + commands},
        {"bogus", "'bogus' is no command: expected one of " + commands},
        {"status --format prometheus", "--json and --format prometheus"},
        {"status surplus", "surplus"},
        {"led 3 maybe", "{on,off}"},
        {"alarm loud", "{mute,fault,critical}"},
        {"psu 0 on", "{fail,ok}"},
        {"--timeout 0 status", "--timeout"},
        {"--timeout soon status", "--timeout"},
        {"status --format xml", "{text,json,prometheus}"},
        {"--bogus", "there is no option '--bogus' before the command: expected one of --directory, "},
        {"led 3 --bogus=1 on", "there is no option '--bogus': expected one"},
        {"led 3 --bogus=1 on", "; see esactl led --help"},
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
}

TEST(Errors, PermissionDeniedNamesTheGroupThatHasItAndNeverRoots) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "nobody but root can be somebody else";
    }
    FakeSwitch_t net;
    const std::string peer = net.directory() + "/peer";
    const auto asNobody = [&] {
        std::vector<std::string> command{"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
        const std::vector<std::string> words = net.command("status");
        command.insert(command.end(), words.begin(), words.end());
        return testsupport::run(command).err;
    };
    constexpr gid_t MAIL = 8; // the same on every Debian system
    std::filesystem::permissions(net.directory(), std::filesystem::perms{0755});
    std::filesystem::permissions(peer, std::filesystem::perms{0660});
    ASSERT_EQ(chown(peer.c_str(), 0, MAIL), 0);
    EXPECT_EQ(asNobody(),
              "esactl: permission denied at '" + peer +
                  "': members of the group mail may talk to the switch; join it (usermod -aG mail USER) and "
                  "log in again\n");
    ASSERT_EQ(chown(peer.c_str(), 0, 0), 0);
    EXPECT_THAT(asNobody(),
                HasSubstr(": only root and whoever runs the switch may talk to it; ask them, or use sudo\n"));
    std::filesystem::permissions(net.directory(), std::filesystem::perms{0750});
    ASSERT_EQ(chown(net.directory().c_str(), 0, MAIL), 0);
    EXPECT_THAT(asNobody(), HasSubstr("members of the group mail may talk"));
}

TEST(Errors, NoSwitchIsTwo) {
    for (const char* words :
         {"status", "config", "led 0 on", "fan 0 on", "psu 0 ok", "alarm mute", "events", "raw --page 1"}) {
        SCOPED_TRACE(words);
        expectError(esactl(std::string("--directory /nonexistent --json ") + words), 2, "no-switch",
                    "no switch at '/nonexistent/");
    }
}

TEST(Errors, SwitchThatTakesNoConnectionIsGivenUpInTime) {
    // Nobody accepts, and the queue is full.
    const testsupport::Folder_t folder;
    const testsupport::Stream_t listener(testsupport::listenAt(folder.path("peer"), 0));
    const testsupport::Stream_t waiting(testsupport::connectTo(folder.path("peer")));
    ASSERT_TRUE(waiting.isOpen());
    const auto start = std::chrono::steady_clock::now();
    expectError(esactl("--directory " + folder.path() + " --timeout 0.2 status --json"), 2, "no-answer",
                "took no connection in time");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
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

TEST(Errors, SwitchThatGoesAwayIsTwo) {
    FakeSwitch_t net;
    net.hangUp = true;
    const Said_t said = net.esactl("status --json");
    EXPECT_EQ(said.status, 2);
    EXPECT_EQ(JsonValue_t::parse(said.out)["error"]["code"], "no-switch");
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
    FakeSwitch_t net;
    net.serve(backplaneConfiguration(), healthyBackplaneStatus());
    const FakeSwitch_t::Script_t asks = net.script;
    net.script = [asks](const Bytes_t& request) -> std::vector<Bytes_t> {
        return request[15] == 29 ? std::vector<Bytes_t>{responseTo(request, 2, Bytes_t(27, 0))} : asks(request);
    };
    expectError(net.esactl("led 0 on --json"), 4, "refused", "the control page was refused");
    net.script = [](const Bytes_t& request) -> std::vector<Bytes_t> {
        return {
            responseTo(request, 2, unhex("e0 00 50 00 00 00 00 00 00 00 00 00 00 00 00 00 24 00 00 00 00 00 00 00"))};
    };
    expectError(net.esactl("status --json"), 4, "refused",
                "was refused: status 2, return code 2, sense key 0x5, ASC 0x24, ASCQ 0x00");
}

TEST(Errors, ElementThatIsNotThereIsUsageAndChangesNothing) {
    FakeSwitch_t net;
    net.serve(smallConfiguration(), smallStatus());
    expectError(net.esactl("led 2 on --json"), 1, "usage", "there is no slot02; this enclosure has slot00 to slot01");
    expectError(net.esactl("fan fan2 on --json"), 1, "usage", "this enclosure has fan0 to fan1");
    expectError(net.esactl("psu 1 ok --json"), 1, "usage", "this enclosure has psu0 to psu0");
    EXPECT_TRUE(net.requests(29).empty());
}

TEST(Errors, HelpIsNoError) {
    for (const std::string command : {"status", "config", "led", "fan", "psu", "alarm", "events", "watch", "raw"}) {
        const Said_t said = esactl(command + " --help");
        EXPECT_EQ(said.status, 0) << command;
        EXPECT_THAT(said.out, HasSubstr("Example: esactl " + command));
        EXPECT_EQ(said.err, "");
    }
    EXPECT_EQ(esactl("--help").status, 0);
    EXPECT_THAT(esactl("--version").out, testing::StartsWith("esactl "));
}

} // namespace
