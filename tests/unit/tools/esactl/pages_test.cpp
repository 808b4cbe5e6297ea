#include <gtest/gtest.h>

#include "pages.h"
#include "sample_pages.h"

namespace {

Configuration_t configurationOf(const Bytes_t& page) {
    const Decoded_t<Configuration_t> decoded = decodeConfigurationPage(page);
    EXPECT_TRUE(decoded.value) << decoded.error;
    return decoded.value.value_or(Configuration_t{});
}

EnclosureStatus_t statusOf(const Bytes_t& page, const Bytes_t& configuration) {
    const Decoded_t<EnclosureStatus_t> decoded = decodeStatusPage(page, configurationOf(configuration));
    EXPECT_TRUE(decoded.value) << decoded.error;
    return decoded.value.value_or(EnclosureStatus_t{});
}

/** The status of one element of that type whose record is `record`. */
EnclosureStatus_t oneElement(U8_t type, const std::string& record) {
    Configuration_t one;
    one.groups = {{type, 1}};
    const Decoded_t<EnclosureStatus_t> decoded =
        decodeStatusPage(unhex("02 00 00 0c 00 00 00 00 00 00 00 00" + record), one);
    EXPECT_TRUE(decoded.value) << decoded.error;
    return decoded.value.value_or(EnclosureStatus_t{});
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

TEST(ConfigurationPage, DecodesThePageThatLacksItsLastByte) {
    const Configuration_t configuration = configurationOf(smallConfiguration());
    EXPECT_EQ(configuration.generation, 7U);
    EXPECT_EQ(configuration.processes, 1);
    EXPECT_EQ(configuration.logicalId, (std::array<U8_t, 8>{0x50, 0, 0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(configuration.vendor, "ACME");
    EXPECT_EQ(configuration.product, "Shelf \"2\"");
    EXPECT_EQ(configuration.revision, "0102");
    ASSERT_EQ(configuration.groups.size(), 5U);
    const unsigned counts[] = {0, 2, 1, 2, 2, 0, 1};
    for (U8_t type = 1; type <= 6; ++type) {
        EXPECT_EQ(configuration.count(type), counts[type]) << +type;
    }
    Bytes_t whole = smallConfiguration();
    whole.push_back(0);
    EXPECT_EQ(configurationOf(whole).count(6), 1U);
    const Configuration_t nameless = configurationOf(backplaneConfiguration());
    EXPECT_EQ(nameless.vendor + nameless.product + nameless.revision, "");
}

TEST(ConfigurationPage, UnprintableVendorBytesNeverReachTheTerminal) {
    Bytes_t page = smallConfiguration();
    page[20] = 0x1B;
    page[21] = 0xFF;
    EXPECT_EQ(configurationOf(page).vendor, "??ME");
}

TEST(ConfigurationPage, EveryTruncationIsRefused) {
    expectNoTruncationIsTaken(smallConfiguration(), [](const Bytes_t& page) { return decodeConfigurationPage(page); });
}

TEST(ConfigurationPage, WrongPageCodeAndWrongCountAreRefused) {
    Bytes_t page = smallConfiguration();
    page[0] = 2;
    EXPECT_EQ(decodeConfigurationPage(page).error, "page code is 2 where 1 was asked for");
    page = smallConfiguration();
    page[10] = 255; // type headers that are not there
    EXPECT_FALSE(decodeConfigurationPage(page).value);
    page = smallConfiguration();
    page[3] = 0x41; // length that the type headers do not add up to
    EXPECT_FALSE(decodeConfigurationPage(page).value);
}

TEST(StatusPage, DecodesEveryElementOfAHealthyBackplane) {
    const EnclosureStatus_t status = statusOf(healthyBackplaneStatus(), backplaneConfiguration());
    ASSERT_EQ(status.drives.size(), 16U);
    ASSERT_EQ(status.supplies.size(), 3U);
    ASSERT_EQ(status.fans.size(), 3U);
    ASSERT_EQ(status.sensors.size(), 3U);
    ASSERT_EQ(status.alarms.size(), 1U);
    EXPECT_EQ(status.drives[15].code, 1);
    EXPECT_FALSE(status.drives[3].faultRequested);
    EXPECT_FALSE(status.supplies[0].fail);
    EXPECT_EQ(status.fans[2].rpm, 3000U);
    EXPECT_EQ(status.sensors[0].celsius, 30);
    EXPECT_EQ(status.sensors[2].celsius, 32);
}

TEST(StatusPage, DecodesFaultsInTheirPlaces) {
    const EnclosureStatus_t status = statusOf(faultyBackplaneStatus(), backplaneConfiguration());
    EXPECT_TRUE(status.drives[3].faultRequested);
    EXPECT_FALSE(status.drives[2].faultRequested);
    EXPECT_EQ(status.drives[5].code, 5);
    EXPECT_EQ(status.supplies[1].code, 5);
    EXPECT_TRUE(status.supplies[1].fail);
    EXPECT_FALSE(status.supplies[2].fail);
    EXPECT_EQ(status.fans[0].rpm, 1500U);
    EXPECT_EQ(status.fans[1].rpm, std::nullopt);
    EXPECT_EQ(status.sensors[0].celsius, 57);
    EXPECT_TRUE(status.sensors[0].overWarning);
    EXPECT_FALSE(status.sensors[0].overFailure);
    EXPECT_TRUE(status.sensors[1].overFailure);
    EXPECT_EQ(status.sensors[2].celsius, std::nullopt);
}

TEST(StatusPage, TheAlarmByteThatNeverArrivesIsUnknownAndThatOfAWholePageIsDecoded) {
    EXPECT_FALSE(statusOf(healthyBackplaneStatus(), backplaneConfiguration()).alarms[0].tones);
    Bytes_t page = smallStatus();
    page.push_back(0x6B);
    const EnclosureStatus_t status = statusOf(page, smallConfiguration());
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
    const Decoded_t<EnclosureStatus_t> decoded = decodeStatusPage(page, configuration);
    EXPECT_TRUE(decoded.value) << decoded.error;
    return decoded.value ? decoded.value->fans.at(0).rpm.value_or(0) : 0;
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

TEST(StatusPage, EveryTruncationIsRefused) {
    const Configuration_t configuration = configurationOf(smallConfiguration());
    expectNoTruncationIsTaken(smallStatus(),
                              [&](const Bytes_t& page) { return decodeStatusPage(page, configuration); });
}

TEST(StatusPage, PageOfAnotherConfigurationIsRefused) {
    EXPECT_FALSE(decodeStatusPage(smallStatus(), configurationOf(backplaneConfiguration())).value);
    EXPECT_FALSE(decodeStatusPage(healthyBackplaneStatus(), configurationOf(smallConfiguration())).value);
    Bytes_t page = smallStatus();
    page[0] = 1;
    EXPECT_EQ(decodeStatusPage(page, configurationOf(smallConfiguration())).error,
              "page code is 1 where 2 was asked for");
}

TEST(StatusPage, HostileConfigurationNeverReadsPastThePage) {
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
}

TEST(StatusPage, EveryByteValueAnywhereIsSafe) {
    const Configuration_t configuration = configurationOf(smallConfiguration());
    for (std::size_t i = 0; i < smallStatus().size(); ++i) {
        for (unsigned value = 0; value < 256; ++value) {
            Bytes_t page = smallStatus();
            page[i] = static_cast<U8_t>(value);
            const Decoded_t<EnclosureStatus_t> decoded = decodeStatusPage(page, configuration);
            if (decoded.value.has_value() != decoded.error.empty()) {
                ADD_FAILURE() << "byte " << i << " is " << value;
            }
        }
    }
}

TEST(StatusPage, LargestEnclosureNeedsNoConfiguration) {
    Bytes_t page(8 + 4 * (32 + 5) - 1, 0);
    page[0] = 2;
    page[3] = 152;
    EXPECT_TRUE(decodeStatusPage(page).value);
}

} // namespace
