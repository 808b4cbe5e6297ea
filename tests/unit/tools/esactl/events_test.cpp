#include <gtest/gtest.h>

#include "events.h"
#include "sample_pages.h"

namespace {

Event_t decoded(const Bytes_t& message) {
    const std::optional<Event_t> event = decodeEvent(message);
    EXPECT_TRUE(event);
    return event.value_or(Event_t{});
}

// Offsets in the body: chassis 0, counts 4..20, LEDs 24, supplies 32, fans 36, band 40, sensor 44, degrees 48,
// alarm 52, information 56.
const std::string NO_COUNTS = "00000000 00000000 00000000 00000000 00000000 ";
const std::string TO_SUPPLIES = NO_COUNTS + "00000000 00000000 ";
const std::string TO_FANS = TO_SUPPLIES + "00000000 ";
const std::string TO_BAND = TO_FANS + "00000000 ";
const std::string TO_ALARM = NO_COUNTS + NO_COUNTS + "00000000 00000000 ";
const std::string TO_INFORMATION = TO_ALARM + "00000000 ";

TEST(Events, ATextSaysWhatHasHappened) {
    const struct {
        U8_t id, type;
        std::string body;
        const char* text;
    } cases[] = {
        {5, 2, "05", "all drive fault LEDs are off"},
        {6, 2, "02000000" + TO_SUPPLIES + "00000001",
         "power supplies: voltage ok, redundancy lost (a supply has failed, is without input or was taken out)"},
        {6, 2, "02000000" + TO_SUPPLIES + "00000003", "power supplies: voltage ok, redundancy ok"},
        {6, 2, "05000000" + TO_SUPPLIES + "00000001",
         "power supplies: redundancy lost (a supply has failed, is without input or was taken out)"},
        {6, 2, "03000000" + TO_SUPPLIES + "00000003", "power supplies: redundancy ok"},
        {6, 2, "04000000" + TO_SUPPLIES + "00000001", "power supplies: voltage ok"},
        {6, 2, "06000000" + TO_SUPPLIES + "00000000", "power supplies: voltage out of tolerance"},
        {6, 2, "ff000000" + TO_SUPPLIES + "00000000", "power supply status changed"},
        {7, 2, "05000000" + TO_FANS, "all fans are at or over their limit of 2000 RPM"},
        {8, 1, "05000000" + TO_BAND + "00000001 000000010023", "temp1 at 35 C is back at or under 35 C"},
        {8, 1, "05000000" + TO_BAND + "00000002 000000010024", "temp1 at 36 C is over 35 C"},
        {8, 1, "05000000" + TO_BAND + "00000003 00000001002e", "temp1 at 46 C is over 45 C"},
        {8, 1, "05000000" + TO_BAND + "00000004 000000010038", "temp1 at 56 C is over 55 C"},
        {8, 1, "05000000" + TO_BAND + "00000001 00000001fff6", "temp1 at -10 C is back at or under 35 C"},
        {8, 1, "05000000" + TO_BAND + "00000009 000000010024", "temp1 at 36 C"},
        {8, 1, "05000000" + TO_BAND + "00000000 000000010024", "temp1 at 36 C"},
        {9, 2, "02000000" + TO_ALARM + "00000000", "alarm state is idle"},
        {9, 2, "02000000" + TO_ALARM + "00000001", "alarm state is fault"},
        {9, 2, "02000000" + TO_ALARM + "00000004", "alarm state is critical"},
        {9, 2, "02000000" + TO_ALARM + "00000005", "alarm state is invalid (5)"},
        {10, 3, "05000000" + TO_INFORMATION + "00000002", "the enclosure's I2C bus or chassis is not usable"},
        {10, 3, "05000000" + TO_INFORMATION + "00000007", "information 7"}};
    for (const auto& c : cases) {
        EXPECT_EQ(decoded(eventMessage(c.id, c.type, c.body)).text, c.text);
    }
}

/** Everything that a program is told of it. */
std::string told(const Event_t& event) {
    std::string text = event.name + " (" + event.severity + ")";
    for (const std::string& element : event.elements) {
        text += " " + element;
    }
    for (const auto& [name, value] : event.numbers) {
        text += " " + name + "=" + std::to_string(value);
    }
    return text + (event.startup ? " asked: " : ": ") + event.text;
}

TEST(Events, NamesSeverityElementsAndNumbersSayItToPrograms) {
    const std::pair<Bytes_t, const char*> cases[] = {
        {eventMessage(5, 2, "05000000 00000010 00000000 00000000 00000000 00000000 00008009"),
         "drive-fault-led-status (warning) slot00 slot03 slot15 drives=16 fault_led_bits=32777: drive fault LED on: "
         "slot00, slot03, slot15"},
        {eventMessage(7, 2, "05000000" + TO_FANS + "00000005"),
         "fan-fault-status (warning) fan0 fan2 fans=0 fan_fault_bits=5: fan0, fan2 marked faulty, under the limit of "
         "2000 RPM"},
        {eventMessage(8, 1, "05000000" + TO_BAND + "00000002 000000010024"),
         "temperature-sensor-status (information) temp1 temperature_sensors=0 sensor=1 celsius=36 band=2: temp1 at 36 "
         "C is over 35 C"},
        {eventMessage(10, 3, "05000000" + TO_INFORMATION + "00000001"),
         "information (error) information=1: average temperature is over 60 C: orderly shutdown requested"},
        {eventMessage(11, 9, ""), "unknown (unknown): event 11"},
        {eventMessage(4, 2, ""), "unknown (warning): event 4"},
        {startupMessage(12, 1, 0, 0), "init-complete (information) asked: tells Startup that the adapter is up: no "
                                      "fault cause is known to it, whatever was told before"},
        {startupMessage(12, 14, 2, 2),
         "composite-fault-led (warning) led=2 on=1 asked: asks Startup to switch the composite fault LED on"},
        {startupMessage(12, 14, 2, 1),
         "composite-fault-led (information) led=2 on=0 asked: asks Startup to switch the composite fault LED off"},
        {startupMessage(12, 16, 0, 0), "email-notification (information) asked: asks Startup to send its notification "
                                       "e-mail: a new fault has arisen"},
        {startupMessage(13, 1, 0, 1), "orderly-shutdown (error) reason=1 asked: asks Startup for an orderly shutdown: "
                                      "average temperature is over 60 C"}};
    for (const auto& [message, text] : cases) {
        EXPECT_EQ(told(decoded(message)), text);
    }
}

TEST(Events, AnIndicationThatIsSwitchedOnIsToldFromOneThatIsSwitchedOff) {
    SupplyMemory_t memory;
    const auto after = [&](const std::string& bits) {
        Event_t event = decoded(eventMessage(6, 2, "03000000" + TO_SUPPLIES + "000000" + bits));
        memory.tell(event);
        return event.text;
    };
    EXPECT_EQ(after("03"), "power supplies: redundancy ok") << "nothing is known of before";
    EXPECT_EQ(after("07"), "power supplies: redundancy ok, fault indication off");
    EXPECT_EQ(after("06"), "power supplies: redundancy ok, fault indication off");
    EXPECT_EQ(after("03"), "power supplies: redundancy ok, fault indication switched on by command");
    EXPECT_EQ(after("01"), "power supplies: redundancy lost (a supply has failed, is without input or was taken out)");
}

TEST(Events, OtherMessagesAndBeginningsOfOneAreNone) {
    EXPECT_FALSE(decodeEvent(startupMessage(18, 28, 0, 0)));
    EXPECT_FALSE(decodeEvent(startupMessage(13, 2, 0, 0)));
    Bytes_t response = startupMessage(12, 14, 2, 2);
    response[17] = 0x40;
    EXPECT_FALSE(decodeEvent(response));
    Bytes_t event = eventMessage(7, 2, "05");
    event[15] = 2;
    EXPECT_FALSE(decodeEvent(event)) << "an inquiry";
    event[15] = 1;
    while (!event.empty()) {
        event.pop_back();
        EXPECT_FALSE(decodeEvent(event)) << event.size();
    }
    EXPECT_FALSE(decodeEvent(Bytes_t(63, 0)));
}

TEST(RepeatFilter, WhatIsReportedOnEveryPollIsOneEventAndTheNextTellsOfTheRepeats) {
    const auto start = Clock_t::now();
    const auto at = [&](int seconds) { return start + std::chrono::seconds(seconds); };
    const Event_t overheat = decoded(eventMessage(10, 3, "05000000" + TO_INFORMATION + "00000001"));
    const Event_t shutdown = decoded(startupMessage(13, 1, 0, 1));
    RepeatFilter_t filter;
    EXPECT_EQ(filter.news(overheat, at(0)), 0U);
    EXPECT_EQ(filter.news(shutdown, at(0)), 0U) << "each repeats on its own";
    for (int poll = 1; poll <= 5; ++poll) {
        EXPECT_EQ(filter.news(overheat, at(11 * poll)), std::nullopt);
        EXPECT_EQ(filter.news(shutdown, at(11 * poll)), std::nullopt);
    }
    EXPECT_EQ(filter.news(overheat, at(55 + 60)), 5U);
    EXPECT_EQ(filter.news(overheat, at(55 + 60 + 59)), std::nullopt);
    const Event_t busFault = decoded(eventMessage(10, 3, "05000000" + TO_INFORMATION + "00000002"));
    EXPECT_EQ(filter.news(busFault, at(55 + 60 + 60)), 1U) << "another text is another event";
    // Sent on a change only.
    for (const Bytes_t& message : {startupMessage(12, 16, 0, 0), eventMessage(6, 2, "05")}) {
        EXPECT_EQ(filter.news(decoded(message), at(200)), 0U);
        EXPECT_EQ(filter.news(decoded(message), at(201)), 0U);
    }
}

} // namespace
