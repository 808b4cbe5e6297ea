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

/** The one fan of a page whose cooling record is `record`. */
Fan_t fanOf(const std::string& record) {
    Configuration_t one;
    one.groups = {{3, 1}};
    const Decoded_t<EnclosureStatus_t> decoded =
        decodeStatusPage(unhex("02 00 00 0c 00 00 00 00 00 00 00 00" + record), one);
    EXPECT_TRUE(decoded.value) << decoded.error;
    return decoded.value ? decoded.value->fans.at(0) : Fan_t{};
}

TemperatureSensor_t sensorOf(const std::string& record) {
    Configuration_t one;
    one.groups = {{4, 1}};
    const Decoded_t<EnclosureStatus_t> decoded =
        decodeStatusPage(unhex("02 00 00 0c 00 00 00 00 00 00 00 00" + record), one);
    EXPECT_TRUE(decoded.value) << decoded.error;
    return decoded.value ? decoded.value->sensors.at(0) : TemperatureSensor_t{};
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
    EXPECT_EQ(configuration.count(1), 2U);
    EXPECT_EQ(configuration.count(2), 1U);
    EXPECT_EQ(configuration.count(3), 2U);
    EXPECT_EQ(configuration.count(4), 2U);
    EXPECT_EQ(configuration.count(6), 1U);
    EXPECT_EQ(configuration.count(5), 0U);
}

TEST(ConfigurationPage, DecodesThePageThatIsWhole) {
    Bytes_t page = smallConfiguration();
    page.push_back(0);
    EXPECT_EQ(configurationOf(page).count(6), 1U);
}

TEST(ConfigurationPage, EmptyTextsAreEmpty) {
    const Configuration_t configuration = configurationOf(backplaneConfiguration());
    EXPECT_EQ(configuration.vendor, "");
    EXPECT_EQ(configuration.product, "");
    EXPECT_EQ(configuration.revision, "");
}

TEST(ConfigurationPage, UnprintableVendorBytesNeverReachTheTerminal) {
    Bytes_t page = smallConfiguration();
    page[20] = 0x1B;
    page[21] = 0xFF;
    EXPECT_EQ(configurationOf(page).vendor, "??ME");
}

TEST(ConfigurationPage, EveryTruncationIsRefused) {
    const Bytes_t page = smallConfiguration();
    for (std::size_t size = 0; size < page.size(); ++size) {
        const Bytes_t cut(page.begin(), page.begin() + static_cast<std::ptrdiff_t>(size));
        const Decoded_t<Configuration_t> decoded = decodeConfigurationPage(cut);
        EXPECT_FALSE(decoded.value) << size;
        EXPECT_NE(decoded.error, "") << size;
    }
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

TEST(StatusPage, TheAlarmByteThatNeverArrivesIsUnknown) {
    EXPECT_FALSE(statusOf(healthyBackplaneStatus(), backplaneConfiguration()).alarms[0].tones);
}

TEST(StatusPage, TheAlarmByteOfAWholePageIsDecoded) {
    Bytes_t page = smallStatus();
    page.push_back(0x6B);
    const EnclosureStatus_t status = statusOf(page, smallConfiguration());
    ASSERT_TRUE(status.alarms.at(0).tones);
    const AlarmTones_t& tones = *status.alarms[0].tones;
    EXPECT_FALSE(tones.unrecov);
    EXPECT_TRUE(tones.crit);
    EXPECT_TRUE(tones.nonCrit);
    EXPECT_FALSE(tones.info);
    EXPECT_TRUE(tones.remind);
    EXPECT_TRUE(tones.muted);
    EXPECT_TRUE(tones.requestedMute);
    EXPECT_EQ(status.alarms[0].code, 0x20);
    EXPECT_EQ(status.alarmOverall, 0x20);
}

TEST(StatusPage, FanSpeedIsTenBitsOfTenRpm) {
    EXPECT_EQ(fanOf("00 00 c8 e0").rpm, 2000U);
    EXPECT_EQ(fanOf("00 40 00 e0").rpm, 2560U);
    EXPECT_EQ(fanOf("00 c0 ff e0").rpm, 10230U);
    EXPECT_EQ(fanOf("00 00 01 e0").rpm, 10U);
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
    // 11970 RPM leaves 173 tens in the record.
    EXPECT_EQ(speedIn(12, 2, 8, 2, 0x00, 173), 11970U);
    EXPECT_EQ(speedIn(16, 2, 3, 3, 0x00, 173), 11970U);
    EXPECT_EQ(speedIn(16, 3, 6, 4, 0x00, 173), 11970U);
    EXPECT_EQ(speedIn(16, 3, 3, 3, 0x00, 173), 1730U) << "these fans can be as slow as that";
    EXPECT_EQ(speedIn(4, 2, 3, 3, 0x00, 173), 1730U) << "no enclosure that is known";
}

TEST(StatusPage, LeastSpeedOfEachTachometerIsTakenAsItIs) {
    EXPECT_EQ(speedIn(12, 2, 8, 2, 0x40, 472 - 256), 4720U);
    EXPECT_EQ(speedIn(12, 2, 8, 2, 0x40, 471 - 256), 14950U);
    EXPECT_EQ(speedIn(16, 3, 3, 3, 0x00, 118), 1180U);
    EXPECT_EQ(speedIn(16, 3, 3, 3, 0x00, 117), 11410U);
    EXPECT_EQ(speedIn(16, 2, 3, 3, 0x00, 236), 2360U);
    EXPECT_EQ(speedIn(16, 2, 3, 3, 0x00, 235), 12590U);
    EXPECT_EQ(speedIn(16, 3, 6, 4, 0x40, 265 - 256), 2650U);
    EXPECT_EQ(speedIn(16, 3, 6, 4, 0x40, 264 - 256), 12880U);
}

TEST(StatusPage, FanAtNoSpeedIsOffOrUnread) {
    EXPECT_EQ(fanOf("00 00 00 08").rpm, 0U);
    EXPECT_TRUE(fanOf("00 00 00 08").off);
    EXPECT_EQ(fanOf("00 00 00 e0").rpm, std::nullopt);
    EXPECT_EQ(fanOf("00 00 00 e0").speedCode, 7);
}

TEST(StatusPage, FanBits) {
    EXPECT_TRUE(fanOf("00 00 c8 e4").requestedOn);
    EXPECT_FALSE(fanOf("00 00 c8 e4").fail);
    EXPECT_TRUE(fanOf("00 00 c8 e2").fail);
}

TEST(StatusPage, TemperatureIsOffsetByTwenty) {
    EXPECT_EQ(sensorOf("00 00 4c 20").celsius, 56);
    EXPECT_EQ(sensorOf("00 00 14 80").celsius, 0);
    EXPECT_EQ(sensorOf("00 00 13 c0").celsius, -1);
    EXPECT_EQ(sensorOf("00 00 ff 30").celsius, 235);
    EXPECT_EQ(sensorOf("00 00 01 c0").celsius, -19);
}

TEST(StatusPage, TemperatureByteZeroIsAReadingOnlyWithFlags) {
    EXPECT_EQ(sensorOf("00 00 00 00").celsius, std::nullopt);
    EXPECT_EQ(sensorOf("00 00 00 c0").celsius, -20);
}

TEST(StatusPage, EveryTruncationIsRefused) {
    const Configuration_t configuration = configurationOf(smallConfiguration());
    const Bytes_t page = smallStatus();
    for (std::size_t size = 0; size < page.size(); ++size) {
        const Bytes_t cut(page.begin(), page.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_FALSE(decodeStatusPage(cut, configuration).value) << size;
    }
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
            EXPECT_NE(decoded.value.has_value(), !decoded.error.empty());
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
