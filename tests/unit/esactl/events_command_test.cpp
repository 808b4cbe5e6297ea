/** esactl events and watch, the real program against a scripted switch. */
#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>

#include "fake_switch.h"
#include "json_value.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using testsupport::JsonValue_t;

const std::string FAN1_FAULT = "05000000 00000000 00000000 00000003 00000000 00000000 00000000 00000000 00000000 "
                               "00000002";
const std::string OVERHEAT = "05000000 00000000 00000000 00000000 00000000 00000000 00000000 00000000 00000000 "
                             "00000000 00000000 00000000 00000000 00000000 00000001";

TEST(EventsCommand, OneJsonLinePerEvent) {
    FakeSwitch_t net;
    net.queued["eventlog"] = {eventMessage(7, 2, FAN1_FAULT), eventMessage(7, 2, "05")};
    const testsupport::RunResult_t result = net.esactl({"events", "--json", "--count", "2"});
    EXPECT_EQ(result.ending.exitCode, 0);
    const std::vector<JsonValue_t> events = JsonValue_t::parseLines(result.out);
    ASSERT_EQ(events.size(), 2U);
    EXPECT_THAT(events[0]["time"].text(), testing::MatchesRegex("....-..-..T..:..:..Z"));
    EXPECT_EQ(events[0].without("time"),
              JsonValue_t::parse(R"({"schema":"esactl.event","version":1,"id":7,"name":"fan-fault-status",
        "severity":"warning","chassis":5,"chassis_name":"vsc055","elements":["fan1"],
        "data":{"fans":3,"fan_fault_bits":2},"repeats_held_back":0,
        "text":"fan1 marked faulty, under the limit of 2000 RPM"})"));
    EXPECT_EQ(events[1]["elements"], JsonValue_t::parse("[]"));
}

TEST(EventsCommand, StartupRequestsOnlyWhenAskedFor) {
    FakeSwitch_t net;
    net.queued["startup"] = {startupMessage(12, 14, 2, 2), startupMessage(13, 1, 0, 1)};
    EXPECT_EQ(net.esactl({"events", "--json", "--timeout", "0.3"}).out, "");
    const std::vector<JsonValue_t> requests =
        JsonValue_t::parseLines(net.esactl({"events", "--startup", "--json", "--count", "2"}).out);
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0]["schema"], "esactl.startup");
    EXPECT_EQ(requests[0]["name"], "composite-fault-led");
    EXPECT_EQ(requests[0]["data"], JsonValue_t::parse(R"({"led":2,"on":1})"));
    EXPECT_EQ(requests[1]["name"], "orderly-shutdown");
    EXPECT_FALSE(requests[1].contains("chassis"));
}

TEST(EventsCommand, OneEventPerFaultUnlessAllAreWanted) {
    FakeSwitch_t net;
    net.queued["eventlog"] = {3, eventMessage(10, 3, OVERHEAT)};
    const testsupport::RunResult_t once = net.esactl({"events", "--timeout", "0.5"});
    EXPECT_EQ(std::count(once.out.begin(), once.out.end(), '\n'), 1) << once.out;
    EXPECT_THAT(once.out, HasSubstr(" error       average temperature is over 60 C: orderly shutdown requested\n"));
    EXPECT_THAT(once.err, HasSubstr("esactl: what the switch had kept is shown with the time at which it came here"));
    EXPECT_EQ(net.esactl({"events", "--json", "--timeout", "0.3"}).err, "");
    const testsupport::RunResult_t all = net.esactl({"events", "--all", "--count", "3"});
    EXPECT_EQ(std::count(all.out.begin(), all.out.end(), '\n'), 3) << all.out;
}

TEST(EventsCommand, EndsAfterTheTimeoutWithoutFollow) {
    FakeSwitch_t net;
    const testsupport::RunResult_t result = net.esactl({"events", "--timeout", "0.3"});
    EXPECT_EQ(result.ending.exitCode, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "esactl: no event within 0.3 s; use --follow to wait on\n");
}

TEST(EventsCommand, FollowGoesOnUntilInterruptedAndEndsWell) {
    FakeSwitch_t net;
    net.queued["eventlog"] = {eventMessage(7, 2, FAN1_FAULT)};
    testsupport::Process_t follower(testsupport::programCommand(
        "esactl", {"--directory", net.directory(), "--timeout", "0.1", "events", "--follow"}));
    ASSERT_TRUE(follower.waitForOut("fan1 marked faulty", std::chrono::seconds(30)));
    EXPECT_FALSE(follower.wait(std::chrono::milliseconds(400))) << "the timeout does not end --follow";
    follower.kill(SIGINT);
    const auto ending = follower.wait(std::chrono::seconds(30));
    ASSERT_TRUE(ending);
    EXPECT_EQ(ending->exitCode, 0);
}

TEST(EventsCommand, FollowEndsWithTwoWhenTheSwitchGoesAway) {
    FakeSwitch_t net;
    net.queued["eventlog"] = {eventMessage(7, 2, FAN1_FAULT)};
    net.hangUp = true;
    const testsupport::RunResult_t result = net.esactl({"events", "--follow", "--json"});
    EXPECT_EQ(result.ending.exitCode, 2);
    const std::vector<JsonValue_t> lines = JsonValue_t::parseLines(result.out);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0]["id"], 7);
    EXPECT_EQ(lines[1]["error"]["code"], "no-switch");
}

TEST(WatchCommand, ShowsStatusAndEventsInPlainFramesWithoutATerminal) {
    FakeSwitch_t net;
    net.serve(backplaneConfiguration(), faultyBackplaneStatus());
    net.queued["eventlog"] = {eventMessage(7, 2, FAN1_FAULT)};
    net.queued["startup"] = {startupMessage(12, 14, 2, 2)};
    const testsupport::RunResult_t result = net.esactl({"watch", "--interval", "0.1", "--count", "2"});
    EXPECT_EQ(result.ending.exitCode, 24) << "what the last look has seen";
    EXPECT_THAT(result.out, HasSubstr("Enclosure FAULT: psu1 "));
    EXPECT_THAT(result.out, HasSubstr("fan1 marked faulty"));
    EXPECT_THAT(result.out, HasSubstr("composite fault LED on"));
    EXPECT_THAT(result.out, Not(HasSubstr("\033")));
    EXPECT_EQ(net.requests(28).size(), 4U);
}

TEST(WatchCommand, GoesOnWhileTheAdapterIsSilent) {
    FakeSwitch_t net;
    const testsupport::RunResult_t result =
        net.esactl({"--timeout", "0.2", "watch", "--interval", "0.1", "--count", "2"});
    EXPECT_EQ(result.ending.exitCode, 2);
    EXPECT_THAT(result.out, HasSubstr("Enclosure NOT REACHED: no answer to the request for page 1"));
}

TEST(WatchCommand, JsonIsAStreamOfDocuments) {
    FakeSwitch_t net;
    net.serve(backplaneConfiguration(), healthyBackplaneStatus());
    net.queued["eventlog"] = {eventMessage(7, 2, FAN1_FAULT)};
    const testsupport::RunResult_t result = net.esactl({"watch", "--json", "--interval", "0.2", "--count", "2"});
    std::map<std::string, int> documents;
    for (const JsonValue_t& document : JsonValue_t::parseLines(result.out)) {
        ++documents[document["schema"].text()];
    }
    EXPECT_EQ(documents["esactl.status"], 2);
    EXPECT_EQ(documents["esactl.event"], 1);
    net.script = nullptr;
    net.queued.clear();
    const std::vector<JsonValue_t> silent =
        JsonValue_t::parseLines(net.esactl({"--timeout", "0.2", "watch", "--json", "--count", "1"}).out);
    ASSERT_FALSE(silent.empty());
    EXPECT_EQ(silent.back()["error"]["code"], "no-answer");
}

TEST(WatchCommand, EndsOnInterrupt) {
    FakeSwitch_t net;
    net.serve(backplaneConfiguration(), healthyBackplaneStatus());
    testsupport::Process_t watch(testsupport::programCommand("esactl", {"--directory", net.directory(), "watch"}));
    ASSERT_TRUE(watch.waitForOut("Enclosure OK", std::chrono::seconds(30)));
    watch.kill(SIGINT);
    const auto ending = watch.wait(std::chrono::seconds(30));
    ASSERT_TRUE(ending);
    EXPECT_EQ(ending->exitCode, 0);
}

} // namespace
