#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "events.h"
#include "sample_pages.h"

namespace {

using testing::ElementsAre;
using testing::Pair;

Event_t decoded(const Bytes_t& message) {
    const std::optional<Event_t> event = decodeEvent(message);
    EXPECT_TRUE(event);
    return event.value_or(Event_t{});
}

std::string textOf(const Bytes_t& message) {
    return decoded(message).text;
}

// Offsets in the body: chassis 0, counts 4..20, LEDs 24, supplies 32, fans 36, band 40, sensor 44, degrees 48,
// alarm 52, information 56.
const std::string NO_COUNTS = "00000000 00000000 00000000 00000000 00000000 ";

TEST(Events, DriveFaultLeds) {
    const Event_t event = decoded(eventMessage(5, 2, "05000000 00000010 00000000 00000000 00000000 00000000 00008009"));
    EXPECT_EQ(event.name, "drive-fault-led-status");
    EXPECT_EQ(event.severity, "warning");
    EXPECT_EQ(event.chassisName, "vsc055");
    EXPECT_THAT(event.elements, ElementsAre("slot00", "slot03", "slot15"));
    EXPECT_THAT(event.numbers, ElementsAre(Pair("drives", 16), Pair("fault_led_bits", 0x8009)));
    EXPECT_EQ(event.text, "drive fault LED on: slot00, slot03, slot15");
    EXPECT_EQ(textOf(eventMessage(5, 2, "05")), "all drive fault LEDs are off");
}

TEST(Events, PowerSupplyBitsAreReadAsTheChassisMeansThem) {
    const auto message = [](const char* chassis, const char* bits) {
        return eventMessage(6, 2, std::string(chassis) + "000000 " + NO_COUNTS + "00000000 00000000 000000" + bits);
    };
    EXPECT_EQ(textOf(message("02", "01")),
              "power supplies: voltage ok, redundancy lost (a supply has failed, is without input or was taken out)");
    EXPECT_EQ(textOf(message("02", "03")), "power supplies: voltage ok, redundancy ok");
    EXPECT_EQ(textOf(message("05", "01")),
              "power supplies: redundancy lost (a supply has failed, is without input or was taken out)");
    EXPECT_EQ(textOf(message("03", "03")), "power supplies: redundancy ok");
    EXPECT_EQ(textOf(message("04", "01")), "power supplies: voltage ok");
    EXPECT_EQ(textOf(message("06", "00")), "power supplies: voltage out of tolerance");
    EXPECT_EQ(textOf(message("ff", "00")), "power supply status changed");
}

TEST(Events, AnIndicationThatIsSwitchedOnIsToldFromOneThatIsSwitchedOff) {
    const auto supply = [](const char* bits) {
        return decoded(eventMessage(6, 2, "03000000 " + NO_COUNTS + "00000000 00000000 000000" + bits));
    };
    SupplyMemory_t memory;
    const auto told = [&](const char* bits) {
        Event_t event = supply(bits);
        memory.tell(event);
        return event.text;
    };
    EXPECT_EQ(told("03"), "power supplies: redundancy ok") << "nothing is known of before";
    EXPECT_EQ(told("07"), "power supplies: redundancy ok, fault indication off");
    EXPECT_EQ(told("03"), "power supplies: redundancy ok, fault indication switched on by command");
    EXPECT_EQ(told("01"), "power supplies: redundancy lost (a supply has failed, is without input or was taken out)");
}

TEST(Events, FanFaults) {
    const std::string before = "05000000 " + NO_COUNTS + "00000000 00000000 00000000 ";
    const Event_t event = decoded(eventMessage(7, 2, before + "00000005"));
    EXPECT_EQ(event.name, "fan-fault-status");
    EXPECT_THAT(event.elements, ElementsAre("fan0", "fan2"));
    EXPECT_EQ(event.text, "fan0, fan2 marked faulty, under the limit of 2000 RPM");
    EXPECT_EQ(textOf(eventMessage(7, 2, before)), "all fans are at or over their limit of 2000 RPM");
}

TEST(Events, TemperatureMessagesNameTheLimitOfTheirBand) {
    const auto message = [](const char* band, const char* degrees) {
        return eventMessage(
            8, 1, "05000000 " + NO_COUNTS + "00000000 00000000 00000000 00000000 000000" + band + "00000001" + degrees);
    };
    EXPECT_EQ(textOf(message("01", "0023")), "temp1 at 35 C is back at or under 35 C");
    EXPECT_EQ(textOf(message("02", "0024")), "temp1 at 36 C is over 35 C");
    EXPECT_EQ(textOf(message("03", "002e")), "temp1 at 46 C is over 45 C");
    EXPECT_EQ(textOf(message("04", "0038")), "temp1 at 56 C is over 55 C");
    EXPECT_EQ(textOf(message("01", "fff6")), "temp1 at -10 C is back at or under 35 C");
    EXPECT_EQ(textOf(message("09", "0024")), "temp1 at 36 C");
    EXPECT_EQ(textOf(message("00", "0024")), "temp1 at 36 C");
    EXPECT_THAT(decoded(message("02", "0024")).elements, ElementsAre("temp1"));
}

TEST(Events, AlarmStates) {
    const auto message = [](const char* state) {
        return eventMessage(9, 2, "02000000 " + NO_COUNTS + NO_COUNTS + "00000000 00000000 000000" + state);
    };
    EXPECT_EQ(textOf(message("00")), "alarm state is idle");
    EXPECT_EQ(textOf(message("01")), "alarm state is fault");
    EXPECT_EQ(textOf(message("04")), "alarm state is critical");
    EXPECT_EQ(textOf(message("05")), "alarm state is invalid (5)");
}

TEST(Events, Information) {
    const auto message = [](const char* information) {
        return eventMessage(10, 3,
                            "05000000 " + NO_COUNTS + NO_COUNTS + NO_COUNTS.substr(0, 27) + "000000" + information);
    };
    EXPECT_EQ(textOf(message("01")), "average temperature is over 60 C: orderly shutdown requested");
    EXPECT_EQ(decoded(message("01")).severity, "error");
    EXPECT_EQ(textOf(message("02")), "the enclosure's I2C bus or chassis is not usable");
    EXPECT_EQ(textOf(message("07")), "information 7");
}

TEST(Events, UnknownEventIsShownByNumber) {
    EXPECT_EQ(textOf(eventMessage(11, 9, "")), "event 11");
    EXPECT_EQ(decoded(eventMessage(11, 9, "")).severity, "unknown");
    EXPECT_EQ(decoded(eventMessage(4, 2, "")).name, "unknown");
}

TEST(Events, StartupRequests) {
    EXPECT_EQ(textOf(startupMessage(12, 1, 0, 0)),
              "tells Startup that the adapter is up: no fault cause is known to it, whatever was told before");
    EXPECT_EQ(textOf(startupMessage(12, 14, 2, 2)), "asks Startup to switch the composite fault LED on");
    EXPECT_EQ(textOf(startupMessage(12, 14, 2, 1)), "asks Startup to switch the composite fault LED off");
    EXPECT_EQ(decoded(startupMessage(12, 16, 0, 0)).name, "email-notification");
    EXPECT_EQ(decoded(startupMessage(13, 1, 0, 1)).name, "orderly-shutdown");
    EXPECT_EQ(decoded(startupMessage(13, 1, 0, 1)).severity, "error");
    EXPECT_TRUE(decoded(startupMessage(13, 1, 0, 1)).startup);
}

TEST(Events, OtherMessagesAreNoEvents) {
    EXPECT_FALSE(decodeEvent(startupMessage(18, 28, 0, 0)));
    EXPECT_FALSE(decodeEvent(startupMessage(13, 2, 0, 0)));
    Bytes_t response = startupMessage(12, 14, 2, 2);
    response[17] = 0x40;
    EXPECT_FALSE(decodeEvent(response));
    Bytes_t inquiry = eventMessage(7, 2, "05");
    inquiry[15] = 2;
    EXPECT_FALSE(decodeEvent(inquiry));
    EXPECT_FALSE(decodeEvent(Bytes_t(63, 0)));
}

TEST(Events, EveryTruncationIsSafe) {
    const Bytes_t whole = eventMessage(8, 1, "05");
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_FALSE(decodeEvent(Bytes_t(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)))) << size;
    }
}

class RepeatFilterTest : public testing::Test {
protected:
    RepeatFilterTest() : overheat_(decoded(eventMessage(10, 3, "05000000 " + NO_COUNTS + NO_COUNTS + OVERHEAT))) {}

    Clock_t::time_point at(int seconds) const { return start_ + std::chrono::seconds(seconds); }

    static constexpr const char* OVERHEAT = "00000000 00000000 00000000 00000001";
    Event_t overheat_;
    Clock_t::time_point start_ = Clock_t::now();
    RepeatFilter_t filter_;
};

TEST_F(RepeatFilterTest, OverheatReportedOnEveryPollIsOneEvent) {
    EXPECT_EQ(filter_.news(overheat_, at(0)), 0U);
    for (int poll = 1; poll <= 5; ++poll) {
        EXPECT_EQ(filter_.news(overheat_, at(11 * poll)), std::nullopt);
    }
}

TEST_F(RepeatFilterTest, TheNextOverheatIsNewsAndTellsOfTheRepeats) {
    EXPECT_EQ(filter_.news(overheat_, at(0)), 0U);
    EXPECT_EQ(filter_.news(overheat_, at(11)), std::nullopt);
    EXPECT_EQ(filter_.news(overheat_, at(22)), std::nullopt);
    EXPECT_EQ(filter_.news(overheat_, at(22 + 60)), 2U);
    EXPECT_EQ(filter_.news(overheat_, at(22 + 60 + 59)), std::nullopt);
}

TEST_F(RepeatFilterTest, ShutdownRequestsRepeatOnTheirOwn) {
    const Event_t shutdown = decoded(startupMessage(13, 1, 0, 1));
    EXPECT_EQ(filter_.news(overheat_, at(0)), 0U);
    EXPECT_EQ(filter_.news(shutdown, at(0)), 0U);
    EXPECT_EQ(filter_.news(shutdown, at(11)), std::nullopt);
}

TEST_F(RepeatFilterTest, WhatIsSentOnAChangeOnlyIsAlwaysNews) {
    const Event_t email = decoded(startupMessage(12, 16, 0, 0));
    EXPECT_EQ(filter_.news(email, at(0)), 0U);
    EXPECT_EQ(filter_.news(email, at(1)), 0U);
    const Event_t supply = decoded(eventMessage(6, 2, "05"));
    EXPECT_EQ(filter_.news(supply, at(0)), 0U);
    EXPECT_EQ(filter_.news(supply, at(1)), 0U);
}

} // namespace
