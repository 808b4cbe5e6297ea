/** esactl events and watch against a scripted switch; script(1) provides a terminal. */
#include <algorithm>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "bytes.h"
#include "errors.h"
#include "fake_switch.h"
#include "monitor_client.h"

namespace {

const std::string FAN1_FAULT = "05000000 00000000 00000000 00000003 00000000 00000000 00000000 00000000 00000000 "
                               "00000002";
const std::string OVERHEAT = "05000000 00000000 00000000 00000000 00000000 00000000 00000000 00000000 00000000 "
                             "00000000 00000000 00000000 00000000 00000000 00000001";

TEST(EventsCommand, OneJsonLinePerEvent) {
    FakeSwitch_t net;
    net.queued["eventlog"] = {eventMessage(7, 2, FAN1_FAULT), eventMessage(7, 2, "05")};
    const Said_t said = net.esactl("events --json --count 2");
    EXPECT_EQ(said.status, 0);
    const std::vector<JsonValue_t> events = JsonValue_t::parseLines(said.out);
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(testsupport::digitsAsZeros(events[0]["time"].text()), "0000-00-00T00:00:00Z");
    EXPECT_EQ(events[0].without("time"),
              JsonValue_t::parse(R"({"schema":"esactl.event","version":1,"id":7,"name":"fan-fault-status",
        "severity":"warning","chassis":5,"chassis_name":"vsc055","elements":["fan1"],
        "data":{"fans":3,"fan_fault_bits":2},"repeats_held_back":0,
        "text":"fan1 marked faulty, under the limit of 2000 RPM"})"));
    EXPECT_EQ(events[1]["elements"].dump(), "[]");
}

TEST(EventsCommand, StartupRequestsOnlyWhenAskedFor) {
    FakeSwitch_t net;
    net.queued["startup"] = {startupMessage(12, 14, 2, 2), startupMessage(13, 1, 0, 1)};
    EXPECT_EQ(net.esactl("events --json --timeout 0.2").out, "");
    const std::vector<JsonValue_t> requests = net.jsonLines("events --startup --json --count 2");
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
    const Said_t once = net.esactl("events --timeout 0.3");
    EXPECT_EQ(std::count(once.out.begin(), once.out.end(), '\n'), 1) << once.out;
    EXPECT_PRED_FORMAT2(testing::IsSubstring,
                        " error       average temperature is over 60 C: orderly shutdown requested\n", once.out);
    EXPECT_PRED_FORMAT2(testing::IsSubstring,
                        "esactl: what the switch had kept is shown with the time at which it came here", once.err);
    EXPECT_EQ(net.esactl("events --json --timeout 0.2").err, "");
    const Said_t all = net.esactl("events --all --count 3");
    EXPECT_EQ(std::count(all.out.begin(), all.out.end(), '\n'), 3) << all.out;
}

TEST(EventsCommand, FollowGoesOnUntilInterruptedAndWithoutItTheTimeoutEnds) {
    FakeSwitch_t net;
    const Said_t none = net.esactl("events --timeout 0.2");
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.out, "");
    EXPECT_EQ(none.err, "esactl: no event within 0.2 s; use --follow to wait on\n");
    net.queued["eventlog"] = {eventMessage(7, 2, FAN1_FAULT)};
    testsupport::Process_t follower(net.command("--timeout 0.1 events --follow"));
    ASSERT_TRUE(follower.waitForOut("fan1 marked faulty", PATIENCE));
    EXPECT_FALSE(follower.wait(std::chrono::milliseconds(300))) << "the timeout does not end --follow";
    expectItEndsOn(SIGINT, follower);
    net.hangUp = true;
    const Said_t lost = net.esactl("events --follow --json");
    EXPECT_EQ(lost.status, 2);
    const std::vector<JsonValue_t> lines = JsonValue_t::parseLines(lost.out);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0]["id"], 7);
    EXPECT_EQ(lines[1]["error"]["code"], "no-switch");
}

TEST(Monitor, WhatIsNoWholeAnswerIsNoneAndWhatIsAskedForMayHoldAnyCharacter) {
    const testsupport::Folder_t folder;
    const testsupport::Stream_t listener(testsupport::listenAt(folder.path("api")));
    const auto ask = [&](double seconds) {
        try {
            const auto reply = askMonitor(folder.path("api"), "/healthz", seconds);
            return reply ? std::to_string(reply->status) + " " + reply->body : "";
        } catch (const ToolError_t& error) {
            return std::string(error.code());
        }
    };
    std::vector<std::string> answers;
    for (const char* reply : {"HTTP/1.0 200 OK\r\n\r\nall", "HTTP/1.1 503 No\r\n\r\n", "", "HTTP/1.0 200 OK\r\n",
                              "HTTP/2 200 OK\r\n\r\n", "HTTP/1.\r\n\r\n", "HTTP/1.0 OK\r\n\r\n"}) {
        std::thread monitor([&] {
            const testsupport::Stream_t connection(accept(listener.fd(), nullptr, nullptr));
            char request[256];
            (void)recv(connection.fd(), request, sizeof request, 0);
            (void)connection.sendText(reply);
        });
        answers.push_back(ask(60));
        monitor.join();
    }
    const std::string none = "no-answer";
    EXPECT_EQ(answers, (std::vector<std::string>{"200 all", "503 ", none, none, none, none, none}));
    EXPECT_EQ(ask(0.1), none) << "nobody takes the connection";
    EXPECT_EQ(queryValue("azAZ09-_.~ [{:/\xC3"), "azAZ09-_.~%20%5B%7B%3A%2F%C3");
}

TEST(WatchCommand, ShowsStatusAndEventsInPlainFramesWithoutATerminalUntilItHasShownEnoughOrIsInterrupted) {
    FakeSwitch_t net(backplaneConfiguration(), faultyBackplaneStatus());
    net.queued["eventlog"] = {eventMessage(7, 2, FAN1_FAULT)};
    net.queued["startup"] = {startupMessage(12, 14, 2, 2)};
    const Said_t said = net.esactl("watch --interval 0.1 --count 2");
    EXPECT_EQ(said.status, 24) << "what the last look has seen";
    for (const char* shown : {"Enclosure FAULT: psu1 ", "fan1 marked faulty", "composite fault LED on"}) {
        EXPECT_PRED_FORMAT2(testing::IsSubstring, shown, said.out);
    }
    EXPECT_PRED_FORMAT2(testing::IsNotSubstring, "\033", said.out);
    EXPECT_EQ(net.requests(28).size(), 4U);
    testsupport::Process_t watch(net.command("watch"));
    ASSERT_TRUE(watch.waitForOut("Enclosure FAULT", PATIENCE));
    expectItEndsOn(SIGINT, watch);
}

TEST(WatchCommand, JsonIsAStreamOfDocumentsWhichGoesOnWhileTheAdapterIsSilent) {
    FakeSwitch_t net(backplaneConfiguration(), healthyBackplaneStatus());
    net.queued["eventlog"] = {eventMessage(7, 2, FAN1_FAULT)};
    std::vector<std::string> schemas;
    for (const JsonValue_t& document : net.jsonLines("watch --json --interval 0.2 --count 2")) {
        schemas.push_back(document["schema"].text());
    }
    std::ranges::sort(schemas);
    EXPECT_EQ(schemas, (std::vector<std::string>{"esactl.event", "esactl.status", "esactl.status"}));
    net.script = nullptr;
    net.queued.clear();
    const std::vector<JsonValue_t> silent = net.jsonLines("--timeout 0.2 watch --json --count 1");
    ASSERT_FALSE(silent.empty());
    EXPECT_EQ(silent.back()["error"]["code"], "no-answer");
    const Said_t said = net.esactl("--timeout 0.2 watch --interval 0.1 --count 2");
    EXPECT_EQ(said.status, 2);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "Enclosure NOT REACHED: no answer to the request for page 1", said.out);
}

class Terminal : public testing::Test {
protected:
    Terminal() {
        options_.environment = {{"TERM", "xterm"}, {"SHELL", "/bin/sh"}};
        options_.unset = {"NO_COLOR"};
        options_.closeStdin = false;
    }

    /** script(1) running esactl with these words on a terminal. */
    std::vector<std::string> onTerminal(const std::string& words) const {
        // In the shell's place: a shell that waited would die of Ctrl-C itself and hide esactl's exit status.
        std::string command = "exec";
        for (const std::string& word : net_.command(words)) {
            command += " '" + word + "'";
        }
        return {"script", "-qec", command, "/dev/null"};
    }

    std::string outputOf(const std::string& words) {
        testsupport::Process_t process(onTerminal(words), options_);
        EXPECT_TRUE(process.wait(PATIENCE));
        return process.out();
    }

    FakeSwitch_t net_{backplaneConfiguration(), faultyBackplaneStatus()};
    testsupport::StartOptions_t options_;
};

TEST_F(Terminal, StatusHasColourUnlessTheTerminalOrItsUserDoesNotWantIt) {
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "Enclosure \033[1;31mFAULT\033[0m: psu1 ", outputOf("status"));
    EXPECT_PRED_FORMAT2(testing::IsNotSubstring, "\033", outputOf("status --json"));
    options_.environment["TERM"] = "dumb";
    EXPECT_PRED_FORMAT2(testing::IsNotSubstring, "\033", outputOf("status"));
    options_.environment["TERM"] = "xterm";
    options_.unset.clear();
    options_.environment["NO_COLOR"] = "1";
    const std::string plain = outputOf("status");
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "Enclosure FAULT: psu1 ", plain);
    EXPECT_PRED_FORMAT2(testing::IsNotSubstring, "\033", plain);
}

TEST_F(Terminal, WatchTakesTheScreenAndGivesItBackOnQAndOnCtrlCWhileTheAdapterIsSilentToo) {
    for (const char* keys : {"xQ", "\003", "q"}) {
        const bool isSilent = std::string(keys) == "q";
        if (isSilent) {
            net_.script = nullptr;
        }
        testsupport::Process_t watch(onTerminal("--timeout 50 watch --interval 60"), options_);
        ASSERT_TRUE(watch.waitForOut("\033[?1049h\033[?25l", PATIENCE));
        ASSERT_TRUE(isSilent || watch.waitForOut("Events: none yet", PATIENCE));
        ASSERT_TRUE(watch.writeInput(keys));
        const auto ending = watch.wait(std::chrono::seconds(30)); // a wait for the adapter does not hold the user
        ASSERT_TRUE(ending);
        EXPECT_EQ(ending->exitCode, 0);
        EXPECT_TRUE(watch.out().ends_with("\033[?25h\033[?1049l"));
    }
}

} // namespace
