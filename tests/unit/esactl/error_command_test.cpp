/** Every way to fail: exit status, one line on standard error, and a JSON document where JSON was asked for. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

#include "fake_switch.h"
#include "json_value.h"

namespace {

using testing::HasSubstr;
using testsupport::JsonValue_t;
using Args_t = std::vector<std::string>;

void expectError(const testsupport::RunResult_t& result, int exitStatus, const std::string& code,
                 const std::string& text) {
    EXPECT_EQ(result.ending.exitCode, exitStatus);
    EXPECT_THAT(result.err, HasSubstr(text));
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    const JsonValue_t document = JsonValue_t::parse(result.out);
    EXPECT_EQ(document["schema"], "esactl.error");
    EXPECT_EQ(document["version"], 1);
    EXPECT_EQ(document["error"]["code"], code);
    EXPECT_EQ(document["error"]["exit_status"], exitStatus);
    EXPECT_THAT(document["error"]["text"].text(), HasSubstr(text));
}

testsupport::RunResult_t esactl(const Args_t& args) {
    return testsupport::run(testsupport::programCommand("esactl", args));
}

TEST(Errors, WithoutJsonStandardOutputStaysEmpty) {
    const testsupport::RunResult_t result = esactl({"--directory", "/nonexistent", "status"});
    EXPECT_EQ(result.ending.exitCode, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("esactl: no switch at '/nonexistent/peer'"));
}

TEST(Errors, UsageIsOne) {
    const std::string commands = "status, config, slots, accept, led, locate, fan, psu, alarm, events, history, watch, "
                                 "raw, page, bundle, decode";
    expectError(esactl({"--json"}), 1, "usage", "no command: expected one of " + commands);
    expectError(esactl({"bogus", "--json"}), 1, "usage", "'bogus' is no command: expected one of " + commands);
    expectError(esactl({"status", "--json", "--format", "prometheus"}), 1, "usage", "--json and --format prometheus");
    expectError(esactl({"status", "--json", "surplus"}), 1, "usage", "surplus");
    expectError(esactl({"led", "3", "maybe", "--json"}), 1, "usage", "{on,off}");
    expectError(esactl({"alarm", "loud", "--json"}), 1, "usage", "{mute,fault,critical}");
    expectError(esactl({"psu", "0", "on", "--json"}), 1, "usage", "{fail,ok}");
    expectError(esactl({"--timeout", "0", "status", "--json"}), 1, "usage", "--timeout");
    expectError(esactl({"--timeout", "soon", "status", "--json"}), 1, "usage", "--timeout");
    expectError(esactl({"status", "--format", "xml", "--json"}), 1, "usage", "{text,json,prometheus}");
    expectError(esactl({"--bogus", "--json"}), 1, "usage",
                "there is no option '--bogus' before the command: expected one of --directory, ");
    expectError(esactl({"led", "3", "--bogus=1", "on", "--json"}), 1, "usage",
                "there is no option '--bogus': expected one");
    expectError(esactl({"led", "3", "--bogus=1", "on", "--json"}), 1, "usage", "; see esactl led --help");
    expectError(esactl({"raw", "--json"}), 1, "usage", "raw needs a control page as hex, or --page N");
    expectError(esactl({"raw", "02", "--page", "2", "--json"}), 1, "usage", "not both");
    expectError(esactl({"led", "--json"}), 1, "usage", "SLOTS is required; see esactl led --help");
    expectError(esactl({"--timeout", "0", "--json"}), 1, "usage", "; see esactl --help");
    expectError(esactl({"--chassis", "other", "status", "--json"}), 1, "usage",
                "no chassis 'other'; expected one of none, xyratex, quadra, chenbro, vsc055, w83782d");
    expectError(esactl({"decode", "/usr", "--json"}), 1, "usage", "'/usr' is a directory; give an event log");
    expectError(esactl({"raw", "0z", "--json"}), 1, "usage", "'0z' is not hex");
    expectError(esactl({"raw", "123", "--json"}), 1, "usage", "odd number");
    expectError(esactl({"raw", "--page", "256", "--json"}), 1, "usage", "--page");
    expectError(esactl({"--directory", std::string(200, 'd'), "config", "--json"}), 1, "usage", "too long");
}

TEST(Errors, UsageTextThatIsNotUtf8StillGivesValidJson) {
    expectError(esactl({"--json", "status", "\xFF\xFE"}), 1, "usage", "not expected");
}

TEST(Errors, PermissionDeniedNamesTheGroupThatHasItAndNeverRoots) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "nobody but root can be somebody else";
    }
    FakeSwitch_t net;
    const std::string peer = net.directory() + "/peer";
    const auto asNobody = [&] {
        Args_t command{"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
        for (const std::string& word :
             testsupport::programCommand("esactl", {"--directory", net.directory(), "status"})) {
            command.push_back(word);
        }
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
    for (const Args_t& args : {Args_t{"status"},
                               {"config"},
                               {"led", "0", "on"},
                               {"fan", "0", "on"},
                               {"psu", "0", "ok"},
                               {"alarm", "mute"},
                               {"events"},
                               {"raw", "--page", "1"}}) {
        Args_t all{"--directory", "/nonexistent", "--json"};
        all.insert(all.end(), args.begin(), args.end());
        expectError(esactl(all), 2, "no-switch", "no switch at '/nonexistent/");
    }
}

TEST(Errors, SwitchThatTakesNoConnectionIsGivenUpInTime) {
    // Nobody accepts, and the queue is full.
    const testsupport::Folder_t folder;
    const testsupport::Stream_t listener(testsupport::listenAt(folder.path("peer"), 0));
    const testsupport::Stream_t waiting(testsupport::connectTo(folder.path("peer")));
    ASSERT_TRUE(waiting.isOpen());
    const auto start = std::chrono::steady_clock::now();
    expectError(esactl({"--directory", folder.path(), "--timeout", "0.3", "status", "--json"}), 2, "no-answer",
                "took no connection in time");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
}

TEST(Errors, NoAnswerWithinTheTimeoutIsTwo) {
    FakeSwitch_t net; // never answers
    const auto start = std::chrono::steady_clock::now();
    expectError(net.esactl({"--timeout", "0.3", "status", "--json"}), 2, "no-answer",
                "no answer to the request for page 1 within 0.3 s");
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_GE(took, std::chrono::milliseconds(300));
    EXPECT_LT(took, std::chrono::seconds(5)) << "the default of 5 s was not meant";
}

TEST(Errors, NoGreetingIsTwo) {
    FakeSwitch_t net;
    net.greeting.clear();
    expectError(net.esactl({"--timeout", "0.3", "status", "--json"}), 2, "no-answer", "no endpoint id in time");
}

TEST(Errors, GreetingThatGivesNoPeerIdIsTwo) {
    for (const U8_t id : {U8_t{33}, U8_t{64}}) {
        FakeSwitch_t net;
        net.greeting[18] = id;
        expectError(net.esactl({"status", "--json"}), 2, "bad-answer", "from 34 to 63");
    }
    FakeSwitch_t net;
    net.greeting[16] = 17; // not from the switch
    expectError(net.esactl({"status", "--json"}), 2, "bad-answer", "greeting");
}

TEST(Errors, LastPeerIdIsTaken) {
    FakeSwitch_t net;
    net.serve(smallConfiguration(), smallStatus());
    net.greeting[18] = 63;
    EXPECT_EQ(net.esactl({"status"}).ending.exitCode, 0);
    EXPECT_EQ(net.requests(28).at(0)[16], 63);
}

TEST(Errors, SwitchThatGoesAwayIsTwo) {
    FakeSwitch_t net;
    net.hangUp = true;
    const testsupport::RunResult_t result = net.esactl({"status", "--json"});
    EXPECT_EQ(result.ending.exitCode, 2);
    EXPECT_EQ(JsonValue_t::parse(result.out)["error"]["code"], "no-switch");
}

TEST(Errors, MessageShorterThanItsHeaderIsTwo) {
    FakeSwitch_t net;
    net.script = [](const Bytes_t& request) -> std::vector<Bytes_t> {
        Bytes_t message = responseTo(request, 0, {});
        message[10] = 0;
        message[11] = 63;
        return {message};
    };
    expectError(net.esactl({"status", "--json"}), 2, "bad-answer", "claims 63 bytes");
}

TEST(Errors, ReplyWithoutAStatusIsTwo) {
    FakeSwitch_t net;
    net.script = [](const Bytes_t& request) -> std::vector<Bytes_t> {
        Bytes_t message = responseTo(request, 0, {});
        message.resize(64);
        message[11] = 64;
        return {message};
    };
    expectError(net.esactl({"status", "--json"}), 2, "bad-answer", "ends before its status byte");
}

TEST(Errors, PagesThatMakeNoSenseAreTwo) {
    FakeSwitch_t net;
    net.serve(Bytes_t(10, 0), healthyBackplaneStatus());
    expectError(net.esactl({"status", "--json"}), 2, "bad-answer", "configuration makes no sense");
    net.serve(smallConfiguration(), healthyBackplaneStatus());
    expectError(net.esactl({"status", "--json"}), 2, "bad-answer", "status makes no sense");
}

TEST(Errors, CheckConditionIsFourWithItsSenseData) {
    FakeSwitch_t net;
    net.script = [](const Bytes_t& request) -> std::vector<Bytes_t> {
        const Bytes_t sense = unhex("e0 00 50 00 00 00 00 00 00 00 00 00 00 00 00 00 24 00 00 00 00 00 00 00");
        return {responseTo(request, 2, sense)};
    };
    expectError(net.esactl({"status", "--json"}), 4, "refused",
                "was refused: status 2, return code 2, sense key 0x5, ASC 0x24, ASCQ 0x00");
}

TEST(Errors, RefusedControlPageIsFour) {
    FakeSwitch_t net;
    net.serve(backplaneConfiguration(), healthyBackplaneStatus());
    const FakeSwitch_t::Script_t asks = net.script;
    net.script = [asks](const Bytes_t& request) -> std::vector<Bytes_t> {
        return request[15] == 29 ? std::vector<Bytes_t>{responseTo(request, 2, Bytes_t(27, 0))} : asks(request);
    };
    expectError(net.esactl({"led", "0", "on", "--json"}), 4, "refused", "the control page was refused");
}

TEST(Errors, ElementThatIsNotThereIsUsageAndChangesNothing) {
    FakeSwitch_t net;
    net.serve(smallConfiguration(), smallStatus());
    expectError(net.esactl({"led", "2", "on", "--json"}), 1, "usage",
                "there is no slot02; this enclosure has slot00 to slot01");
    expectError(net.esactl({"fan", "fan2", "on", "--json"}), 1, "usage", "this enclosure has fan0 to fan1");
    expectError(net.esactl({"psu", "1", "ok", "--json"}), 1, "usage", "this enclosure has psu0 to psu0");
    EXPECT_TRUE(net.requests(29).empty());
}

TEST(Errors, HelpIsNoError) {
    for (const char* command : {"status", "config", "led", "fan", "psu", "alarm", "events", "watch", "raw"}) {
        const testsupport::RunResult_t result = esactl({command, "--help"});
        EXPECT_EQ(result.ending.exitCode, 0) << command;
        EXPECT_THAT(result.out, HasSubstr(std::string("Example: esactl ") + command));
        EXPECT_EQ(result.err, "");
    }
    EXPECT_EQ(esactl({"--help"}).ending.exitCode, 0);
    EXPECT_THAT(esactl({"--version"}).out, testing::StartsWith("esactl "));
}

} // namespace
