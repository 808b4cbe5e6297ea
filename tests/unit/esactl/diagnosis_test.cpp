/** Which enclosure it is, and the one cause when nothing of it is known. */
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnosis.h"
#include "folder.h"
#include "health.h"

namespace {

using testing::HasSubstr;

Enclosure_t enclosureWith(U8_t drives, U8_t supplies, std::vector<std::optional<unsigned>> rpm,
                          std::vector<std::optional<int>> celsius) {
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
    return enclosureWith(16, 3, std::vector<std::optional<unsigned>>(8), std::vector<std::optional<int>>(4, celsius));
}

std::string causeOf(Enclosure_t enclosure, const AdapterFacts_t& facts = {}) {
    diagnose(enclosure, facts);
    return enclosure.cause;
}

// 600000 and 675000 divided by a count, in steps of 10.
constexpr unsigned VSC055_RPM = 5000;  // 120
constexpr unsigned W83782D_RPM = 6750; // 100

TEST(Diagnosis, AnAdapterWithoutAnEnclosureIsOneWarning) {
    for (const AdapterFacts_t& facts : {told("none"), AdapterFacts_t{}}) {
        Enclosure_t enclosure = unreached(0);
        diagnose(enclosure, facts);
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
    EXPECT_THAT(causeOf(unreached(0), told("quadra")), HasSubstr("/dev/enc-0 could not be opened for the quadra"));
    EXPECT_THAT(causeOf(unreached({}), told("quadra")), HasSubstr("no chip of the quadra enclosure was found"));
    EXPECT_THAT(causeOf(unreached({})), HasSubstr("no chip of the enclosure was found"));
}

TEST(Diagnosis, ABusThatDoesNotAnswerIsOneFault) {
    Enclosure_t enclosure = enclosureWith(12, 2, std::vector<std::optional<unsigned>>(8), {{}, {}});
    diagnose(enclosure, {});
    const Health_t health = assessHealth(enclosure);
    EXPECT_EQ(health.exitStatus, 8);
    ASSERT_EQ(health.problems.size(), 1U);
    EXPECT_THAT(health.problems[0].text, HasSubstr("no answer on the I2C bus: no fan"));
}

TEST(Diagnosis, WhoeverKnowsWhenTheBusLastAnsweredIsAsked) {
    const Enclosure_t enclosure = enclosureWith(12, 2, std::vector<std::optional<unsigned>>(8), {{}, {}});
    EXPECT_THAT(causeOf(enclosure, {.lastTransfer = [] { return std::string("2026-11-21T02:33:11Z"); }}),
                HasSubstr("no answer on the I2C bus since 2026-11-21T02:33:11Z: no fan"));
    EXPECT_THAT(causeOf(enclosure, {.lastTransfer = [] { return std::string(); }}),
                HasSubstr("no answer on the I2C bus: no fan"));
}

TEST(Diagnosis, NothingIsKnownWhereNoReadingArrivesOrNoEnclosureWasFound) {
    EXPECT_TRUE(isOutOfReach(unreached(0)));
    EXPECT_TRUE(isUnreached(unreached({}).configuration));
    const Enclosure_t silent = enclosureWith(12, 2, std::vector<std::optional<unsigned>>(8), {{}, {}});
    EXPECT_TRUE(isOutOfReach(silent));
    EXPECT_FALSE(isUnreached(silent.configuration));
    EXPECT_FALSE(isOutOfReach(enclosureWith(16, 3, {5000U, {}, {}}, {{}, {}, {}})));
}

TEST(Diagnosis, OneReadingThatArrivesMeansThatTheBusWorks) {
    EXPECT_EQ(causeOf(enclosureWith(16, 3, {{}, {}, {}}, {30, {}, {}})), "");
    EXPECT_EQ(causeOf(enclosureWith(16, 3, {0U, {}, {}}, {{}, {}, {}})), "") << "a fan that stands has been read";
}

TEST(Diagnosis, SensorsThatAChassisNeverReadsAreNoMissingReadings) {
    Enclosure_t enclosure = enclosureWith(16, 2, {W83782D_RPM, W83782D_RPM, W83782D_RPM}, {30, {}, {}});
    diagnose(enclosure, {});
    ASSERT_NE(enclosure.chassis, nullptr);
    EXPECT_STREQ(enclosure.chassis->name, "w83782d");
    EXPECT_EQ(assessHealth(enclosure).exitStatus, 0);
    EXPECT_EQ(sensorCondition(enclosure.status.sensors[1]), CONDITION_E_ABSENT);
}

TEST(Diagnosis, DeadSensorsOfTheOtherBackplaneAreStillMissing) {
    Enclosure_t told055 = enclosureWith(16, 2, {VSC055_RPM, VSC055_RPM, VSC055_RPM}, {30, {}, {}});
    diagnose(told055, told("vsc055"));
    EXPECT_EQ(assessHealth(told055).exitStatus, 16);
    Enclosure_t unsure = enclosureWith(16, 2, {VSC055_RPM, VSC055_RPM, VSC055_RPM}, {30, {}, {}});
    diagnose(unsure, {});
    EXPECT_EQ(unsure.chassis, nullptr) << "readings of one, tachometers of the other";
    EXPECT_EQ(assessHealth(unsure).exitStatus, 16);
}

TEST(Diagnosis, EnclosuresAreMadeOutByTheirElements) {
    const struct {
        U8_t drives, supplies;
        unsigned fans, sensors;
        const char* name;
    } cases[] = {{12, 2, 8, 2, "xyratex"}, {16, 3, 3, 3, "quadra"}, {16, 3, 6, 4, "chenbro"}, {16, 2, 3, 3, "vsc055"}};
    for (const auto& c : cases) {
        Enclosure_t enclosure =
            enclosureWith(c.drives, c.supplies, std::vector<std::optional<unsigned>>(c.fans, VSC055_RPM),
                          std::vector<std::optional<int>>(c.sensors, 30));
        diagnose(enclosure, {});
        ASSERT_NE(enclosure.chassis, nullptr) << c.name;
        EXPECT_STREQ(enclosure.chassis->name, c.name);
    }
}

TEST(Diagnosis, WhatWasToldCountsOnlyWhereItFitsUnlessAPersonSaysIt) {
    Enclosure_t enclosure = enclosureWith(12, 2, std::vector<std::optional<unsigned>>(8, 5000U), {30, 30});
    diagnose(enclosure, told("quadra"));
    EXPECT_STREQ(enclosure.chassis->name, "xyratex");
    diagnose(enclosure, {.chassis = findChassis(std::string_view("quadra")), .isChosen = true});
    EXPECT_STREQ(enclosure.chassis->name, "quadra");
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
