/** What two looks at an enclosure tell, and what is read of one that nobody reaches. */
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "changes.h"
#include "present.h"
#include "series.h"

namespace {

using testing::HasSubstr;

/** An enclosure of one chassis alone: 12 drives, 2 supplies, 8 fans and 2 sensors; no speed: nothing answers. */
Enclosure_t enclosureAt(std::optional<unsigned> rpm, const std::string& chassis = "") {
    Enclosure_t enclosure;
    enclosure.configuration.groups = {{1, 12}, {2, 2}, {3, 8}, {4, 2}, {6, 1}};
    enclosure.status.drives.resize(12);
    enclosure.status.supplies.resize(2);
    enclosure.status.fans.resize(8);
    enclosure.status.sensors.resize(2);
    for (DriveSlot_t& drive : enclosure.status.drives) {
        drive.code = 1;
    }
    for (PowerSupply_t& supply : enclosure.status.supplies) {
        supply.code = 1;
    }
    for (Fan_t& fan : enclosure.status.fans) {
        fan.code = 1;
        fan.rpm = rpm;
    }
    for (TemperatureSensor_t& sensor : enclosure.status.sensors) {
        sensor.code = 1;
        sensor.celsius = rpm ? std::optional<int>(30) : std::nullopt;
    }
    Present_t present;
    present.chassis = chassis;
    return diagnosed(std::move(enclosure), present, {});
}

TEST(Changes, ABusThatDiesIsOneEntryAndSoIsItsReturn) {
    const Enclosure_t well = enclosureAt(5000);
    const Enclosure_t dead = enclosureAt({});
    const std::vector<Entry_t> lost = changesBetween(well, dead, 1000);
    ASSERT_EQ(lost.size(), 1U);
    EXPECT_EQ(lost[0].elements, std::vector<std::string>{"enclosure"});
    EXPECT_THAT(lost[0].document, HasSubstr(R"("severity":"error","elements":["enclosure"],"from":"ok","to":"fault")"));
    EXPECT_THAT(lost[0].document, HasSubstr("no answer on the I2C bus"));
    const std::vector<Entry_t> back = changesBetween(dead, well, 2000);
    ASSERT_EQ(back.size(), 1U);
    EXPECT_THAT(back[0].document, HasSubstr(R"("from":"fault","to":"ok","text":"the enclosure answers")"));
    EXPECT_TRUE(changesBetween(dead, dead, 3000).empty());
}

TEST(Changes, WhatIsInTroubleAfterASilenceIsTold) {
    Enclosure_t slow = enclosureAt(5000);
    slow.status.fans[3].rpm = 1000;
    const std::vector<Entry_t> back = changesBetween(enclosureAt({}), slow, 1000);
    ASSERT_EQ(back.size(), 2U);
    EXPECT_THAT(back[1].document, HasSubstr(R"("elements":["fan3"],"from":"unknown","to":"fault")"));
}

TEST(Changes, AnElementThatChangesIsAnEntry) {
    Enclosure_t slow = enclosureAt(5000);
    slow.status.fans[3].rpm = 1000;
    const std::vector<Entry_t> changes = changesBetween(enclosureAt(5000), slow, 1000);
    ASSERT_EQ(changes.size(), 1U);
    EXPECT_THAT(changes[0].document, HasSubstr(R"("elements":["fan3"],"from":"ok","to":"fault")"));
    EXPECT_THAT(changesBetween(slow, enclosureAt(5000), 2000)[0].document, HasSubstr(R"("text":"fan3 is ok")"));
}

TEST(Changes, WhatTheSuppliesReportTogetherIsOneEntry) {
    Enclosure_t pulled = enclosureAt(5000);
    for (PowerSupply_t& supply : pulled.status.supplies) {
        supply.code = 5;
        supply.fail = true;
    }
    const std::vector<Entry_t> lost = changesBetween(enclosureAt(5000), pulled, 1000);
    ASSERT_EQ(lost.size(), 1U);
    EXPECT_EQ(lost[0].elements, (std::vector<std::string>{"psu0", "psu1"}));
    EXPECT_THAT(lost[0].document, HasSubstr(R"("text":"psu0-psu1 together report redundancy lost")"));
    const std::vector<Entry_t> back = changesBetween(pulled, enclosureAt(5000), 2000);
    ASSERT_EQ(back.size(), 1U);
    EXPECT_THAT(back[0].document, HasSubstr(R"("text":"psu0-psu1 are ok")"));
    pulled.status.supplies[1] = enclosureAt(5000).status.supplies[1];
    EXPECT_EQ(changesBetween(enclosureAt(5000), pulled, 3000)[0].elements, std::vector<std::string>{"psu0"});
}

TEST(Present, WhatOperatorsHaveAcceptedDoesNotCountAndIsListed) {
    const std::filesystem::path folder = std::filesystem::path(testing::TempDir()) / "monitor-accepted";
    std::filesystem::create_directories(folder);
    Enclosure_t slow = enclosureAt(5000);
    slow.status.fans[3].rpm = 1000;
    MonitorOptions_t options;
    options.state = folder;
    EXPECT_EQ(judged(slow, options).overall, CONDITION_E_FAULT);
    std::ofstream(folder / "accepted") << "fan3\tslow\t11\t4\t9999999999\tfan3 is slow\n";
    EXPECT_EQ(judged(slow, options).overall, CONDITION_E_OK);
    ASSERT_EQ(judged(slow, options).accepted.size(), 1U);
    slow.status.fans[3].rpm = 800;
    EXPECT_EQ(judged(slow, options).overall, CONDITION_E_FAULT) << "it has got worse";
    std::filesystem::remove_all(folder);
}

TEST(Changes, ElementsOfAnotherNumberAreAnotherEnclosure) {
    Enclosure_t other = enclosureAt(5000);
    other.status.fans.pop_back();
    EXPECT_FALSE(hasSameElements(enclosureAt(5000), other));
    EXPECT_TRUE(hasSameElements(enclosureAt(5000), enclosureAt({})));
}

TEST(Series, NothingIsReadOfAnEnclosureThatNobodyReaches) {
    const auto isNothing = [](const std::optional<double>& value) { return !value; };
    EXPECT_TRUE(std::ranges::none_of(valuesOf(enclosureAt(5000)), isNothing));
    const std::vector<std::optional<double>> none = valuesOf(enclosureAt({}));
    EXPECT_EQ(none.size(), 20U) << "two sensors, eight fans' speeds and loads, two supplies";
    EXPECT_TRUE(std::ranges::all_of(none, isNothing));
    Enclosure_t absent;
    absent.configuration.groups = {{1, 16}, {2, 3}, {3, 8}, {4, 4}, {6, 1}};
    absent.status.sensors.resize(4);
    absent.status.sensors[0].celsius = 0;
    EXPECT_TRUE(std::ranges::all_of(valuesOf(absent), isNothing)) << "0 degrees that were never measured";
}

TEST(Present, TheChassisIsMadeOutByItsElements) {
    const Enclosure_t enclosure = enclosureAt(5000, "quadra");
    ASSERT_NE(enclosure.chassis, nullptr);
    EXPECT_STREQ(enclosure.chassis->name, "xyratex");
}

} // namespace
