/** esactl status, config and raw, against a scripted switch. */
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <set>

#include "bytes.h"
#include "fake_switch.h"
#include "places.h"

namespace {

TEST(StatusCommand, AsksForBothPagesInTheAdaptersFormat) {
    FakeSwitch_t net(backplaneConfiguration(), healthyBackplaneStatus());
    ASSERT_EQ(net.esactl("status").status, 0);
    std::set<std::string> handles;
    std::vector<std::string> requests;
    for (const Bytes_t& request : net.requests(28)) {
        requests.push_back(plainHex(request));
        handles.insert(requests.back().substr(80, 8));
        requests.back().replace(80, 8, " handle ");
    }
    EXPECT_EQ(handles.size(), 2U) << "each has its own";
    const std::string before = "0000000000000000" // links
                               "0e01004812"       // type, version, 72 bytes, protocol
                               "00001c"           // RECEIVE DIAGNOSTIC RESULTS
                               "22002100"         // from 34, to 33
                               "0000000000000002" // local recipients
                               "0000000000000000" // other recipients
                               "00000000"         // return code
                               " handle "
                               "000000000000000000000000" // handle
                               "0000000000000000"
                               "1c80";
    EXPECT_EQ(requests, (std::vector<std::string>{before + "01000fe00000", before + "02000fe00000"}));
}

TEST(StatusCommand, HealthIsInTheExitStatus) {
    Bytes_t hot = healthyBackplaneStatus();
    hot[8 + 68 + 16 + 16 + 4 + 2] = 76; // sensor 0 at 56 C
    hot[8 + 68 + 16 + 16 + 4 + 3] = 0x20;
    FakeSwitch_t net(backplaneConfiguration(), hot);
    EXPECT_EQ(net.esactl("status").status, 16);
    net.serve(backplaneConfiguration(), faultyBackplaneStatus());
    const Said_t said = net.esactl("status");
    EXPECT_EQ(said.status, 24);
    EXPECT_TRUE(said.out.starts_with("Enclosure FAULT: psu1 "));
    EXPECT_PRED_FORMAT2(testing::IsNotSubstring, "\033", said.out) << "no terminal";
    EXPECT_EQ(said.err, "");
}

TEST(StatusCommand, JsonHasItsSchemaAndNullForEveryMissingReading) {
    FakeSwitch_t net(backplaneConfiguration(), faultyBackplaneStatus());
    const Said_t said = net.esactl("status --json");
    EXPECT_EQ(said.status, 24);
    const JsonValue_t status = JsonValue_t::parse(said.out);
    EXPECT_EQ(testsupport::digitsAsZeros(status["time"].text()), "0000-00-00T00:00:00Z");
    EXPECT_EQ(status["problems"].size(), 6U);
    EXPECT_EQ(status["drives"].size(), 16U);
    const std::pair<JsonValue_t, const char*> parts[] = {
        {status["schema"], R"("esactl.status")"},
        {status["version"], "1"},
        {status["state"], R"("fault")"},
        {status["exit_status"], "24"},
        {status["problems"][0]["element"], R"("psu1")"},
        {status["drives"][3],
         R"({"name":"slot03","slot":3,"state":"ok","status":"ok","present":true,"fault_led":true})"},
        {status["drives"][5], R"({"name":"slot05","slot":5,"state":"absent","status":"not-installed","present":false,
        "fault_led":false})"},
        {status["power_supplies"][1], R"({"name":"psu1","index":1,"state":"fault",
        "status":"not-installed","fail":true,"ac_fail":false,"requested_on":false,"requested_fail":false})"},
        {status["fans"][0], R"({"name":"fan0","index":0,"state":"fault","rpm":1500,
        "minimum_rpm":2000,"running":true,"fail":false,"requested_on":false})"},
        {status["fans"][1], R"({"name":"fan1","index":1,"state":"fault","rpm":null,
        "minimum_rpm":2000,"running":null,"fail":false,"requested_on":false})"},
        {status["temperatures"][1], R"({"name":"temp1","index":1,"state":"fault","celsius":61,
        "limits":{"low_failure":0,"low_warning":1,"high_warning":55,"high_failure":60}})"},
        {status["temperatures"][2]["celsius"], "null"},
        {status["alarms"][0], R"({"name":"alarm0","index":0,"muted":null,"requested":
        {"mute":null,"remind":null,"information":null,"noncritical":null,"critical":null,"unrecoverable":null}})"}};
    for (const auto& [part, text] : parts) {
        EXPECT_EQ(part, JsonValue_t::parse(text));
    }
}

TEST(StatusCommand, JsonIsAskedForBeforeAndAfterTheCommand) {
    FakeSwitch_t net(backplaneConfiguration(), healthyBackplaneStatus());
    for (const char* words : {"--json status", "status --json", "status --format json"}) {
        EXPECT_EQ(net.json(words)["state"], "ok") << words;
    }
}

TEST(StatusCommand, TheEnvironmentNamesTheDirectoryAndTheOptionWins) {
    FakeSwitch_t net(backplaneConfiguration(), healthyBackplaneStatus());
    const auto statusIn = [](const std::string& directory, const std::vector<std::string>& command) {
        return testsupport::run(command, PATIENCE, {.environment = {{"ESA_MMSG_DIRECTORY", directory}}})
            .ending.exitCode;
    };
    EXPECT_EQ(statusIn(net.directory(), esactlCommand("status")), 0);
    EXPECT_EQ(statusIn("/nonexistent", esactlCommand("status")), 2);
    EXPECT_EQ(statusIn("/nonexistent", net.command("status")), 0);
    setenv("ESA_TEST_PLACE", "", 1);
    EXPECT_EQ(fromEnvironment("ESA_TEST_PLACE", "/usual"), "/usual") << "an empty variable names nothing";
    unsetenv("ESA_TEST_PLACE");
}

TEST(StatusCommand, MessagesThatAreNotTheAnswerArePassedOver) {
    FakeSwitch_t net;
    net.script = [](const Bytes_t& request) -> std::vector<Bytes_t> {
        const auto other = [&](std::size_t at, U8_t value) {
            Bytes_t response = responseTo(request, 2, faultyBackplaneStatus());
            response[at] = value;
            return response;
        };
        return {other(43, static_cast<U8_t>(request[43] ^ 1)), // of another request
                other(16, 20),                                 // from another sender
                other(17, 0),                                  // no response
                other(15, 29),
                eventMessage(7, 2, "05"),
                responseTo(request, 0, request[66] == 1 ? backplaneConfiguration() : healthyBackplaneStatus())};
    };
    EXPECT_EQ(net.esactl("status").status, 0);
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
    EXPECT_EQ(net.esactl("status").status, 0);
    EXPECT_EQ(net.requests(28).size(), 4U);
}

TEST(ConfigCommand, TextAndJson) {
    FakeSwitch_t net(smallConfiguration(), smallStatus());
    EXPECT_EQ(net.esactl("config").out, "Vendor      ACME\n"
                                        "Product     Shelf \"2\"\n"
                                        "Revision    0102\n"
                                        "Generation  7\n"
                                        "Drives      2  (slot00 to slot01)\n"
                                        "Supplies    1  (psu0)\n"
                                        "Fans        2  (fan0 to fan1)\n"
                                        "Temperature 2  (temp0 to temp1)\n"
                                        "Alarms      1  (alarm0)\n"
                                        "Adapter     -\n");
    const std::string facts = R"("schema":"esactl.config","version":1,"generation":7,"sub_enclosures":0,"processes":1,
        "logical_id":"5000000102030405","vendor":"ACME","product":"Shelf \"2\"","revision":"0102",
        "drives":2,"power_supplies":1,"fans":2,"temperatures":2,"alarms":1,)";
    EXPECT_EQ(net.json("config --json"),
              JsonValue_t::parse("{" + facts + R"("adapter_version":null,"adapter_chassis":null})"));
    // What whoever started the adapter has left beside its switch.
    std::ofstream(net.directory() + "/adapter") << "chassis=W83782d\nversion=1.3.0.24\nother\n";
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "Adapter     1.3.0.24  (chassis w83782d)\n", net.esactl("config").out);
    EXPECT_EQ(net.json("config --json"),
              JsonValue_t::parse("{" + facts + R"("adapter_version":"1.3.0.24","adapter_chassis":"w83782d"})"));
}

class RawCommand : public testing::Test {
protected:
    /** What follows the header of the only SEND DIAGNOSTIC so far. */
    std::string sent() {
        const std::vector<Bytes_t> requests = net_.requests(29);
        return requests.size() == 1 ? plainHex(requests[0]).substr(2 * 64) : "not one";
    }

    FakeSwitch_t net_{smallConfiguration(), smallStatus()};
};

TEST_F(RawCommand, APageIsPrintedAsItCameAndDecodedWhereItCanBe) {
    const Said_t said = net_.esactl("raw --page 2");
    EXPECT_EQ(said.status, 0);
    EXPECT_TRUE(said.out.starts_with("status 0, return code 0, 59 bytes\n"
                                     "0000  02 00 00 38 00 00 00 07 00 00 00 00 01 00 00 00\n"
                                     "0010  01 01 00 04 00 00 00 00 01 00 00 05 00 00 00 00\n"
                                     "0020  00 40 2c e4 00 00 c8 e0 00 00 00 00 00 00 37 00\n"
                                     "0030  00 00 4b 00 00 00 00 20 20 00 00\n"
                                     "Enclosure OK\n"));
    const JsonValue_t document = net_.json("raw --page 1 --json");
    EXPECT_EQ(document["schema"], "esactl.raw");
    EXPECT_EQ(document["status"], 0);
    EXPECT_EQ(document["return_code"], 0);
    EXPECT_EQ(document["payload_hex"], plainHex(smallConfiguration()));
    EXPECT_EQ(document["decoded"]["vendor"], "ACME");
    net_.serve(unhex("01 02 03"), unhex("07 aa"));
    const Said_t undecoded = net_.esactl("raw --page 1");
    EXPECT_EQ(undecoded.status, 0);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "0000  01 02 03\nnot decoded: page 1 has 3 bytes", undecoded.out);
    EXPECT_TRUE(net_.json("raw --page 1 --json")["decoded"].isNull());
    EXPECT_EQ(net_.esactl("raw --page 7").out, "status 0, return code 0, 2 bytes\n0000  07 aa\n");
    net_.script = nullptr;
    const Said_t unanswered = net_.esactl("--timeout 0.2 raw --page 3");
    EXPECT_EQ(unanswered.status, 2);
    EXPECT_EQ(unanswered.err, "esactl: no answer to the request for page 3 within 0.2 s; the adapter answers pages 1 "
                              "and 2 only\n");
}

TEST_F(RawCommand, HexIsSentAsItIs) {
    EXPECT_EQ(net_.esactl("raw 02 00 00Ff").out, "status 0, return code 0, 3 bytes\n0000  00 00 00\n");
    EXPECT_EQ(sent(), "1d08000000040000"
                      "020000ff");
}

TEST_F(RawCommand, EmptyPageIsAnEmptyParameterListAndOneTooLargeForAMessageIsRefused) {
    EXPECT_EQ(net_.esactl(std::vector<std::string>{"raw", ""}).status, 0);
    EXPECT_EQ(sent(), "1d08000000000000");
    const Said_t refused = net_.esactl("raw " + std::string(2 * 3993, '0'));
    EXPECT_EQ(refused.status, 1);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "at most 3992", refused.err);
}

} // namespace
