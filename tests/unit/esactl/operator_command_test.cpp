/** What an operator is told: on which enclosure, what will become of a command, what is lived with. */
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fake_switch.h"
#include "folder.h"
#include "json_value.h"

namespace {

using testing::HasSubstr;
using testsupport::JsonValue_t;

class OperatorCommand : public testing::Test {
protected:
    OperatorCommand() { net_.serve(smallConfiguration(), smallStatus()); }

    testsupport::RunResult_t esactl(std::vector<std::string> words) {
        words.insert(words.begin(), {"--state", state_});
        return net_.esactl(words);
    }

    std::string lastPage() {
        const std::vector<Bytes_t> requests = net_.requests(29);
        return requests.empty() ? "" : plainHex(requests.back()).substr(2 * 72);
    }

    FakeSwitch_t net_;
    const std::string state_ = net_.directory();
};

TEST_F(OperatorCommand, WhatWillBecomeOfAFan) {
    const struct {
        const char* chassis;
        const char* request;
        const char* outlook;
    } cases[] = {
        {"quadra", "off", "off until 'esactl fan fan1 on': the policy of this chassis never touches it again"},
        {"quadra", "on", "while the average is at or under 54 C"},
        {"chenbro", "off", "counts as failed, and then every fan is driven fully"},
        {"chenbro", "on", "while the average is at or under 34 C"},
    };
    for (const auto& c : cases) {
        const testsupport::RunResult_t result = esactl({"--chassis", c.chassis, "fan", "1", c.request});
        EXPECT_EQ(result.ending.exitCode, 0);
        EXPECT_THAT(result.err, HasSubstr(c.outlook)) << c.chassis;
    }
    EXPECT_THAT(JsonValue_t::parse(esactl({"--chassis", "quadra", "fan", "1", "off", "--json"}).out)["outlook"].text(),
                HasSubstr("however hot it gets"));
}

TEST_F(OperatorCommand, ABankIsNamedWhole) {
    const testsupport::RunResult_t result = esactl({"--chassis", "xyratex", "fan", "1", "off"});
    EXPECT_EQ(result.out, "fan0: switched off\nfan1: switched off\n")
        << "all that this enclosure has of the first four";
}

TEST_F(OperatorCommand, OnThatWouldSlowAFanNeedsForce) {
    const testsupport::RunResult_t refused = esactl({"--chassis", "w83782d", "fan", "1", "on"});
    EXPECT_EQ(refused.ending.exitCode, 1);
    EXPECT_THAT(refused.err, HasSubstr("'on' drives fan1 at 39 percent (100 of 255)"));
    EXPECT_EQ(lastPage(), "");
    const testsupport::RunResult_t forced = esactl({"--chassis", "w83782d", "fan", "1", "on", "--force"});
    EXPECT_EQ(forced.ending.exitCode, 0);
    EXPECT_EQ(forced.err,
              "esactl: 39 percent (100 of 255) until the next poll, in 11 s at most; then it has the speed that "
              "the policy gives it\n");
    EXPECT_EQ(esactl({"--chassis", "w83782d", "fan", "1", "off"}).ending.exitCode, 0);
}

TEST_F(OperatorCommand, AnEnclosureWithoutLedsLightsNone) {
    for (const char* chassis : {"chenbro", "w83782d"}) {
        const testsupport::RunResult_t result = esactl({"--chassis", chassis, "led", "0", "on"});
        EXPECT_EQ(result.ending.exitCode, 1);
        EXPECT_THAT(result.err, HasSubstr(std::string("a ") + chassis + " enclosure has no drive fault LEDs"));
    }
    EXPECT_EQ(lastPage(), "");
}

TEST_F(OperatorCommand, SeveralSlotsGoInOnePage) {
    std::ofstream(state_ + "/slots") << "1 A2\n";
    const testsupport::RunResult_t result = esactl({"--slots", state_ + "/slots", "led", "0,A2", "on"});
    EXPECT_EQ(result.out, "slot00: fault LED on\nslot01 (A2): fault LED on\n");
    EXPECT_EQ(net_.requests(29).size(), 1U);
    EXPECT_EQ(lastPage().substr(16, 24), "000000000000000400000004");
}

TEST_F(OperatorCommand, WaitTellsWhatHasComeOfIt) {
    const testsupport::RunResult_t result = esactl({"fan", "1", "on", "--wait", "--after", "0.1"});
    EXPECT_EQ(result.out, "fan1: switched on\nfan1 now: ok 2000 RPM (limit 2000 RPM)\n");
}

TEST_F(OperatorCommand, LocateBlinksAndLeavesTheLedsAsTheyWere) {
    const testsupport::RunResult_t result = esactl({"locate", "all", "--blink", "0.1", "--count", "1"});
    EXPECT_EQ(result.ending.exitCode, 0) << result.err;
    EXPECT_THAT(result.err, HasSubstr("blinks once, then is as it was"));
    const std::vector<Bytes_t> requests = net_.requests(29);
    ASSERT_EQ(requests.size(), 3U);
    EXPECT_EQ(plainHex(requests[0]).substr(2 * 80, 24), "000000000000000400000004") << "on";
    EXPECT_EQ(plainHex(requests[1]).substr(2 * 80, 24), "000000000000000000000000") << "off";
    EXPECT_EQ(plainHex(requests[2]).substr(2 * 80, 24), "000000000000000000000004") << "as it was";
}

TEST_F(OperatorCommand, LocateThatIsStoppedLeavesTheLedsAsTheyWere) {
    testsupport::Process_t process(
        testsupport::programCommand("esactl", {"--directory", net_.directory(), "locate", "0", "--blink", "60"}));
    for (int i = 0; i < 600 && net_.requests(29).empty(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    process.kill(SIGINT);
    const auto ending = process.wait(std::chrono::seconds(60));
    ASSERT_TRUE(ending);
    EXPECT_EQ(ending->exitCode, 0);
    EXPECT_EQ(lastPage().substr(16, 24), "000000000000000000000004");
}

TEST_F(OperatorCommand, AcceptedIsListedAndCountsNoMore) {
    Bytes_t status = smallStatus();
    status[38] = 0; // fan 1 stands still
    status[39] = 0x08;
    net_.serve(smallConfiguration(), status);
    EXPECT_EQ(esactl({"status"}).ending.exitCode, 8);
    EXPECT_THAT(esactl({"accept", "fan0", "--until", "3d"}).err,
                HasSubstr("nothing is wrong with 'fan0'; wrong is fan1"));
    EXPECT_THAT(esactl({"accept", "fan1"}).err, HasSubstr("accept needs --until"));
    EXPECT_EQ(esactl({"accept", "fan1", "--until", "3d"}).ending.exitCode, 0);
    const testsupport::RunResult_t lived = esactl({"status"});
    EXPECT_EQ(lived.ending.exitCode, 0);
    EXPECT_THAT(lived.out, HasSubstr("Enclosure OK\nAccepted    fan1 stands still (limit 2000 RPM) (until 20"));
    EXPECT_EQ(JsonValue_t::parse(esactl({"status", "--json"}).out)["accepted"][0]["element"], "fan1");
    EXPECT_THAT(esactl({"status", "--format", "prometheus"}).out,
                HasSubstr("\nesa_condition_accepted{element=\"fan1\"} 1\n"));
    EXPECT_EQ(esactl({"accept", "fan1", "--revoke"}).out, "nothing is accepted\n");
    EXPECT_EQ(esactl({"status"}).ending.exitCode, 8);
}

TEST_F(OperatorCommand, WhatABundleCouldNotHaveIsListedAndNoComplaintIsTakenForAnAnswer) {
    const testsupport::Folder_t folder;
    for (const std::string program : {"mpuparams", "journalctl", "systemctl"}) {
        std::filesystem::permissions(folder.write(program, "#!/bin/sh\necho the words of " + program + "\nexit 3\n"),
                                     std::filesystem::perms::owner_all);
    }
    const std::string path = std::getenv("PATH");
    setenv("PATH", (folder.path() + ":" + path).c_str(), 1);
    const std::string file = folder.path("bundle.tar");
    const testsupport::RunResult_t result = esactl({"bundle", "--output", file});
    setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(result.ending.exitCode, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("parameters.json: the words of mpuparams\n"));
    EXPECT_THAT(result.out, HasSubstr("journal.txt: the words of journalctl\n"));
    EXPECT_THAT(result.out, testing::Not(HasSubstr("units.txt"))) << "units that do not run are an answer";
    const std::string archive = testsupport::readFile(file);
    EXPECT_EQ(archive.find("esa-bundle/parameters.json"), std::string::npos);
    EXPECT_NE(archive.find("the words of systemctl"), std::string::npos);
}

TEST_F(OperatorCommand, WatchEndsWithTheStatusOfItsLastLook) {
    Bytes_t status = smallStatus();
    status[38] = 0;
    status[39] = 0x08;
    net_.serve(smallConfiguration(), status);
    EXPECT_EQ(esactl({"watch", "--count", "1"}).ending.exitCode, 8);
    const auto nowhere =
        testsupport::programCommand("esactl", {"--directory", "/nonexistent", "watch", "--count", "1"});
    EXPECT_EQ(testsupport::run(nowhere).ending.exitCode, 2);
}

TEST_F(OperatorCommand, WatchKeepsWhatItKnewWhenTheAdapterIsLost) {
    const FakeSwitch_t::Script_t asks = net_.script;
    int pages = 0;
    net_.script = [asks, &pages](const Bytes_t& request) {
        return ++pages > 2 ? std::vector<Bytes_t>{} : asks(request);
    };
    const testsupport::RunResult_t result =
        esactl({"--timeout", "0.3", "watch", "--interval", "0.1", "--count", "2", "--note", "a hint"});
    EXPECT_EQ(result.ending.exitCode, 2);
    EXPECT_THAT(result.out, testing::ContainsRegex("Enclosure NOT REACHED: no answer[^\n]*\nWhat it was [0-9]+ s ago:\n"
                                                   "Enclosure OK\nDrives      slot00 ok"));
    EXPECT_THAT(result.out, HasSubstr("\na hint\n"));
}

TEST_F(OperatorCommand, AnotherSwitchIsReachedByItsSocketAndOurNumber) {
    net_.greeting.clear();
    std::filesystem::rename(net_.directory() + "/peer", net_.directory() + "/mgmt");
    for (const std::string& socket : {std::string("mgmt"), net_.directory() + "/mgmt"}) {
        EXPECT_EQ(esactl({"--socket", socket, "--endpoint", "25", "config"}).ending.exitCode, 0) << socket;
        EXPECT_EQ(net_.requests(28).back()[16], 25);
    }
    EXPECT_EQ(esactl({"--endpoint", "64", "config"}).ending.exitCode, 1);
}

TEST_F(OperatorCommand, TheAdaptersVersionIsToldWhereItIsKnown) {
    std::ofstream(net_.directory() + "/adapter") << "chassis=quadra\nversion=1.3.0.24\n";
    EXPECT_THAT(esactl({"config"}).out, HasSubstr("Adapter     1.3.0.24  (chassis quadra)\n"));
    EXPECT_EQ(JsonValue_t::parse(esactl({"config", "--json"}).out)["adapter_version"], "1.3.0.24");
}

} // namespace
