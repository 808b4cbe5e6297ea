/** esactl status and config, the real program against a scripted switch. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fake_switch.h"
#include "json_value.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using testsupport::JsonValue_t;

TEST(StatusCommand, AsksForBothPagesInTheAdaptersFormat) {
    FakeSwitch_t net;
    net.serve(backplaneConfiguration(), healthyBackplaneStatus());
    ASSERT_EQ(net.esactl({"status"}).ending.exitCode, 0);
    const std::vector<Bytes_t> requests = net.requests(28);
    ASSERT_EQ(requests.size(), 2U);
    for (std::size_t i = 0; i < 2; ++i) {
        const Bytes_t& request = requests[i];
        const Bytes_t handle(request.begin() + 40, request.begin() + 44);
        EXPECT_EQ(plainHex(request),
                  "0000000000000000" // links
                  "0e01004812"       // type, version, 72 bytes, protocol
                  "00001c"           // RECEIVE DIAGNOSTIC RESULTS
                  "22002100"         // from 34, to 33
                  "0000000000000002" // local recipients
                  "0000000000000000" // other recipients
                  "00000000" +
                      plainHex(handle) + // return code, handle
                      "000000000000000000000000"
                      "0000000000000000"
                      "1c80" +
                      (i == 0 ? "01" : "02") + "000fe00000");
    }
    EXPECT_NE(plainHex(requests[0]).substr(80, 8), plainHex(requests[1]).substr(80, 8))
        << "each request has its own handle";
}

TEST(StatusCommand, HealthIsInTheExitStatus) {
    FakeSwitch_t net;
    net.serve(backplaneConfiguration(), healthyBackplaneStatus());
    EXPECT_EQ(net.esactl({"status"}).ending.exitCode, 0);
    Bytes_t hot = healthyBackplaneStatus();
    hot[8 + 68 + 16 + 16 + 4 + 2] = 76; // sensor 0 at 56 C
    hot[8 + 68 + 16 + 16 + 4 + 3] = 0x20;
    net.serve(backplaneConfiguration(), hot);
    EXPECT_EQ(net.esactl({"status"}).ending.exitCode, 16);
    Bytes_t slow = healthyBackplaneStatus();
    slow[8 + 68 + 16 + 4 + 1] = 0;
    slow[8 + 68 + 16 + 4 + 2] = 199; // fan 0 at 1990 RPM
    net.serve(backplaneConfiguration(), slow);
    EXPECT_EQ(net.esactl({"status"}).ending.exitCode, 8);
    net.serve(backplaneConfiguration(), faultyBackplaneStatus());
    EXPECT_EQ(net.esactl({"status", "--json"}).ending.exitCode, 24);
}

TEST(StatusCommand, TextHasNoColourWithoutATerminal) {
    FakeSwitch_t net;
    net.serve(backplaneConfiguration(), faultyBackplaneStatus());
    const testsupport::RunResult_t result = net.esactl({"status"});
    EXPECT_THAT(result.out, StartsWith("Enclosure FAULT: psu1 "));
    EXPECT_THAT(result.out, Not(HasSubstr("\033")));
    EXPECT_EQ(result.err, "");
}

TEST(StatusCommand, JsonHasItsSchemaAndNullForEveryMissingReading) {
    FakeSwitch_t net;
    net.serve(backplaneConfiguration(), faultyBackplaneStatus());
    const JsonValue_t status = JsonValue_t::parse(net.esactl({"status", "--json"}).out);
    EXPECT_EQ(status["schema"], "esactl.status");
    EXPECT_EQ(status["version"], 1);
    EXPECT_THAT(status["time"].text(), testing::MatchesRegex("....-..-..T..:..:..Z"));
    EXPECT_EQ(status["state"], "fault");
    EXPECT_EQ(status["exit_status"], 24);
    EXPECT_EQ(status["problems"].size(), 6U);
    EXPECT_EQ(status["problems"][0]["element"], "psu1");
    EXPECT_EQ(status["drives"].size(), 16U);
    EXPECT_EQ(status["drives"][3], JsonValue_t::parse(R"({"name":"slot03","slot":3,"state":"ok","status":"ok",
        "present":true,"fault_led":true})"));
    EXPECT_EQ(status["drives"][5], JsonValue_t::parse(R"({"name":"slot05","slot":5,"state":"absent",
        "status":"not-installed","present":false,"fault_led":false})"));
    EXPECT_EQ(status["power_supplies"][1], JsonValue_t::parse(R"({"name":"psu1","index":1,"state":"fault",
        "status":"not-installed","fail":true,"ac_fail":false,"requested_on":false,"requested_fail":false})"));
    EXPECT_EQ(status["fans"][0], JsonValue_t::parse(R"({"name":"fan0","index":0,"state":"fault","rpm":1500,
        "minimum_rpm":2000,"running":true,"fail":false,"requested_on":false})"));
    EXPECT_EQ(status["fans"][1], JsonValue_t::parse(R"({"name":"fan1","index":1,"state":"fault","rpm":null,
        "minimum_rpm":2000,"running":null,"fail":false,"requested_on":false})"));
    EXPECT_EQ(status["temperatures"][1], JsonValue_t::parse(R"({"name":"temp1","index":1,"state":"fault","celsius":61,
        "limits":{"low_failure":0,"low_warning":1,"high_warning":55,"high_failure":60}})"));
    EXPECT_TRUE(status["temperatures"][2]["celsius"].isNull());
    EXPECT_EQ(status["alarms"][0], JsonValue_t::parse(R"({"name":"alarm0","index":0,"muted":null,"requested":
        {"mute":null,"remind":null,"information":null,"noncritical":null,"critical":null,"unrecoverable":null}})"));
}

TEST(StatusCommand, JsonFlagAndFormatJsonAreTheSameBeforeAndAfterTheCommand) {
    FakeSwitch_t net;
    net.serve(backplaneConfiguration(), healthyBackplaneStatus());
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"--json", "status"}, {"status", "--json"}, {"status", "--format", "json"}}) {
        EXPECT_EQ(JsonValue_t::parse(net.esactl(args).out)["state"], "ok");
    }
}

TEST(StatusCommand, TheEnvironmentNamesTheDirectoryAndTheOptionWins) {
    FakeSwitch_t net;
    net.serve(backplaneConfiguration(), healthyBackplaneStatus());
    testsupport::StartOptions_t options;
    options.environment["ESA_MMSG_DIRECTORY"] = net.directory();
    const auto command = testsupport::programCommand("esactl", {"status"});
    EXPECT_EQ(testsupport::run(command, std::chrono::seconds(60), options).ending.exitCode, 0);
    options.environment["ESA_MMSG_DIRECTORY"] = "/nonexistent";
    EXPECT_EQ(testsupport::run(command, std::chrono::seconds(60), options).ending.exitCode, 2);
    const auto explicitly = testsupport::programCommand("esactl", {"--directory", net.directory(), "status"});
    EXPECT_EQ(testsupport::run(explicitly, std::chrono::seconds(60), options).ending.exitCode, 0);
}

TEST(StatusCommand, MessagesThatAreNotTheAnswerArePassedOver) {
    FakeSwitch_t net;
    net.script = [](const Bytes_t& request) -> std::vector<Bytes_t> {
        const Bytes_t& page = request[66] == 1 ? backplaneConfiguration() : healthyBackplaneStatus();
        Bytes_t otherHandle = responseTo(request, 2, faultyBackplaneStatus());
        otherHandle[43] = static_cast<U8_t>(otherHandle[43] ^ 1);
        Bytes_t otherSender = responseTo(request, 2, faultyBackplaneStatus());
        otherSender[16] = 20;
        Bytes_t noResponse = responseTo(request, 2, faultyBackplaneStatus());
        noResponse[17] = 0;
        Bytes_t otherType = responseTo(request, 2, faultyBackplaneStatus());
        otherType[15] = 29;
        return {
            otherHandle, otherSender, noResponse, otherType, eventMessage(7, 2, "05"), responseTo(request, 0, page)};
    };
    EXPECT_EQ(net.esactl({"status"}).ending.exitCode, 0);
}

TEST(StatusCommand, PagesOfTwoConfigurationsAreAskedForAgain) {
    FakeSwitch_t net;
    int asked = 0;
    net.script = [&asked](const Bytes_t& request) -> std::vector<Bytes_t> {
        // The adapter learns its chassis between the first two requests.
        const bool early = asked++ == 0;
        const Bytes_t configuration = early ? smallConfiguration() : backplaneConfiguration();
        return {responseTo(request, 0, request[66] == 1 ? configuration : healthyBackplaneStatus())};
    };
    EXPECT_EQ(net.esactl({"status"}).ending.exitCode, 0);
    EXPECT_EQ(net.requests(28).size(), 4U);
}

TEST(ConfigCommand, TextAndJson) {
    FakeSwitch_t net;
    net.serve(smallConfiguration(), smallStatus());
    EXPECT_THAT(net.esactl({"config"}).out, HasSubstr("Fans        2  (fan0 to fan1)\n"));
    EXPECT_EQ(
        JsonValue_t::parse(net.esactl({"config", "--json"}).out),
        JsonValue_t::parse(R"({"schema":"esactl.config","version":1,"generation":7,"sub_enclosures":0,"processes":1,
                  "logical_id":"5000000102030405","vendor":"ACME","product":"Shelf \"2\"","revision":"0102",
                  "drives":2,"power_supplies":1,"fans":2,"temperatures":2,"alarms":1,
                  "adapter_version":null,"adapter_chassis":null})"));
}

} // namespace
