/** How an enclosure's health is judged; which enclosure it is, and the one cause when nothing of it is known. */
#include <cstdlib>
#include <gtest/gtest.h>

#include "diagnosis.h"
#include "errors.h"
#include "folder.h"
#include "health.h"
#include "names.h"

namespace {

using Rpm_t = std::optional<unsigned>;
using Celsius_t = std::optional<int>;

Fan_t fanAt(Rpm_t rpm, bool fail = false) {
    Fan_t fan;
    fan.rpm = rpm;
    fan.off = rpm == 0U;
    fan.fail = fail;
    return fan;
}

TemperatureSensor_t sensorAt(Celsius_t celsius) {
    TemperatureSensor_t sensor;
    sensor.celsius = celsius;
    sensor.overWarning = celsius && *celsius > 55;
    sensor.overFailure = celsius && *celsius > 60;
    sensor.underWarning = celsius && *celsius < 1;
    sensor.underFailure = celsius && *celsius < 0;
    return sensor;
}

PowerSupply_t supplyWith(U8_t code, bool fail, bool acFail = false) {
    PowerSupply_t supply;
    supply.code = code;
    supply.fail = fail;
    supply.acFail = acFail;
    return supply;
}

/** Exit status, and what is wrong. */
std::string verdict(const Health_t& health) {
    std::string text = std::to_string(health.exitStatus);
    for (const Problem_t& problem : health.problems) {
        text += ": " + problem.text;
    }
    return text;
}
std::string verdict(const EnclosureStatus_t& status, const ChassisFacts_t* chassis = nullptr) {
    return verdict(assessHealth(status, chassis));
}

TEST(Health, FansAndTemperaturesAreJudgedByTheirLimitsWhichAreNamed) {
    const auto fan = [](Rpm_t rpm, bool fail = false) {
        EnclosureStatus_t status;
        status.fans = {fanAt(rpm, fail)};
        return status;
    };
    const auto sensor = [](Celsius_t celsius) {
        EnclosureStatus_t status;
        status.sensors = {sensorAt(celsius)};
        return status;
    };
    const std::pair<EnclosureStatus_t, const char*> cases[] = {
        {fan(2000), "0"},
        {fan(10230), "0"},
        {fan(1990), "8: fan0 at 1990 RPM is under its limit of 2000 RPM"},
        {fan(0), "8: fan0 stands still (limit 2000 RPM)"},
        {fan({}), "24: fan0 gives no speed reading and counts as stopped (limit 2000 RPM)"},
        {fan(2000, true), "8: fan0 at 2000 RPM is marked faulty (limit 2000 RPM)"},
        {sensor(55), "0"},
        {sensor(56), "16: temp0 at 56 C is over its warning limit of 55 C"},
        {sensor(60), "16: temp0 at 60 C is over its warning limit of 55 C"},
        {sensor(61), "24: temp0 at 61 C is over its failure limit of 60 C"},
        {sensor(1), "0"},
        {sensor(0), "16: temp0 at 0 C is under its warning limit of 1 C"},
        {sensor(-1), "24: temp0 at -1 C is under its failure limit of 0 C"},
        {sensor({}), "16: temp0 gives no reading"}};
    for (const auto& [status, text] : cases) {
        EXPECT_EQ(verdict(status), text);
    }
}

TEST(Health, AKnownChassisSaysWhatASupplysFaultIsAndWhatIsAcceptedStaysTheSame) {
    const struct {
        PowerSupply_t supply;
        const char* chassis;
        const char* verdict;
        bool isRequested;
    } cases[] = {{supplyWith(1, false), "", "0", false},
                 {supplyWith(5, true), "", "8: psu0 redundancy lost or voltage out of tolerance", false},
                 {supplyWith(5, true, true), "", "8: psu0 redundancy may be lost, input or voltage failed", false},
                 {supplyWith(5, true, true), "xyratex", "8: psu0 redundancy lost, input or voltage failed", false},
                 {supplyWith(5, true, true), "w83782d", "8: psu0 voltage out of tolerance", false},
                 {supplyWith(1, true), "", "8: psu0 fault indication switched on by command", true},
                 {supplyWith(1, true, true), "w83782d", "8: psu0 voltage out of tolerance", false}};
    for (const auto& c : cases) {
        EnclosureStatus_t status;
        status.supplies = {c.supply};
        EXPECT_EQ(verdict(status, findChassis(c.chassis)), c.verdict);
        EXPECT_EQ(supplyFailRequested(c.supply), c.isRequested) << "seen only where no failure hides it";
    }
    EnclosureStatus_t status;
    status.supplies = {supplyWith(5, true, true)};
    for (const char* chassis : {"", "w83782d"}) {
        EXPECT_EQ(assessHealth(status, findChassis(chassis)).problems.at(0).kind,
                  "redundancy may be lost, input or voltage failed");
    }
}

TEST(Health, WhatEverySupplyReportsIsOneProblem) {
    EnclosureStatus_t status;
    status.supplies.assign(3, supplyWith(5, true));
    EXPECT_EQ(verdict(status), "8: psu0-psu2 together report redundancy lost or voltage out of tolerance");
    const Problem_t problem = assessHealth(status).problems.at(0);
    EXPECT_EQ(problem.element, "psu0");
    EXPECT_EQ(problem.others, (std::vector<std::string>{"psu1", "psu2"}));
    status.supplies[1] = supplyWith(1, false);
    EXPECT_EQ(verdict(status), "8: psu0 redundancy lost or voltage out of tolerance: "
                               "psu2 redundancy lost or voltage out of tolerance");
}

TEST(Health, EmptySlotLitLedAndUnknownAlarmAreNoProblem) {
    EnclosureStatus_t status;
    status.drives = {DriveSlot_t{5, false, false}, DriveSlot_t{1, true, false}};
    status.alarms = {Alarm_t{}};
    EXPECT_EQ(verdict(status), "0");
    EXPECT_EQ(assessHealth(status).overall, CONDITION_E_OK);
    EXPECT_EQ(driveCondition(status.drives[0]), CONDITION_E_ABSENT);
}

TEST(Health, FaultsComeBeforeWarningsAndBitsAddUp) {
    EnclosureStatus_t status;
    status.sensors = {sensorAt(30), sensorAt(57)};
    status.fans = {fanAt(3000), fanAt(1000)};
    EXPECT_EQ(verdict(status), "24: fan1 at 1000 RPM is under its limit of 2000 RPM: "
                               "temp1 at 57 C is over its warning limit of 55 C");
    const Health_t health = assessHealth(status);
    EXPECT_EQ(health.overall, CONDITION_E_FAULT);
    EXPECT_EQ(health.problems.at(0).element + health.problems.at(1).element, "fan1temp1");
}

TEST(Health, ElementStatusCodesOfOtherEnclosuresCount) {
    const std::pair<DriveSlot_t, int> cases[] = {
        {{2, false, false}, 8}, {{3, false, false}, 16}, {{4, false, false}, 8}, {{1, false, true}, 8}};
    for (const auto& [drive, exitStatus] : cases) {
        EnclosureStatus_t status;
        status.drives = {drive};
        EXPECT_EQ(assessHealth(status).exitStatus, exitStatus) << +drive.code;
    }
}

TEST(Names, ANumberOrANameIsUnderstoodAndARefusalSaysWhatThereIs) {
    const struct {
        const char *prefix, *text;
        unsigned count;
        const char* meant;
    } cases[] = {
        {"slot", "3", 16, "3"},
        {"slot", "slot3", 16, "3"},
        {"slot", "slot03", 16, "3"},
        {"slot", "0", 1, "0"},
        {"fan", "fan7", 8, "7"},
        {"slot", "16", 16, "there is no slot16; this enclosure has slot00 to slot15"},
        {"slot", "-1", 16, "'-1' names no slot; this enclosure has slot00 to slot15"},
        {"fan", "", 3, "'' names no fan; this enclosure has fan0 to fan2"},
        {"psu", "fan0", 3, "'fan0' names no psu; this enclosure has psu0 to psu2"},
        {"psu", "99999999999999999999", 3, "'99999999999999999999' names no psu; this enclosure has psu0 to psu2"},
        {"fan", "0", 0, "this enclosure has no fan at all"}};
    for (const auto& c : cases) {
        try {
            EXPECT_EQ(std::to_string(parseElement(c.prefix, c.text, c.count)), c.meant);
        } catch (const ToolError_t& error) {
            EXPECT_STREQ(error.what(), c.meant);
            EXPECT_EQ(error.exitStatus(), 1);
        }
    }
}

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
constexpr unsigned VSC055_RPM = 6000;  // 100
constexpr unsigned EITHER_RPM = 5000;  // 120, 135
constexpr unsigned W83782D_RPM = 6750; // 100
Enclosure_t backplane(unsigned rpm) {
    return enclosureWith(16, 2, {rpm, rpm, rpm}, {30, {}, {}});
}

const Enclosure_t SILENT = enclosureWith(12, 2, Speeds_t(8), {{}, {}});

TEST(Diagnosis, WhereNoReadingArrivesTheOneCauseIsTold) {
    const AdapterFacts_t lastAnswered{.lastTransfer = [] { return std::string("2026-11-21T02:33:11Z"); }};
    const AdapterFacts_t neverAnswered{.lastTransfer = [] { return std::string(); }};
    const struct {
        Enclosure_t enclosure;
        AdapterFacts_t facts;
        const char* verdict;
    } cases[] = {
        {unreached(0), told("none"), "16: the adapter has no enclosure: chassis type None"},
        {unreached(0),
         {},
         "16: the adapter has no enclosure: chassis type None, or /dev/enc-0 could not be opened when it started"},
        {unreached(0), told("quadra"),
         "8: the adapter has no enclosure: /dev/enc-0 could not be opened for the quadra enclosure when it started"},
        {unreached({}), told("quadra"),
         "8: no answer on the I2C bus when the adapter started: no chip of the quadra enclosure was found; check cable "
         "and chassis type, then restart it"},
        {unreached({}),
         {},
         "8: no answer on the I2C bus when the adapter started: no chip of the enclosure was found; check cable and "
         "chassis type, then restart it"},
        {SILENT, {}, "8: no answer on the I2C bus: no fan and no sensor has a reading"},
        {SILENT, neverAnswered, "8: no answer on the I2C bus: no fan and no sensor has a reading"},
        {SILENT, lastAnswered,
         "8: no answer on the I2C bus since 2026-11-21T02:33:11Z: no fan and no sensor has a reading"}};
    for (const auto& c : cases) {
        const Enclosure_t enclosure = diagnosed(c.enclosure, c.facts);
        EXPECT_EQ(verdict(assessHealth(enclosure)), c.verdict);
        EXPECT_TRUE(isOutOfReach(c.enclosure));
        EXPECT_EQ(isUnreached(c.enclosure.configuration), c.enclosure.status.drives.size() == 16);
        EXPECT_EQ(driveCondition(enclosure.status.drives[0]), CONDITION_E_UNKNOWN);
        EXPECT_EQ(supplyCondition(enclosure.status.supplies[0]), CONDITION_E_UNKNOWN);
        EXPECT_EQ(fanCondition(enclosure.status.fans[0]), CONDITION_E_UNKNOWN);
        EXPECT_EQ(sensorCondition(enclosure.status.sensors[0]), CONDITION_E_UNKNOWN);
        EXPECT_FALSE(enclosure.status.sensors[0].celsius) << "0 degrees were never measured";
    }
    // One reading that arrives means that the bus works; a fan that stands is read.
    EXPECT_FALSE(isOutOfReach(enclosureWith(16, 3, {5000U, {}, {}}, {{}, {}, {}})));
    EXPECT_EQ(diagnosed(enclosureWith(16, 3, {{}, {}, {}}, {30, {}, {}})).cause, "");
    EXPECT_EQ(diagnosed(enclosureWith(16, 3, {0U, {}, {}}, {{}, {}, {}})).cause, "");
    EXPECT_FALSE(isOutOfReach(enclosureWith(16, 3, {}, Degrees_t(3)))) << "what it has none of is not missing";
    EXPECT_FALSE(isOutOfReach(enclosureWith(16, 3, Speeds_t(3), {})));
}

TEST(Diagnosis, TheLastTransferIsAskedOfTheAdaptersServiceWhichMayNotKnow) {
    const testsupport::Folder_t folder;
    const std::string path = std::getenv("PATH");
    setenv("PATH", (folder.path() + ":" + path).c_str(), 1);
    std::filesystem::permissions(folder.write("systemctl", "#!/bin/sh\ncat " + folder.path("said")),
                                 std::filesystem::perms::owner_all);
    const auto timeIn = [&](const char* said) {
        (void)folder.write("said", said);
        return lastTransferTime();
    };
    EXPECT_EQ(timeIn("quadra enclosure on /dev/enc-0 (bus), last transfer 2026-11-21T02:33:11Z\n"),
              "2026-11-21T02:33:11Z");
    EXPECT_EQ(timeIn("starting\n"), "");
    EXPECT_EQ(timeIn(""), "");
    setenv("PATH", path.c_str(), 1);
}

TEST(Diagnosis, SensorsThatAChassisNeverReadsAreNoMissingReadingsAndDeadOnesOfTheOtherBackplaneAre) {
    const Enclosure_t unfitted = diagnosed(backplane(W83782D_RPM));
    EXPECT_EQ(chassisOf(unfitted), "w83782d");
    EXPECT_EQ(assessHealth(unfitted).exitStatus, 0);
    EXPECT_EQ(sensorCondition(unfitted.status.sensors[1]), CONDITION_E_ABSENT);
    EXPECT_EQ(assessHealth(diagnosed(backplane(VSC055_RPM), told("vsc055"))).exitStatus, 16);
    for (const unsigned rpm : {VSC055_RPM, EITHER_RPM}) {
        const Enclosure_t unsure = diagnosed(backplane(rpm));
        EXPECT_EQ(chassisOf(unsure), "") << "readings of one, tachometers of the other or of both";
        EXPECT_EQ(assessHealth(unsure).exitStatus, 16);
    }
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
    const Enclosure_t xyratex = enclosureWith(12, 2, Speeds_t(8, 5000U), {30, 30});
    AdapterFacts_t chosen = told("quadra");
    EXPECT_EQ(chassisOf(diagnosed(xyratex, chosen)), "xyratex") << "what was told counts where it fits";
    chosen.isChosen = true;
    EXPECT_EQ(chassisOf(diagnosed(xyratex, chosen)), "quadra");
}

} // namespace
