/** What two looks at an enclosure tell, and what is read of one that nobody reaches. */
#include <algorithm>
#include <gtest/gtest.h>

#include "changes.h"
#include "folder.h"
#include "json_value.h"
#include "present.h"
#include "series.h"

namespace {

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

Enclosure_t enclosureWithASlowFan(unsigned rpm = 1000) {
    Enclosure_t slow = enclosureAt(5000);
    slow.status.fans[3].rpm = rpm;
    return slow;
}

Enclosure_t enclosureWithFailedSupplies(std::size_t count) {
    Enclosure_t pulled = enclosureAt(5000);
    for (std::size_t i = 0; i < count; ++i) {
        pulled.status.supplies[i].code = 5;
        pulled.status.supplies[i].fail = true;
    }
    return pulled;
}

TEST(Changes, AreTheElementsThatChangeByOneCauseEach) {
    const Enclosure_t well = enclosureAt(5000);
    const Enclosure_t dead = enclosureAt({});
    const Enclosure_t slow = enclosureWithASlowFan();
    const Enclosure_t pulled = enclosureWithFailedSupplies(2);
    const std::string answers = R"(information ["enclosure"] fault>ok: the enclosure answers)";
    const std::string isSlow = "fan3 at 1000 RPM is under its limit of 2000 RPM";
    const struct {
        Enclosure_t before, now;
        std::vector<std::string> entries;
    } cases[] = {
        {well, dead, {R"(error ["enclosure"] ok>fault: no answer on the I2C bus: no fan and no sensor has a reading)"}},
        {dead, well, {answers}},
        {dead, dead, {}},
        {dead, slow, {answers, R"(error ["fan3"] unknown>fault: )" + isSlow}},
        {well, slow, {R"(error ["fan3"] ok>fault: )" + isSlow}},
        {slow, well, {R"(information ["fan3"] fault>ok: fan3 is ok)"}},
        {well, pulled, {R"(error ["psu0","psu1"] ok>fault: psu0-psu1 together report redundancy lost)"}},
        {pulled, well, {R"(information ["psu0","psu1"] fault>ok: psu0-psu1 are ok)"}},
        {well, enclosureWithFailedSupplies(1), {R"(error ["psu0"] ok>fault: psu0 redundancy lost)"}}};
    for (const auto& c : cases) {
        std::vector<std::string> entries;
        for (const Entry_t& entry : changesBetween(c.before, c.now, 1000)) {
            const auto document = testsupport::JsonValue_t::parse(entry.document);
            entries.push_back(document["severity"].text() + " " + document["elements"].dump() + " " +
                              document["from"].text() + ">" + document["to"].text() + ": " + document["text"].text());
            EXPECT_EQ(entry.elements.size(), document["elements"].size());
            EXPECT_EQ(entry.elements.at(0), document["elements"][0].text());
        }
        EXPECT_EQ(entries, c.entries);
    }
}

TEST(Present, WhatOperatorsHaveAcceptedDoesNotCountAndIsListed) {
    const testsupport::Folder_t folder;
    MonitorOptions_t options;
    options.state = folder.path();
    EXPECT_EQ(judged(enclosureWithASlowFan(), options).overall, CONDITION_E_FAULT);
    (void)folder.write("accepted", "fan3\tslow\t11\t4\t9999999999\tfan3 is slow\n");
    const Health_t health = judged(enclosureWithASlowFan(), options);
    EXPECT_EQ(health.overall, CONDITION_E_OK);
    EXPECT_EQ(health.accepted.size(), 1U);
    EXPECT_EQ(judged(enclosureWithASlowFan(800), options).overall, CONDITION_E_FAULT) << "it has got worse";
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
