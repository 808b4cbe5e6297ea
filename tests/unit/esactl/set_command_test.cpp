/** The commands that change something: the control page that each sends, byte for byte. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fake_switch.h"
#include "json_value.h"

namespace {

using testsupport::JsonValue_t;

/*
 * The small enclosure reports: slot01 lit; psu0 asked to be on; fan0 asked to be on; the alarm list and record with
 * their bit 0x20. Everything that a command does not name must go back like this.
 */
constexpr const char* HEADER = "0200003800000007";
constexpr const char* DEVICES = "00000000"
                                "00000000"
                                "00000004";
constexpr const char* SUPPLIES = "00000000"
                                 "00000004";
constexpr const char* COOLING = "00000000"
                                "00000004"
                                "00000000";
constexpr const char* TEMPERATURES = "00000000"
                                     "00000000"
                                     "00000000";
constexpr const char* ALARM = "00000020"
                              "20000000";

class SetCommand : public testing::Test {
protected:
    SetCommand() { net_.serve(smallConfiguration(), smallStatus()); }

    /** The parameter list that esactl sends for this command, as hex; checks the command around it. */
    std::string pageOf(const std::vector<std::string>& args) {
        result_ = net_.esactl(args);
        EXPECT_EQ(result_.ending.exitCode, 0) << result_.err;
        const std::vector<Bytes_t> requests = net_.requests(29);
        if (requests.empty()) {
            return "";
        }
        const std::string message = plainHex(requests.back());
        EXPECT_EQ(message.substr(0, 2 * 16), "00000000000000000e0100841200001d") << "132 bytes, SEND DIAGNOSTIC";
        EXPECT_EQ(message.substr(2 * 16, 2 * 4), "22002100");
        EXPECT_EQ(message.substr(2 * 20, 2 * 8), "0000000000000002");
        EXPECT_EQ(message.substr(2 * 64, 2 * 8), "1d080000003c0000") << "page format, 60 bytes of parameters";
        return message.substr(2 * 72);
    }

    FakeSwitch_t net_;
    testsupport::RunResult_t result_;
};

TEST_F(SetCommand, LedOnLeavesTheOtherSlotsLit) {
    EXPECT_EQ(pageOf({"led", "0", "on"}), std::string(HEADER) +
                                              "00000000"
                                              "00000004"
                                              "00000004" +
                                              SUPPLIES + COOLING + TEMPERATURES + ALARM);
    EXPECT_EQ(result_.out, "slot00: fault LED on\n");
}

TEST_F(SetCommand, LedOff) {
    EXPECT_EQ(pageOf({"led", "slot01", "off"}), std::string(HEADER) +
                                                    "00000000"
                                                    "00000000"
                                                    "00000000" +
                                                    SUPPLIES + COOLING + TEMPERATURES + ALARM);
}

TEST_F(SetCommand, LedAll) {
    EXPECT_EQ(pageOf({"led", "all", "on"}), std::string(HEADER) +
                                                "00000000"
                                                "00000004"
                                                "00000004" +
                                                SUPPLIES + COOLING + TEMPERATURES + ALARM);
    EXPECT_EQ(result_.out, "slot00: fault LED on\nslot01: fault LED on\n");
    EXPECT_EQ(pageOf({"led", "all", "off"}), std::string(HEADER) +
                                                 "00000000"
                                                 "00000000"
                                                 "00000000" +
                                                 SUPPLIES + COOLING + TEMPERATURES + ALARM);
}

TEST_F(SetCommand, ForcedLedIsSetTheOtherWayFirst) {
    EXPECT_EQ(pageOf({"led", "0", "off", "--force"}), std::string(HEADER) +
                                                          "00000000"
                                                          "00000000"
                                                          "00000004" +
                                                          SUPPLIES + COOLING + TEMPERATURES + ALARM);
    EXPECT_EQ(result_.out, "slot00: fault LED off\n");
    const std::vector<Bytes_t> requests = net_.requests(29);
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_THAT(plainHex(requests.front()), testing::HasSubstr("0200003800000007"
                                                               "00000000"
                                                               "00000004"
                                                               "00000004"));
}

TEST_F(SetCommand, LedOnAnEmptySlot) {
    Bytes_t status = smallStatus();
    status[12] = 5; // slot 0 not installed
    net_.serve(smallConfiguration(), status);
    EXPECT_EQ(pageOf({"led", "0", "on"}), std::string(HEADER) +
                                              "00000000"
                                              "00000004"
                                              "00000004" +
                                              SUPPLIES + COOLING + TEMPERATURES + ALARM);
}

TEST_F(SetCommand, FanOnSelectsItsListAndItsRecordOnly) {
    EXPECT_EQ(pageOf({"fan", "1", "on"}), std::string(HEADER) + DEVICES + SUPPLIES +
                                              "00000080"
                                              "00000004"
                                              "80000004" +
                                              TEMPERATURES + ALARM);
    EXPECT_EQ(result_.out, "fan1: switched on\n");
}

TEST_F(SetCommand, FanOff) {
    EXPECT_EQ(pageOf({"fan", "fan0", "off"}), std::string(HEADER) + DEVICES + SUPPLIES +
                                                  "00000080"
                                                  "80000000"
                                                  "00000000" +
                                                  TEMPERATURES + ALARM);
}

TEST_F(SetCommand, SupplyFailAndOk) {
    EXPECT_EQ(pageOf({"psu", "0", "fail"}), std::string(HEADER) + DEVICES +
                                                "00000080"
                                                "80000006" +
                                                COOLING + TEMPERATURES + ALARM);
    EXPECT_EQ(result_.out, "psu0: marked fail\n");
    EXPECT_EQ(pageOf({"psu", "psu0", "ok"}), std::string(HEADER) + DEVICES +
                                                 "00000080"
                                                 "80000004" +
                                                 COOLING + TEMPERATURES + ALARM);
}

TEST_F(SetCommand, AlarmRequests) {
    const std::string before = std::string(HEADER) + DEVICES + SUPPLIES + COOLING + TEMPERATURES;
    EXPECT_EQ(pageOf({"alarm", "mute"}), before + "000000a0"
                                                  "a0000002");
    EXPECT_EQ(result_.out, "alarm0: set to mute\n");
    EXPECT_EQ(pageOf({"alarm", "fault"}), before + "000000a0"
                                                   "a0000020");
    EXPECT_EQ(pageOf({"alarm", "critical"}), before + "000000a0"
                                                      "a0000040");
}

TEST_F(SetCommand, AlarmMuteKeepsTonesThatArriveAndSoundingReplacesThem) {
    Bytes_t status = smallStatus();
    status.push_back(0x18); // information and remind
    net_.serve(smallConfiguration(), status);
    const std::string before = std::string(HEADER) + DEVICES + SUPPLIES + COOLING + TEMPERATURES;
    EXPECT_EQ(pageOf({"alarm", "mute"}), before + "000000a0"
                                                  "a000001a");
    EXPECT_EQ(pageOf({"alarm", "fault"}), before + "000000a0"
                                                   "a0000028");
    status.back() = 0x01; // muted by request
    net_.serve(smallConfiguration(), status);
    EXPECT_EQ(pageOf({"alarm", "critical"}), before + "000000a0"
                                                      "a0000040");
    EXPECT_EQ(pageOf({"led", "1", "on"}), before + "00000020"
                                                   "20000002");
}

TEST_F(SetCommand, JsonNamesWhatWasAsked) {
    pageOf({"led", "all", "on", "--json"});
    EXPECT_EQ(JsonValue_t::parse(result_.out),
              JsonValue_t::parse(R"({"schema":"esactl.command","version":1,"command":"led",
        "elements":["slot00","slot01"],"request":"on","result":"accepted","outlook":null})"));
    pageOf({"alarm", "mute", "--json"});
    EXPECT_EQ(JsonValue_t::parse(result_.out)["elements"], JsonValue_t::parse(R"(["alarm0"])"));
}

TEST_F(SetCommand, EnclosureInFaultIsNotTheCommandsFailure) {
    Bytes_t status = smallStatus();
    status[38] = 0; // fan 1 stands still
    status[39] = 0x08;
    net_.serve(smallConfiguration(), status);
    EXPECT_EQ(net_.esactl({"status"}).ending.exitCode, 8);
    EXPECT_EQ(net_.esactl({"led", "0", "on"}).ending.exitCode, 0);
}

TEST_F(SetCommand, NoAnswerSaysThatItMayStillHappen) {
    const FakeSwitch_t::Script_t asks = net_.script;
    net_.script = [asks](const Bytes_t& request) { return request[15] == 29 ? std::vector<Bytes_t>{} : asks(request); };
    const testsupport::RunResult_t result = net_.esactl({"--timeout", "0.3", "led", "0", "on"});
    EXPECT_EQ(result.ending.exitCode, 2);
    EXPECT_THAT(result.err, testing::HasSubstr("it may still be carried out"));
}

} // namespace
