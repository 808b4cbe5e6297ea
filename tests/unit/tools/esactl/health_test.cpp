/** How an enclosure's health is judged, and what names its elements have. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "errors.h"
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
std::string verdict(const EnclosureStatus_t& status, const ChassisFacts_t* chassis = nullptr) {
    const Health_t health = assessHealth(status, chassis);
    std::string text = std::to_string(health.exitStatus);
    for (const Problem_t& problem : health.problems) {
        text += ": " + problem.text;
    }
    return text;
}

TEST(Health, FansAreJudgedByTheirLimitAndTheirMark) {
    const struct {
        Rpm_t rpm;
        bool fail;
        const char* verdict;
    } cases[] = {{2000, false, "0"},
                 {10230, false, "0"},
                 {1990, false, "8: fan0 at 1990 RPM is under its limit of 2000 RPM"},
                 {0, false, "8: fan0 stands still (limit 2000 RPM)"},
                 {{}, false, "24: fan0 gives no speed reading and counts as stopped (limit 2000 RPM)"},
                 {2000, true, "8: fan0 at 2000 RPM is marked faulty (limit 2000 RPM)"}};
    for (const auto& c : cases) {
        EnclosureStatus_t status;
        status.fans = {fanAt(c.rpm, c.fail)};
        EXPECT_EQ(verdict(status), c.verdict);
    }
}

TEST(Health, TemperatureMessagesNameTheLimitThatIsBroken) {
    const struct {
        Celsius_t celsius;
        const char* verdict;
    } cases[] = {{55, "0"},
                 {56, "16: temp0 at 56 C is over its warning limit of 55 C"},
                 {60, "16: temp0 at 60 C is over its warning limit of 55 C"},
                 {61, "24: temp0 at 61 C is over its failure limit of 60 C"},
                 {1, "0"},
                 {0, "16: temp0 at 0 C is under its warning limit of 1 C"},
                 {-1, "24: temp0 at -1 C is under its failure limit of 0 C"},
                 {{}, "16: temp0 gives no reading"}};
    for (const auto& c : cases) {
        EnclosureStatus_t status;
        status.sensors = {sensorAt(c.celsius)};
        EXPECT_EQ(verdict(status), c.verdict);
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

TEST(Names, OneNamePerElement) {
    EXPECT_EQ(slotName(3) + slotName(15) + supplyName(0) + fanName(7) + sensorName(2) + alarmName(0),
              "slot03slot15psu0fan7temp2alarm0");
}

TEST(Names, ANumberOrANameIsUnderstoodAndARefusalSaysWhatThereIs) {
    const struct {
        const char* prefix;
        const char* text;
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

} // namespace
