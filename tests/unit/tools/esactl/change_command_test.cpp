/** The commands that change something: the control page that each sends, byte for byte; and what an operator is told:
 * what will become of a command, what is lived with. */
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "bytes.h"
#include "fake_switch.h"

namespace {

/*
 * The small enclosure reports: slot01 lit; psu0 asked to be on; fan0 asked to be on; the alarm list and record with
 * their bit 0x20. Everything that a command does not name must go back like this.
 */
const std::string HEADER = "02000038 00000007 ";
const std::string DEVICES = "00000000 00000000 00000004 ";
const std::string SUPPLIES = "00000000 00000004 ";
const std::string COOLING = "00000000 00000004 00000000 ";
const std::string TEMPERATURES = "00000000 00000000 00000000 ";
const std::string ALARM = "00000020 20000000";
const std::string BEHIND_DEVICES = SUPPLIES + COOLING + TEMPERATURES + ALARM;
const std::string BEFORE_ALARM = DEVICES + SUPPLIES + COOLING + TEMPERATURES;

Bytes_t statusWithAnEmptySlot() {
    Bytes_t status = smallStatus();
    status[12] = 5; // slot 0 not installed
    return status;
}

/** The alarm's last byte, which the adapter never sends. */
Bytes_t statusWithTones(U8_t tones) {
    Bytes_t status = smallStatus();
    status.push_back(tones);
    return status;
}

class SetCommand : public testing::Test {
protected:
    /** The parameter list that esactl sends for this command, as hex; checks the command around it. */
    Bytes_t pageOf(const std::string& words, const std::string& out) {
        const Said_t said = net_.esactl(words);
        EXPECT_EQ(said.status, 0) << said.err;
        EXPECT_EQ(said.out, out);
        const std::vector<Bytes_t> requests = net_.requests(29);
        if (requests.empty()) {
            return {};
        }
        const std::string message = plainHex(requests.back());
        EXPECT_EQ(message.substr(0, 2 * 28), "00000000000000000e0100841200001d" // 132 bytes, SEND DIAGNOSTIC
                                             "22002100"
                                             "0000000000000002");
        EXPECT_EQ(message.substr(2 * 64, 2 * 8), "1d080000003c0000") << "page format, 60 bytes of parameters";
        return {requests.back().begin() + 72, requests.back().end()};
    }

    FakeSwitch_t net_{smallConfiguration(), smallStatus()};
};

TEST_F(SetCommand, NamesItsElementsAndLeavesTheOthersAsTheyWere) {
    const struct {
        const char *words, *out;
        std::string page;
        Bytes_t status = smallStatus();
    } cases[] = {
        {"led 0 on", "slot00: fault LED on\n", "00000000 00000004 00000004" + BEHIND_DEVICES},
        {"led 0 on", "slot00: fault LED on\n", "00000000 00000004 00000004" + BEHIND_DEVICES, statusWithAnEmptySlot()},
        {"led slot01 off", "slot01: fault LED off\n", "00000000 00000000 00000000" + BEHIND_DEVICES},
        {"led all on", "slot00: fault LED on\nslot01: fault LED on\n", "00000000 00000004 00000004" + BEHIND_DEVICES},
        {"led all off", "slot00: fault LED off\nslot01: fault LED off\n",
         "00000000 00000000 00000000" + BEHIND_DEVICES},
        {"fan 1 on", "fan1: switched on\n", DEVICES + SUPPLIES + "00000080 00000004 80000004" + TEMPERATURES + ALARM},
        {"fan fan0 off", "fan0: switched off\n",
         DEVICES + SUPPLIES + "00000080 80000000 00000000" + TEMPERATURES + ALARM},
        {"psu 0 fail", "psu0: marked fail\n", DEVICES + "00000080 80000006" + COOLING + TEMPERATURES + ALARM},
        {"psu psu0 ok", "psu0: marked ok\n", DEVICES + "00000080 80000004" + COOLING + TEMPERATURES + ALARM},
        {"alarm mute", "alarm0: set to mute\n", BEFORE_ALARM + "000000a0 a0000002"},
        {"alarm fault", "alarm0: set to fault\n", BEFORE_ALARM + "000000a0 a0000020"},
        {"alarm critical", "alarm0: set to critical\n", BEFORE_ALARM + "000000a0 a0000040"},
        // To mute keeps the tones that arrive, here information and remind; to sound replaces them, and a mute.
        {"alarm mute", "alarm0: set to mute\n", BEFORE_ALARM + "000000a0 a000001a", statusWithTones(0x18)},
        {"alarm fault", "alarm0: set to fault\n", BEFORE_ALARM + "000000a0 a0000028", statusWithTones(0x18)},
        {"alarm critical", "alarm0: set to critical\n", BEFORE_ALARM + "000000a0 a0000040", statusWithTones(0x01)},
        {"led 1 on", "slot01: fault LED on\n", BEFORE_ALARM + "00000020 20000002", statusWithTones(0x01)}};
    for (const auto& c : cases) {
        net_.serve(smallConfiguration(), c.status);
        EXPECT_EQ(plainHex(pageOf(c.words, c.out)), plainHex(unhex(HEADER + c.page))) << c.words;
    }
}

TEST_F(SetCommand, ForcedLedIsSetTheOtherWayFirst) {
    EXPECT_EQ(pageOf("led 0 off --force", "slot00: fault LED off\n"), unhex(HEADER + DEVICES + BEHIND_DEVICES));
    const std::vector<Bytes_t> requests = net_.requests(29);
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(plainHex(requests[0]).substr(2 * 72, 2 * 20), "0200003800000007000000000000000400000004");
}

TEST_F(SetCommand, JsonNamesWhatWasAsked) {
    EXPECT_EQ(net_.json("led all on --json"),
              JsonValue_t::parse(R"({"schema":"esactl.command","version":1,"command":"led",
        "elements":["slot00","slot01"],"request":"on","result":"accepted","outlook":null})"));
    EXPECT_EQ(net_.json("alarm mute --json")["elements"].dump(), R"(["alarm0"])");
}

TEST_F(SetCommand, NoAnswerSaysThatItMayStillHappen) {
    const FakeSwitch_t::Script_t asks = net_.script;
    net_.script = [asks](const Bytes_t& request) { return request[15] == 29 ? std::vector<Bytes_t>{} : asks(request); };
    const Said_t said = net_.esactl("--timeout 0.2 led 0 on");
    EXPECT_EQ(said.status, 2);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "it may still be carried out", said.err);
}

class OperatorCommand : public testing::Test {
protected:
    Said_t esactl(const std::string& words) const { return net_.esactl("--state " + state_ + " " + words); }
    JsonValue_t json(const std::string& words) const { return JsonValue_t::parse(esactl(words).out); }

    FakeSwitch_t net_{smallConfiguration(), smallStatus()};
    const std::string state_ = net_.directory();
};

TEST_F(OperatorCommand, WhatWillBecomeOfItIsToldAndWhatWouldSlowAFanOrLightNothingNeedsForce) {
    const struct {
        const char* words;
        int status;
        std::string told;
    } cases[] = {
        {"--chassis quadra fan 1 off", 0,
         "off until 'esactl fan fan1 on': the policy of this chassis never touches it again, however hot it "
         "gets, and the composite fault stays on"},
        {"--chassis quadra fan 1 on", 0,
         "full speed until the next poll, in 11 s at most; then the policy takes it down again, a step a "
         "poll, while the average is at or under 54 C"},
        {"--chassis chenbro fan 1 off", 0,
         "off until the next poll, in 11 s at most: a fan that stands counts as failed, and then every fan "
         "is driven fully"},
        {"--chassis chenbro fan 1 on", 0,
         "full speed until the next poll, in 11 s at most; then the policy takes it down again, a step a "
         "poll, while the average is at or under 34 C"},
        {"--chassis w83782d fan 1 on", 1,
         "on this enclosure 'on' drives fan1 at 39 percent (100 of 255), which slows a fan that turns faster; "
         "leave it to the adapter, which drives every fan fully over 41 C and when one has failed, or say "
         "--force"},
        {"--chassis w83782d fan 1 on --force", 0,
         "39 percent (100 of 255) until the next poll, in 11 s at most; then it has the speed that the policy "
         "gives it"},
        {"--chassis w83782d fan 1 off", 0,
         "off until the next poll, in 11 s at most: a fan that stands counts as failed, and then every fan "
         "is driven fully"},
        {"--chassis chenbro led 0 on", 1,
         "a chenbro enclosure has no drive fault LEDs: nothing would light; these have: xyratex, quadra, vsc055"},
        {"--chassis w83782d led 0 on", 1,
         "a w83782d enclosure has no drive fault LEDs: nothing would light; these have: xyratex, quadra, vsc055"}};
    for (const auto& [words, status, told] : cases) {
        const std::size_t before = net_.requests(29).size();
        const Said_t said = esactl(words);
        EXPECT_EQ(said.status, status);
        EXPECT_EQ(said.err, "esactl: " + told + "\n") << words;
        EXPECT_EQ(net_.requests(29).size() - before, status == 0 ? 1U : 0U) << words;
    }
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "however hot it gets",
                        json("--chassis quadra fan 1 off --json")["outlook"].text());
    EXPECT_EQ(esactl("--chassis xyratex fan 1 off").out, "fan0: switched off\nfan1: switched off\n")
        << "all that this enclosure has of the first four";
}

TEST_F(OperatorCommand, SeveralSlotsGoInOnePage) {
    std::ofstream(state_ + "/slots") << "1 A2\n";
    EXPECT_EQ(esactl("--slots " + state_ + "/slots led 0,A2 on").out,
              "slot00: fault LED on\nslot01 (A2): fault LED on\n");
    const std::vector<Bytes_t> requests = net_.requests(29);
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(plainHex(requests[0]).substr(2 * 80, 24), "000000000000000400000004");
}

TEST_F(OperatorCommand, WaitTellsWhatHasComeOfIt) {
    EXPECT_EQ(esactl("fan 1 on --wait --after 0.1").out, "fan1: switched on\nfan1 now: ok 2000 RPM (limit 2000 RPM)\n");
}

TEST_F(OperatorCommand, LocateBlinksAndLeavesTheLedsAsTheyWereWhenItIsStoppedToo) {
    const auto leds = [this] {
        std::vector<std::string> pages;
        for (const Bytes_t& request : net_.requests(29)) {
            pages.push_back(plainHex(request).substr(2 * 84, 16));
        }
        return pages;
    };
    const Said_t said = esactl("locate all --blink 0.1 --count 1");
    EXPECT_EQ(said.status, 0) << said.err;
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "blinks once, then is as it was", said.err);
    std::vector<std::string> shown{"0000000400000004", "0000000000000000", "0000000000000004"};
    EXPECT_EQ(leds(), shown);
    testsupport::Process_t process(net_.command("locate 0 --blink 60"));
    for (int i = 0; i < 6000 && leds().size() == 3; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    expectItEndsOn(SIGINT, process);
    shown.insert(shown.end(), {"0000000400000004", "0000000000000004"});
    EXPECT_EQ(leds(), shown);
}

TEST_F(OperatorCommand, AcceptedIsListedAndCountsNoMore) {
    net_.serve(smallConfiguration(), smallStatusWithAFanThatStands());
    EXPECT_EQ(esactl("status").status, 8);
    EXPECT_EQ(esactl("led 0 on").status, 0) << "the enclosure's fault is not the command's failure";
    EXPECT_EQ(esactl("watch --count 1").status, 8) << "the status of its last look";
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "nothing is wrong with 'fan0'; wrong is fan1",
                        esactl("accept fan0 --until 3d").err);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "accept needs --until", esactl("accept fan1").err);
    EXPECT_EQ(esactl("accept fan1 --until 2099-12-01T18:30").status, 0);
    const Said_t lived = esactl("status");
    EXPECT_EQ(lived.status, 0);
    EXPECT_PRED_FORMAT2(testing::IsSubstring,
                        "Enclosure OK\nAccepted    fan1 stands still (limit 2000 RPM) (until 2099-12-01T18:30:00Z)\n",
                        lived.out);
    EXPECT_EQ(json("status --json")["accepted"][0]["element"], "fan1");
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "\nesa_condition_accepted{element=\"fan1\"} 1\n",
                        esactl("status --format prometheus").out);
    EXPECT_EQ(esactl("accept fan1 --revoke").out, "nothing is accepted\n");
    EXPECT_EQ(esactl("status").status, 8);
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
    const Said_t said = esactl("bundle --output " + file);
    setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(said.status, 0) << said.err;
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "parameters.json: the words of mpuparams\n", said.out);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "journal.txt: the words of journalctl\n", said.out);
    EXPECT_PRED_FORMAT2(testing::IsNotSubstring, "units.txt", said.out) << "units that do not run are an answer";
    const std::string archive = testsupport::readFile(file);
    EXPECT_EQ(archive.find("esa-bundle/parameters.json"), std::string::npos);
    EXPECT_NE(archive.find("the words of systemctl"), std::string::npos);
}

TEST_F(OperatorCommand, WatchKeepsWhatItKnewWhenTheAdapterIsLost) {
    const FakeSwitch_t::Script_t asks = net_.script;
    int pages = 0;
    net_.script = [asks, &pages](const Bytes_t& request) {
        return ++pages > 2 ? std::vector<Bytes_t>{} : asks(request);
    };
    const Said_t said = net_.esactl(
        {"--state", state_, "--timeout", "0.2", "watch", "--interval", "0.1", "--count", "2", "--note", "a hint"});
    EXPECT_EQ(said.status, 2);
    const std::size_t lost = said.out.find("Enclosure NOT REACHED: no answer");
    ASSERT_NE(lost, std::string::npos) << said.out;
    std::string behind = testsupport::digitsAsZeros(said.out.substr(said.out.find('\n', lost)));
    behind.erase(behind.find('0'), behind.find(" s ago") - behind.find('0')); // how long takes one digit or two
    EXPECT_TRUE(behind.starts_with("\nWhat it was  s ago:\nEnclosure OK\nDrives      slot00 ok")) << said.out;
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "\na hint\n", said.out);
    EXPECT_EQ(::esactl("--directory /nonexistent watch --count 1").status, 2);
}

TEST_F(OperatorCommand, AnotherSwitchIsReachedByItsSocketAndOurNumber) {
    net_.greeting.clear();
    std::filesystem::rename(net_.directory() + "/peer", net_.directory() + "/mgmt");
    for (const std::string& socket : {std::string("mgmt"), net_.directory() + "/mgmt"}) {
        EXPECT_EQ(esactl("--socket " + socket + " --endpoint 25 config").status, 0) << socket;
        EXPECT_EQ(net_.requests(28).back()[16], 25);
    }
    EXPECT_EQ(esactl("--endpoint 64 config").status, 1);
}

} // namespace
