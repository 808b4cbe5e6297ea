/** Which enclosure it is, and the one cause when nothing of it is known. */
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnosis.h"
#include "folder.h"
#include "health.h"

namespace {

using testing::HasSubstr;

using Speeds_t = std::vector<std::optional<unsigned>>;
using Degrees_t = std::vector<std::optional<int>>;

Enclosure_t enclosureWith(U8_t drives, U8_t supplies, const Speeds_t& rpm, const Degrees_t& celsius) {
    Enclosure_t enclosure;
    enclosure.configuration.groups = {
        {1, drives}, {2, supplies}, {3, static_cast<U8_t>(rpm.size())}, {4, static_cast<U8_t>(celsius.size())}, {6, 1}};
    enclosure.status.drives.resize(drives);
    enclosure.status.supplies.resize(supplies);
    for (const auto& speed : rpm) {
        enclosure.status.fans.emplace_back().rpm = speed;
        enclosure.status.fans.back().off = speed == 0U;
    }
    for (const auto& degrees : celsius) {
        enclosure.status.sensors.emplace_back().celsius = degrees;
    }
    return enclosure;
}

AdapterFacts_t told(const char* chassis) {
    return {.chassis = findChassis(std::string_view(chassis))};
}

/** Before it has reached an enclosure the adapter lists 16 drives, 3 supplies, 8 fans and 4 sensors. */
Enclosure_t unreached(std::optional<int> celsius) {
    return enclosureWith(16, 3, Speeds_t(8), Degrees_t(4, celsius));
}

Enclosure_t diagnosed(Enclosure_t enclosure, const AdapterFacts_t& facts = {}) {
    diagnose(enclosure, facts);
    return enclosure;
}

std::string chassisOf(const Enclosure_t& enclosure) {
    return enclosure.chassis == nullptr ? "" : enclosure.chassis->name;
}

/** The two backplanes of 16 drives; tachometers count differently: 600000 and 675000 divided by a count, in steps
 * of 10. */
constexpr unsigned VSC055_RPM = 5000;  // 120
constexpr unsigned W83782D_RPM = 6750; // 100
Enclosure_t backplane(unsigned rpm) {
    return enclosureWith(16, 2, {rpm, rpm, rpm}, {30, {}, {}});
}

const Enclosure_t SILENT = enclosureWith(12, 2, Speeds_t(8), {{}, {}});
const Enclosure_t XYRATEX = enclosureWith(12, 2, Speeds_t(8, 5000U), {30, 30});

TEST(Diagnosis, AnAdapterWithoutAnEnclosureIsOneWarning) {
    for (const AdapterFacts_t& facts : {told("none"), AdapterFacts_t{}}) {
        const Enclosure_t enclosure = diagnosed(unreached(0), facts);
        const Health_t health = assessHealth(enclosure);
        EXPECT_EQ(health.exitStatus, 16);
        ASSERT_EQ(health.problems.size(), 1U);
        EXPECT_THAT(health.problems[0].text, HasSubstr("the adapter has no enclosure: chassis type None"));
        EXPECT_EQ(driveCondition(enclosure.status.drives[0]), CONDITION_E_UNKNOWN);
        EXPECT_EQ(supplyCondition(enclosure.status.supplies[0]), CONDITION_E_UNKNOWN);
        EXPECT_EQ(fanCondition(enclosure.status.fans[0]), CONDITION_E_UNKNOWN);
        EXPECT_EQ(sensorCondition(enclosure.status.sensors[0]), CONDITION_E_UNKNOWN);
        EXPECT_FALSE(enclosure.status.sensors[0].celsius) << "0 degrees were never measured";
    }
}

TEST(Diagnosis, WhatKeptTheAdapterFromItsEnclosureIsTold) {
    EXPECT_THAT(diagnosed(unreached(0), told("quadra")).cause,
                HasSubstr("/dev/enc-0 could not be opened for the quadra"));
    EXPECT_THAT(diagnosed(unreached({}), told("quadra")).cause, HasSubstr("no chip of the quadra enclosure was found"));
    EXPECT_THAT(diagnosed(unreached({})).cause, HasSubstr("no chip of the enclosure was found"));
}

TEST(Diagnosis, ABusThatDoesNotAnswerIsOneFaultOfWhichTheLastAnswerIsTold) {
    const Health_t health = assessHealth(diagnosed(SILENT));
    EXPECT_EQ(health.exitStatus, 8);
    ASSERT_EQ(health.problems.size(), 1U);
    EXPECT_THAT(health.problems[0].text, HasSubstr("no answer on the I2C bus: no fan"));
    EXPECT_THAT(diagnosed(SILENT, {.lastTransfer = [] { return std::string("2026-11-21T02:33:11Z"); }}).cause,
                HasSubstr("no answer on the I2C bus since 2026-11-21T02:33:11Z: no fan"));
    EXPECT_THAT(diagnosed(SILENT, {.lastTransfer = [] { return std::string(); }}).cause,
                HasSubstr("no answer on the I2C bus: no fan"));
}

TEST(Diagnosis, NothingIsKnownWhereNoReadingArrivesOrNoEnclosureWasFound) {
    EXPECT_TRUE(isOutOfReach(unreached(0)));
    EXPECT_TRUE(isUnreached(unreached({}).configuration));
    EXPECT_TRUE(isOutOfReach(SILENT));
    EXPECT_FALSE(isUnreached(SILENT.configuration));
    EXPECT_FALSE(isOutOfReach(enclosureWith(16, 3, {5000U, {}, {}}, {{}, {}, {}})));
}

TEST(Diagnosis, OneReadingThatArrivesMeansThatTheBusWorks) {
    EXPECT_EQ(diagnosed(enclosureWith(16, 3, {{}, {}, {}}, {30, {}, {}})).cause, "");
    EXPECT_EQ(diagnosed(enclosureWith(16, 3, {0U, {}, {}}, {{}, {}, {}})).cause, "") << "a fan that stands is read";
}

TEST(Diagnosis, SensorsThatAChassisNeverReadsAreNoMissingReadingsAndDeadOnesOfTheOtherBackplaneAre) {
    const Enclosure_t unfitted = diagnosed(backplane(W83782D_RPM));
    EXPECT_EQ(chassisOf(unfitted), "w83782d");
    EXPECT_EQ(assessHealth(unfitted).exitStatus, 0);
    EXPECT_EQ(sensorCondition(unfitted.status.sensors[1]), CONDITION_E_ABSENT);
    EXPECT_EQ(assessHealth(diagnosed(backplane(VSC055_RPM), told("vsc055"))).exitStatus, 16);
    const Enclosure_t unsure = diagnosed(backplane(VSC055_RPM));
    EXPECT_EQ(chassisOf(unsure), "") << "readings of one, tachometers of the other";
    EXPECT_EQ(assessHealth(unsure).exitStatus, 16);
}

TEST(Diagnosis, EnclosuresAreMadeOutByTheirElementsUnlessAPersonSaysOtherwise) {
    const auto of = [](U8_t drives, U8_t supplies, unsigned fans, unsigned sensors) {
        return chassisOf(
            diagnosed(enclosureWith(drives, supplies, Speeds_t(fans, VSC055_RPM), Degrees_t(sensors, 30))));
    };
    EXPECT_EQ(of(12, 2, 8, 2), "xyratex");
    EXPECT_EQ(of(16, 3, 3, 3), "quadra");
    EXPECT_EQ(of(16, 3, 6, 4), "chenbro");
    EXPECT_EQ(of(16, 2, 3, 3), "vsc055");
    EXPECT_EQ(chassisOf(diagnosed(XYRATEX, told("quadra"))), "xyratex") << "what was told counts where it fits";
    AdapterFacts_t chosen = told("quadra");
    chosen.isChosen = true;
    EXPECT_EQ(chassisOf(diagnosed(XYRATEX, chosen)), "quadra");
}

TEST(Diagnosis, TheFileBesideTheSwitchTellsChassisAndVersion) {
    const testsupport::Folder_t folder;
    EXPECT_EQ(readAdapterFacts(folder.path("none")).chassis, nullptr);
    (void)folder.write("adapter", "chassis=W83782d\nversion=1.3.0.24\nother\n");
    const AdapterFacts_t facts = readAdapterFacts(folder.path());
    ASSERT_NE(facts.chassis, nullptr);
    EXPECT_STREQ(facts.chassis->name, "w83782d");
    EXPECT_EQ(facts.version, "1.3.0.24");
}

} // namespace
