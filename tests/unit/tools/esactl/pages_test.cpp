/** Pages as they come and go. */
#include <gtest/gtest.h>

#include "control_page.h"
#include "errors.h"
#include "pages.h"
#include "sample_pages.h"
#include "standard_pages.h"

namespace {

template <typename T>
T taken(const Decoded_t<T>& decoded) {
    EXPECT_TRUE(decoded.value) << decoded.error;
    return decoded.value.value_or(T{});
}

Configuration_t configurationOf(const Bytes_t& page) {
    return taken(decodeConfigurationPage(page));
}

/** The status of one element of that type whose record is `record`. */
EnclosureStatus_t oneElement(U8_t type, const std::string& record) {
    Configuration_t one;
    one.groups = {{type, 1}};
    return taken(decodeStatusPage(unhex("02 00 00 0c 00 00 00 00 00 00 00 00" + record), one));
}

Fan_t fanOf(const std::string& record) {
    return oneElement(3, record).fans.at(0);
}

std::optional<int> celsiusOf(const std::string& record) {
    return oneElement(4, record).sensors.at(0).celsius;
}

/** No beginning of the page is taken. */
template <typename Decode>
void expectNoTruncationIsTaken(const Bytes_t& page, Decode decode) {
    for (std::size_t size = 0; size < page.size(); ++size) {
        const auto decoded = decode(Bytes_t(page.begin(), page.begin() + static_cast<std::ptrdiff_t>(size)));
        EXPECT_TRUE(!decoded.value && !decoded.error.empty()) << size;
    }
}

TEST(ConfigurationPage, ItsLastByteMayLackItsNamesMayBeEmptyAndWhatCannotBePrintedNeverReachesTheTerminal) {
    Bytes_t page = smallConfiguration();
    EXPECT_EQ(configurationOf(page).count(6), 1U);
    page.push_back(0);
    page[20] = 0x1B;
    page[21] = 0xFF;
    const Configuration_t whole = configurationOf(page);
    EXPECT_EQ(whole.count(6), 1U);
    EXPECT_EQ(whole.vendor, "??ME");
    const Configuration_t nameless = configurationOf(backplaneConfiguration());
    EXPECT_EQ(nameless.vendor + nameless.product + nameless.revision, "");
}

TEST(Pages, EveryTruncationIsRefused) {
    const Configuration_t configuration = configurationOf(smallConfiguration());
    expectNoTruncationIsTaken(smallConfiguration(), decodeConfigurationPage);
    expectNoTruncationIsTaken(smallStatus(),
                              [&](const Bytes_t& page) { return decodeStatusPage(page, configuration); });
}

TEST(Pages, AnotherCodeLengthCountOrConfigurationIsRefused) {
    const Configuration_t configuration = configurationOf(smallConfiguration());
    const auto changed = [](Bytes_t page, std::size_t at, U8_t value) {
        page[at] = value;
        return page;
    };
    EXPECT_EQ(decodeConfigurationPage(changed(smallConfiguration(), 0, 2)).error,
              "page code is 2 where 1 was asked for");
    EXPECT_EQ(decodeStatusPage(changed(smallStatus(), 0, 1), configuration).error,
              "page code is 1 where 2 was asked for");
    // Type headers that are not there; a length that the type headers do not add up to.
    EXPECT_FALSE(decodeConfigurationPage(changed(smallConfiguration(), 10, 255)).value);
    EXPECT_FALSE(decodeConfigurationPage(changed(smallConfiguration(), 3, 0x41)).value);
    EXPECT_FALSE(decodeStatusPage(smallStatus(), configurationOf(backplaneConfiguration())).value);
    EXPECT_FALSE(decodeStatusPage(healthyBackplaneStatus(), configuration).value);
}

TEST(StatusPage, TheAlarmByteThatNeverArrivesIsUnknownAndThatOfAWholePageIsDecoded) {
    Bytes_t page = smallStatus();
    const Configuration_t configuration = configurationOf(smallConfiguration());
    EXPECT_FALSE(taken(decodeStatusPage(page, configuration)).alarms.at(0).tones);
    page.push_back(0x6B);
    const EnclosureStatus_t status = taken(decodeStatusPage(page, configuration));
    ASSERT_TRUE(status.alarms.at(0).tones);
    const AlarmTones_t& tones = *status.alarms[0].tones;
    EXPECT_EQ((std::vector<bool>{tones.unrecov, tones.crit, tones.nonCrit, tones.info}),
              (std::vector<bool>{false, true, true, false}));
    EXPECT_TRUE(tones.remind && tones.muted && tones.requestedMute);
    EXPECT_EQ(status.alarms[0].code, 0x20);
    EXPECT_EQ(status.alarmOverall, 0x20);
}

/** The speed that is shown for `record` in an enclosure with these counts. */
unsigned speedIn(U8_t drives, U8_t supplies, U8_t fans, U8_t sensors, U8_t msb, U8_t lsb) {
    Configuration_t configuration;
    configuration.groups = {{1, drives}, {2, supplies}, {3, fans}, {4, sensors}};
    Bytes_t page(8U + 16U + 4U * (drives + supplies + fans + sensors), 0);
    page[0] = 2;
    page[3] = static_cast<U8_t>(page.size() - 4);
    const std::size_t record = 8U + 4U * (drives + 1U) + 4U * (supplies + 1U) + 4U;
    page[record + 1] = msb;
    page[record + 2] = lsb;
    return taken(decodeStatusPage(page, configuration)).fans.at(0).rpm.value_or(0);
}

TEST(StatusPage, SpeedsThatOverflowTheTenBitsAreToldFromSlowFans) {
    const struct {
        U8_t drives, supplies, fans, sensors, msb, lsb;
        unsigned rpm;
    } cases[] = {
        // 11970 RPM leaves 173 tens in the record; these fans, or those of no enclosure that is known, can be slow.
        {12, 2, 8, 2, 0x00, 173, 11970},
        {16, 2, 3, 3, 0x00, 173, 11970},
        {16, 3, 6, 4, 0x00, 173, 11970},
        {16, 3, 3, 3, 0x00, 173, 1730},
        {4, 2, 3, 3, 0x00, 173, 1730},
        // The least speed of each tachometer, and one below it.
        {12, 2, 8, 2, 0x40, 472 - 256, 4720},
        {12, 2, 8, 2, 0x40, 471 - 256, 14950},
        {16, 3, 3, 3, 0x00, 118, 1180},
        {16, 3, 3, 3, 0x00, 117, 11410},
        {16, 2, 3, 3, 0x00, 236, 2360},
        {16, 2, 3, 3, 0x00, 235, 12590},
        {16, 3, 6, 4, 0x40, 265 - 256, 2650},
        {16, 3, 6, 4, 0x40, 264 - 256, 12880}};
    for (const auto& c : cases) {
        EXPECT_EQ(speedIn(c.drives, c.supplies, c.fans, c.sensors, c.msb, c.lsb), c.rpm) << &c - cases;
    }
}

TEST(StatusPage, FanRecords) {
    const struct {
        const char* record;
        std::optional<unsigned> rpm;
        bool off, requestedOn, fail;
        U8_t speedCode;
    } cases[] = {{"00 00 c8 e0", 2000, false, false, false, 7},  {"00 40 00 e0", 2560, false, false, false, 7},
                 {"00 c0 ff e0", 10230, false, false, false, 7}, {"00 00 01 e0", 10, false, false, false, 7},
                 {"00 00 00 08", 0, true, false, false, 0},      {"00 00 00 e0", {}, false, false, false, 7},
                 {"00 00 c8 e4", 2000, false, true, false, 7},   {"00 00 c8 e2", 2000, false, false, true, 7}};
    for (const auto& c : cases) {
        const Fan_t fan = fanOf(c.record);
        EXPECT_EQ(fan.rpm, c.rpm) << c.record;
        EXPECT_TRUE(fan.off == c.off && fan.requestedOn == c.requestedOn && fan.fail == c.fail &&
                    fan.speedCode == c.speedCode)
            << c.record;
    }
}

TEST(StatusPage, TemperatureIsOffsetByTwentyAndByteZeroIsAReadingOnlyWithFlags) {
    EXPECT_EQ(celsiusOf("00 00 4c 20"), 56);
    EXPECT_EQ(celsiusOf("00 00 14 80"), 0);
    EXPECT_EQ(celsiusOf("00 00 13 c0"), -1);
    EXPECT_EQ(celsiusOf("00 00 ff 30"), 235);
    EXPECT_EQ(celsiusOf("00 00 01 c0"), -19);
    EXPECT_EQ(celsiusOf("00 00 00 00"), std::nullopt);
    EXPECT_EQ(celsiusOf("00 00 00 c0"), -20);
}

TEST(StatusPage, HostileConfigurationNeverReadsPastThePageAndTheLargestEnclosureNeedsNone) {
    Configuration_t hostile;
    for (unsigned type = 0; type < 256; ++type) {
        hostile.groups.push_back({static_cast<U8_t>(type), 255});
    }
    Bytes_t page = smallStatus();
    page[2] = 0xFF;
    page[3] = 0xFF;
    EXPECT_FALSE(decodeStatusPage(page, hostile).value);
    hostile.groups = {{6, 0}};
    EXPECT_TRUE(decodeStatusPage(unhex("02 00 00 08 00 00 00 00 00 00 00"), hostile).value);
    Bytes_t largest(8 + 4 * (32 + 5) - 1, 0);
    largest[0] = 2;
    largest[3] = 152;
    EXPECT_TRUE(decodeStatusPage(largest).value);
}

TEST(StatusPage, EveryBitAndTheExtremesOfEveryByteAreSafe) {
    const Configuration_t configuration = configurationOf(smallConfiguration());
    for (std::size_t at = 0; at < smallStatus().size(); ++at) {
        const U8_t sound = smallStatus()[at];
        for (const int changed : {0x00, 0xFF, sound ^ 1, sound ^ 2, sound ^ 4, sound ^ 8, sound ^ 16, sound ^ 32,
                                  sound ^ 64, sound ^ 128}) {
            Bytes_t page = smallStatus();
            page[at] = static_cast<U8_t>(changed);
            const Decoded_t<EnclosureStatus_t> decoded = decodeStatusPage(page, configuration);
            EXPECT_EQ(decoded.value.has_value(), decoded.error.empty()) << at << " is " << changed;
        }
    }
}

/** The status of an enclosure with so many elements, all well. */
EnclosureStatus_t enclosureOf(unsigned drives, unsigned supplies, unsigned fans, unsigned sensors, unsigned alarms) {
    EnclosureStatus_t status;
    status.drives.resize(drives);
    status.supplies.resize(supplies);
    status.fans.resize(fans);
    status.sensors.resize(sensors);
    status.alarms.resize(alarms);
    return status;
}

TEST(ControlPage, TheExchangedStepsFindEveryFanAndTheAlarmInEveryEnclosure) {
    // The adapter walks the lists with two steps exchanged: it seeks the temperatures elsewhere, all else where it is.
    const auto zeros = [](unsigned words) { return std::string(8 * std::size_t{words}, '0'); };
    for (unsigned fans = 0; fans <= 8; ++fans) {
        for (unsigned sensors = 0; sensors <= 8; ++sensors) {
            ControlPage_t wanted = controlPageOf(enclosureOf(16, 3, fans, sensors, 1));
            wanted.fansOn.assign(fans, true);
            if (fans > 0) {
                wanted.selectedFan = fans - 1;
            }
            wanted.selectedAlarm = 0;
            wanted.alarms[0].tones.nonCrit = true;
            std::string records = fans > 0 ? "00000080" : "00000000";
            for (unsigned fan = 0; fan < fans; ++fan) {
                records += fan + 1 == fans ? "80000004" : "00000004";
            }
            const U8_t length = static_cast<U8_t>(104 + 4 * (fans + sensors));
            EXPECT_EQ(plainHex(encodeControlPage(wanted)), "020000" + plainHex({length}) + zeros(1 + 17 + 4) + records +
                                                               zeros(1 + sensors) + "0000008080000020")
                << fans << " fans, " << sensors << " sensors";
        }
    }
}

TEST(ControlPage, EverythingGoesBackAsItWasReportedAndNothingIsSelected) {
    EnclosureStatus_t status = enclosureOf(3, 3, 2, 2, 1);
    status.generation = 7;
    status.drives[1].faultRequested = true;
    status.supplies[0].requestedOn = true;
    status.supplies[1].code = 1;
    status.supplies[1].fail = true; // by command: nothing else is wrong with it
    status.supplies[2].code = 5;
    status.supplies[2].fail = true; // by itself
    status.fans[1].requestedOn = true;
    status.alarms[0].code = 0x20;
    status.alarmOverall = 0x20;
    status.alarms[0].tones = AlarmTones_t{true, false, true, false, true, true, true};
    EXPECT_EQ(plainHex(encodeControlPage(controlPageOf(status))),
              plainHex(unhex("02 00 00 44 00 00 00 07"
                             "00 00 00 00 00 00 00 00 00 00 00 04 00 00 00 00"
                             "00 00 00 00 00 00 00 04 00 00 00 02 00 00 00 00"
                             "00 00 00 00 00 00 00 00 00 00 00 04"
                             "00 00 00 00 00 00 00 00 00 00 00 00"
                             "00 00 00 20 20 00 00 aa")));
}

TEST(StandardPages, EmptySlotsAreWellAnAlarmHasItsTonesAndWhatNobodyKnowsIsZerosWithoutATitle) {
    Enclosure_t enclosure{.configuration = {}, .status = enclosureOf(2, 0, 0, 0, 1)};
    enclosure.configuration.groups = {{1, 2}, {3, 0}, {6, 1}, {9, 1}};
    enclosure.status.drives[0].code = enclosure.status.drives[1].code = 5;
    enclosure.status.alarms[0].tones = AlarmTones_t{true, false, true, false, true, true, true};
    EXPECT_EQ(plainHex(standardStatusPage(enclosure)), "0200002400000000010000000500000005010000"
                                                       "0000000001000000010000d50000000000000000");
    const Bytes_t page = standardConfigurationPage(enclosure.configuration);
    EXPECT_EQ(plainHex(Bytes_t(page.begin() + 48, page.begin() + 64)), "0102000b030000040601000509010000");
    EXPECT_EQ(std::string(page.begin() + 64, page.end()), "Drive slotsFansAlarm");
    enclosure.configuration.groups = {{1, 0}};
    enclosure.status.drives.clear();
    EXPECT_EQ(plainHex(standardStatusPage(enclosure)), "020000080000000000000000") << "no slots are not well";
}

TEST(ControlPage, AnEnclosureTooLargeForAMessageIsRefused) {
    EXPECT_THROW((void)encodeControlPage(controlPageOf(enclosureOf(255, 255, 255, 255, 1))), ToolError_t);
    EXPECT_NO_THROW((void)encodeControlPage(controlPageOf(enclosureOf(255, 255, 255, 200, 1))));
}

} // namespace
