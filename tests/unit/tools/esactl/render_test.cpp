#include <gtest/gtest.h>

#include "render_text.h"
#include "sample_pages.h"

namespace {

using Lines_t = std::vector<std::string>;

Enclosure_t enclosureOf(const Bytes_t& configurationPage, const Bytes_t& statusPage) {
    const Configuration_t configuration = decodeConfigurationPage(configurationPage).value.value_or(Configuration_t{});
    return {.configuration = configuration,
            .status = decodeStatusPage(statusPage, configuration).value.value_or(EnclosureStatus_t{})};
}

Lines_t linesOf(const Enclosure_t& enclosure, const Palette_t& palette = {}) {
    return statusLines(enclosure, assessHealth(enclosure), palette, 80);
}

TEST(StatusText, HealthyBackplane) {
    const Enclosure_t enclosure = enclosureOf(backplaneConfiguration(), healthyBackplaneStatus());
    EXPECT_EQ(linesOf(enclosure),
              (Lines_t{"Enclosure OK", "Drives      slot00 ok        slot01 ok        slot02 ok        slot03 ok",
                       "            slot04 ok        slot05 ok        slot06 ok        slot07 ok",
                       "            slot08 ok        slot09 ok        slot10 ok        slot11 ok",
                       "            slot12 ok        slot13 ok        slot14 ok        slot15 ok",
                       "Supplies    psu0   ok", "            psu1   ok", "            psu2   ok",
                       "Fans        fan0   ok           3000 RPM  (limit 2000 RPM)",
                       "            fan1   ok           3000 RPM  (limit 2000 RPM)",
                       "            fan2   ok           3000 RPM  (limit 2000 RPM)",
                       "Temperature temp0  ok               30 C  (warning 1..55 C, failure 0..60 C)",
                       "            temp1  ok               31 C  (warning 1..55 C, failure 0..60 C)",
                       "            temp2  ok               32 C  (warning 1..55 C, failure 0..60 C)",
                       "Alarm       alarm0 state not reported by the adapter"}));
    const Lines_t narrow = statusLines(enclosure, assessHealth(enclosure), {}, 60);
    EXPECT_EQ(narrow[1], "Drives      slot00 ok        slot01 ok");
    EXPECT_EQ(narrow[12], "Fans        fan0   ok           3000 RPM  (limit 2000 RPM)");
    EXPECT_EQ(narrow[15], "Temperature temp0  ok               30 C  (warning 1..55 C,");
    EXPECT_EQ(narrow[16], "                   failure 0..60 C)");
}

TEST(StatusText, FaultyBackplane) {
    const Lines_t lines = linesOf(enclosureOf(backplaneConfiguration(), faultyBackplaneStatus()));
    const std::pair<std::size_t, const char*> shown[] = {
        {0, "Enclosure FAULT: psu1 redundancy lost or voltage out of tolerance; and 5 more"},
        {1, "Drives      slot00 ok        slot01 ok        slot02 ok        slot03 ok LED"},
        {2, "            slot04 ok        slot05 absent    slot06 ok        slot07 ok"},
        {6, "            psu1   FAULT    redundancy lost or voltage out of tolerance"},
        {8, "Fans        fan0   FAULT        1500 RPM  (limit 2000 RPM)"},
        {9, "            fan1   FAULT      no reading  (limit 2000 RPM)"},
        {11, "Temperature temp0  WARNING          57 C  (warning 1..55 C, failure 0..60 C)"},
        {12, "            temp1  FAULT            61 C  (warning 1..55 C, failure 0..60 C)"},
        {13, "            temp2  WARNING    no reading  (warning 1..55 C, failure 0..60 C)"}};
    for (const auto& [line, text] : shown) {
        EXPECT_EQ(lines.at(line), text);
    }
}

TEST(StatusText, AnElementHasTheWordsOfItsLineWhichDoNotContradictEachOther) {
    Enclosure_t enclosure = enclosureOf(backplaneConfiguration(), healthyBackplaneStatus());
    enclosure.status.supplies[0].fail = true;
    enclosure.status.fans[1].fail = true;
    const Enclosure_t faulty = enclosureOf(backplaneConfiguration(), faultyBackplaneStatus());
    const std::tuple<const Enclosure_t*, const char*, const char*> cases[] = {
        {&enclosure, "psu0", "FAULT fault indication switched on by command"},
        {&enclosure, "fan1", "FAULT 3000 RPM (limit 2000 RPM), marked faulty"},
        {&enclosure, "psu1", "ok"},
        {&enclosure, "fan0", "ok 3000 RPM (limit 2000 RPM)"},
        {&faulty, "fan0", "FAULT 1500 RPM (limit 2000 RPM)"},
        {&faulty, "slot03", "ok LED"},
        {&faulty, "slot04", "ok"},
        {&faulty, "alarm0", "state not reported by the adapter"}};
    for (const auto& [shown, element, text] : cases) {
        EXPECT_EQ(elementText(*shown, element), text);
    }
}

TEST(StatusText, TheLargestEnclosureFitsOneScreen) {
    Enclosure_t enclosure;
    enclosure.status.drives.assign(16, DriveSlot_t{5, true, false});
    enclosure.status.supplies.assign(3, PowerSupply_t{5, true, true, true, true, true});
    enclosure.status.fans.resize(8);
    enclosure.status.sensors.resize(4);
    enclosure.status.alarms.resize(1);
    const Lines_t lines = linesOf(enclosure);
    EXPECT_LE(lines.size(), 24U);
    for (std::size_t i = 1; i < lines.size(); ++i) { // the first problem is never cut
        EXPECT_LE(lines[i].size(), 80U) << lines[i];
    }
}

TEST(StatusText, ColourAddsNothingButEscapes) {
    const Enclosure_t enclosure = enclosureOf(backplaneConfiguration(), faultyBackplaneStatus());
    Lines_t lines = linesOf(enclosure, Palette_t{true});
    EXPECT_TRUE(lines.at(0).starts_with("Enclosure \033[1;31mFAULT\033[0m: ")) << lines[0];
    for (std::string& line : lines) {
        for (std::size_t at = 0; (at = line.find('\033')) != std::string::npos;) {
            line.erase(at, line.find('m', at) + 1 - at);
        }
    }
    EXPECT_EQ(lines, linesOf(enclosure));
}

TEST(StatusText, OneProblemIsTheOverallLineAndAnAlarmThatArrivesTheLast) {
    Enclosure_t enclosure = enclosureOf(backplaneConfiguration(), healthyBackplaneStatus());
    enclosure.status.fans[1].rpm = 1500;
    enclosure.status.alarms[0].tones = AlarmTones_t{false, true, false, false, false, false, true};
    EXPECT_EQ(linesOf(enclosure)[0], "Enclosure FAULT: fan1 at 1500 RPM is under its limit of 2000 RPM");
    EXPECT_EQ(linesOf(enclosure).back(), "Alarm       alarm0 not silent, mute requested, critical requested");
}

TEST(EventText, RepeatsAreTold) {
    Event_t event;
    event.severity = "warning";
    event.text = "fan1 stands still";
    EXPECT_EQ(eventLine(event, 0, "12:00", {}), "12:00 warning     fan1 stands still");
    EXPECT_EQ(eventLine(event, 4, "12:00", {}),
              "12:00 warning     fan1 stands still (the last such event came 4 times more)");
}

TEST(StatusText, ALitEmptySlotDoesNotRunIntoTheNext) {
    Enclosure_t enclosure;
    enclosure.status.drives = {
        {5, true, false, true}, {1, true, false, true}, {1, false, false, true}, {1, false, false, true}};
    EXPECT_EQ(linesOf(enclosure), (Lines_t{"Enclosure OK", "Drives      slot00 absent LED slot01 ok LED     slot02 ok",
                                           "            slot03 ok"}));
}

TEST(StatusText, WrappedLinesKeepTheirColoursAndLongWordsAreCut) {
    EXPECT_EQ(wrapLines({"abc def ghi"}, 7, 2), (Lines_t{"abc def", "  ghi"}));
    EXPECT_EQ(wrapLines({"abcdefghi"}, 4, 1), (Lines_t{"abcd", " efg", " hi"}));
    EXPECT_EQ(wrapLines({"\033[31mabc\033[0m def"}, 5, 0), (Lines_t{"\033[31mabc\033[0m", "def"}));
    EXPECT_EQ(wrapLines({""}, 5, 0), (Lines_t{""}));
}

TEST(StatusText, WhatIsNotKnownHasNoDetails) {
    Enclosure_t enclosure = enclosureOf(backplaneConfiguration(), healthyBackplaneStatus());
    enclosure.cause = "it is not there";
    enclosure.status.drives.assign(1, DriveSlot_t{.known = false});
    enclosure.status.supplies.assign(1, PowerSupply_t{.known = false});
    enclosure.status.fans.assign(1, Fan_t{.rpm = {}, .known = false});
    enclosure.status.sensors.resize(2);
    enclosure.status.sensors[0].known = false;
    enclosure.status.sensors[1].fitted = false;
    EXPECT_EQ(linesOf(enclosure),
              (Lines_t{"Enclosure FAULT: it is not there", "Drives      slot00 unknown", "Supplies    psu0   unknown",
                       "Fans        fan0   unknown", "Temperature temp0  unknown",
                       "            temp1  absent   not read on this chassis",
                       "Alarm       alarm0 state not reported by the adapter"}));
}

} // namespace
