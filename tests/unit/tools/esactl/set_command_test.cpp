/** The commands that change something: the control page that each sends, byte for byte. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

class SetCommand : public testing::Test {
protected:
    SetCommand() { net_.serve(smallConfiguration(), smallStatus()); }

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

    FakeSwitch_t net_;
};

TEST_F(SetCommand, NamesItsElementsAndLeavesTheOthersAsTheyWere) {
    const struct {
        const char* words;
        const char* out;
        std::string page;
    } cases[] = {
        {"led 0 on", "slot00: fault LED on\n",
         "00000000 00000004 00000004" + SUPPLIES + COOLING + TEMPERATURES + ALARM},
        {"led slot01 off", "slot01: fault LED off\n",
         "00000000 00000000 00000000" + SUPPLIES + COOLING + TEMPERATURES + ALARM},
        {"led all on", "slot00: fault LED on\nslot01: fault LED on\n",
         "00000000 00000004 00000004" + SUPPLIES + COOLING + TEMPERATURES + ALARM},
        {"led all off", "slot00: fault LED off\nslot01: fault LED off\n",
         "00000000 00000000 00000000" + SUPPLIES + COOLING + TEMPERATURES + ALARM},
        {"fan 1 on", "fan1: switched on\n", DEVICES + SUPPLIES + "00000080 00000004 80000004" + TEMPERATURES + ALARM},
        {"fan fan0 off", "fan0: switched off\n",
         DEVICES + SUPPLIES + "00000080 80000000 00000000" + TEMPERATURES + ALARM},
        {"psu 0 fail", "psu0: marked fail\n", DEVICES + "00000080 80000006" + COOLING + TEMPERATURES + ALARM},
        {"psu psu0 ok", "psu0: marked ok\n", DEVICES + "00000080 80000004" + COOLING + TEMPERATURES + ALARM},
        {"alarm mute", "alarm0: set to mute\n", DEVICES + SUPPLIES + COOLING + TEMPERATURES + "000000a0 a0000002"},
        {"alarm fault", "alarm0: set to fault\n", DEVICES + SUPPLIES + COOLING + TEMPERATURES + "000000a0 a0000020"},
        {"alarm critical", "alarm0: set to critical\n",
         DEVICES + SUPPLIES + COOLING + TEMPERATURES + "000000a0 a0000040"}};
    for (const auto& c : cases) {
        EXPECT_EQ(plainHex(pageOf(c.words, c.out)), plainHex(unhex(HEADER + c.page))) << c.words;
    }
}

TEST_F(SetCommand, ForcedLedIsSetTheOtherWayFirst) {
    EXPECT_EQ(pageOf("led 0 off --force", "slot00: fault LED off\n"),
              unhex(HEADER + "00000000 00000000 00000004" + SUPPLIES + COOLING + TEMPERATURES + ALARM));
    const std::vector<Bytes_t> requests = net_.requests(29);
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(plainHex(requests[0]).substr(2 * 72, 2 * 20), "0200003800000007000000000000000400000004");
}

TEST_F(SetCommand, LedOnAnEmptySlot) {
    Bytes_t status = smallStatus();
    status[12] = 5; // slot 0 not installed
    net_.serve(smallConfiguration(), status);
    EXPECT_EQ(pageOf("led 0 on", "slot00: fault LED on\n"),
              unhex(HEADER + "00000000 00000004 00000004" + SUPPLIES + COOLING + TEMPERATURES + ALARM));
}

TEST_F(SetCommand, AlarmMuteKeepsTonesThatArriveAndSoundingReplacesThem) {
    const struct {
        U8_t tones;
        const char* words;
        const char* out;
        const char* alarm;
    } cases[] = {{0x18, "alarm mute", "alarm0: set to mute\n", "000000a0 a000001a"}, // information and remind
                 {0x18, "alarm fault", "alarm0: set to fault\n", "000000a0 a0000028"},
                 {0x01, "alarm critical", "alarm0: set to critical\n", "000000a0 a0000040"}, // muted by request
                 {0x01, "led 1 on", "slot01: fault LED on\n", "00000020 20000002"}};
    for (const auto& c : cases) {
        Bytes_t status = smallStatus();
        status.push_back(c.tones);
        net_.serve(smallConfiguration(), status);
        EXPECT_EQ(pageOf(c.words, c.out), unhex(HEADER + DEVICES + SUPPLIES + COOLING + TEMPERATURES + c.alarm))
            << c.words;
    }
}

TEST_F(SetCommand, JsonNamesWhatWasAsked) {
    EXPECT_EQ(net_.json("led all on --json"),
              JsonValue_t::parse(R"({"schema":"esactl.command","version":1,"command":"led",
        "elements":["slot00","slot01"],"request":"on","result":"accepted","outlook":null})"));
    EXPECT_EQ(net_.json("alarm mute --json")["elements"].dump(), R"(["alarm0"])");
}

TEST_F(SetCommand, EnclosureInFaultIsNotTheCommandsFailure) {
    net_.serve(smallConfiguration(), smallStatusWithAFanThatStands());
    EXPECT_EQ(net_.esactl("status").status, 8);
    EXPECT_EQ(net_.esactl("led 0 on").status, 0);
}

TEST_F(SetCommand, NoAnswerSaysThatItMayStillHappen) {
    const FakeSwitch_t::Script_t asks = net_.script;
    net_.script = [asks](const Bytes_t& request) { return request[15] == 29 ? std::vector<Bytes_t>{} : asks(request); };
    const Said_t said = net_.esactl("--timeout 0.2 led 0 on");
    EXPECT_EQ(said.status, 2);
    EXPECT_THAT(said.err, testing::HasSubstr("it may still be carried out"));
}

} // namespace
