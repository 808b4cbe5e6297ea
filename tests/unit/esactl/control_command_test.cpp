// The control commands: the page that each sends, byte for byte.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "fake_switch.h"

namespace {

using nlohmann::json;

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

class ControlCommand : public testing::Test {
protected:
    ControlCommand() { net_.serve(smallConfiguration(), smallStatus()); }

    /** The parameter list that esactl sends for this command, as hex; checks the command around it. */
    std::string pageOf(const std::vector<std::string>& args) {
        result_ = net_.esactl(args);
        EXPECT_EQ(result_.ending.exitCode, 0) << result_.err;
        const std::vector<Bytes> requests = net_.requests(29);
        if (requests.empty()) {
            return "";
        }
        const std::string message = toHex(requests.back());
        EXPECT_EQ(message.substr(0, 2 * 16), "00000000000000000e0100841200001d") << "132 bytes, SEND DIAGNOSTIC";
        EXPECT_EQ(message.substr(2 * 16, 2 * 4), "22002100");
        EXPECT_EQ(message.substr(2 * 20, 2 * 8), "0000000000000002");
        EXPECT_EQ(message.substr(2 * 64, 2 * 8), "1d080000003c0000") << "page format, 60 bytes of parameters";
        return message.substr(2 * 72);
    }

    FakeSwitch net_;
    testsupport::RunResult result_;
};

TEST_F(ControlCommand, LedOnLeavesTheOtherSlotsLit) {
    EXPECT_EQ(pageOf({"led", "0", "on"}), std::string(HEADER) +
                                              "00000000"
                                              "00000004"
                                              "00000004" +
                                              SUPPLIES + COOLING + TEMPERATURES + ALARM);
    EXPECT_EQ(result_.out, "slot00: fault LED on\n");
}

TEST_F(ControlCommand, LedOff) {
    EXPECT_EQ(pageOf({"led", "slot01", "off"}), std::string(HEADER) +
                                                    "00000000"
                                                    "00000000"
                                                    "00000000" +
                                                    SUPPLIES + COOLING + TEMPERATURES + ALARM);
}

TEST_F(ControlCommand, LedAll) {
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

TEST_F(ControlCommand, LedOnAnEmptySlot) {
    Bytes status = smallStatus();
    status[12] = 5; // slot 0 not installed
    net_.serve(smallConfiguration(), status);
    EXPECT_EQ(pageOf({"led", "0", "on"}), std::string(HEADER) +
                                              "00000000"
                                              "00000004"
                                              "00000004" +
                                              SUPPLIES + COOLING + TEMPERATURES + ALARM);
}

TEST_F(ControlCommand, FanOnSelectsItsListAndItsRecordOnly) {
    EXPECT_EQ(pageOf({"fan", "1", "on"}), std::string(HEADER) + DEVICES + SUPPLIES +
                                              "00000080"
                                              "00000004"
                                              "80000004" +
                                              TEMPERATURES + ALARM);
    EXPECT_EQ(result_.out, "fan1: switched on\n");
}

TEST_F(ControlCommand, FanOff) {
    EXPECT_EQ(pageOf({"fan", "fan0", "off"}), std::string(HEADER) + DEVICES + SUPPLIES +
                                                  "00000080"
                                                  "80000000"
                                                  "00000000" +
                                                  TEMPERATURES + ALARM);
}

TEST_F(ControlCommand, SupplyFailAndOk) {
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

TEST_F(ControlCommand, AlarmRequests) {
    const std::string before = std::string(HEADER) + DEVICES + SUPPLIES + COOLING + TEMPERATURES;
    EXPECT_EQ(pageOf({"alarm", "mute"}), before + "000000a0"
                                                  "a0000002");
    EXPECT_EQ(result_.out, "alarm0: set to mute\n");
    EXPECT_EQ(pageOf({"alarm", "fault"}), before + "000000a0"
                                                   "a0000020");
    EXPECT_EQ(pageOf({"alarm", "critical"}), before + "000000a0"
                                                      "a0000040");
}

TEST_F(ControlCommand, AlarmMuteKeepsTonesThatArriveAndSoundingReplacesThem) {
    Bytes status = smallStatus();
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

TEST_F(ControlCommand, JsonNamesWhatWasAsked) {
    pageOf({"led", "all", "on", "--json"});
    EXPECT_EQ(json::parse(result_.out), json::parse(R"({"schema":"esactl.command","version":1,"command":"led",
        "elements":["slot00","slot01"],"request":"on","result":"accepted"})"));
    pageOf({"alarm", "mute", "--json"});
    EXPECT_EQ(json::parse(result_.out)["elements"], json::parse(R"(["alarm0"])"));
}

TEST_F(ControlCommand, EnclosureInFaultIsNotTheCommandsFailure) {
    Bytes status = smallStatus();
    status[38] = 0; // fan 1 stands still
    status[39] = 0x08;
    net_.serve(smallConfiguration(), status);
    EXPECT_EQ(net_.esactl({"status"}).ending.exitCode, 8);
    EXPECT_EQ(net_.esactl({"led", "0", "on"}).ending.exitCode, 0);
}

TEST_F(ControlCommand, NoAnswerSaysThatItMayStillHappen) {
    const FakeSwitch::Script asks = net_.script;
    net_.script = [asks](const Bytes& request) { return request[15] == 29 ? std::vector<Bytes>{} : asks(request); };
    const testsupport::RunResult result = net_.esactl({"--timeout", "0.3", "led", "0", "on"});
    EXPECT_EQ(result.ending.exitCode, 2);
    EXPECT_THAT(result.err, testing::HasSubstr("it may still be carried out"));
}

} // namespace
