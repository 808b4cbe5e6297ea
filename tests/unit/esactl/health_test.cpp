#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "health.h"

namespace {

Fan_t fanAt(std::optional<unsigned> rpm) {
    Fan_t fan;
    fan.rpm = rpm;
    fan.off = rpm == 0U;
    return fan;
}

TemperatureSensor_t sensorAt(std::optional<int> celsius) {
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

struct Verdict_t {
    int exitStatus;
    std::string text;
};

Verdict_t verdictOf(const EnclosureStatus_t& status) {
    const Health_t health = assessHealth(status);
    EXPECT_LE(health.problems.size(), 1U);
    return {health.exitStatus, health.problems.empty() ? "" : health.problems[0].text};
}

Verdict_t fanVerdict(const Fan_t& fan) {
    EnclosureStatus_t status;
    status.fans = {fan};
    return verdictOf(status);
}

Verdict_t sensorVerdict(std::optional<int> celsius) {
    EnclosureStatus_t status;
    status.sensors = {sensorAt(celsius)};
    return verdictOf(status);
}

Verdict_t supplyVerdict(const PowerSupply_t& supply) {
    EnclosureStatus_t status;
    status.supplies = {supply};
    return verdictOf(status);
}

TEST(Health, FanIsHealthyFrom2000Rpm) {
    EXPECT_EQ(fanVerdict(fanAt(2000)).exitStatus, 0);
    EXPECT_EQ(fanVerdict(fanAt(10230)).exitStatus, 0);
    EXPECT_EQ(fanVerdict(fanAt(1990)).exitStatus, 8);
    EXPECT_EQ(fanVerdict(fanAt(1990)).text, "fan0 at 1990 RPM is under its limit of 2000 RPM");
}

TEST(Health, FanThatStandsStillIsAFault) {
    EXPECT_EQ(fanVerdict(fanAt(0)).exitStatus, 8);
    EXPECT_EQ(fanVerdict(fanAt(0)).text, "fan0 stands still (limit 2000 RPM)");
}

TEST(Health, FanWithoutReadingIsAFaultAndAMissingReading) {
    EXPECT_EQ(fanVerdict(fanAt({})).exitStatus, 24);
    EXPECT_EQ(fanVerdict(fanAt({})).text, "fan0 gives no speed reading and counts as stopped (limit 2000 RPM)");
}

TEST(Health, FanMarkedByItsChassisIsAFaultAtAnySpeed) {
    Fan_t fan = fanAt(2000);
    fan.fail = true;
    EXPECT_EQ(fanVerdict(fan).exitStatus, 8);
    EXPECT_EQ(fanVerdict(fan).text, "fan0 at 2000 RPM is marked faulty (limit 2000 RPM)");
}

TEST(Health, TemperatureMessagesNameTheLimitThatIsBroken) {
    EXPECT_EQ(sensorVerdict(55).exitStatus, 0);
    EXPECT_EQ(sensorVerdict(56).exitStatus, 16);
    EXPECT_EQ(sensorVerdict(56).text, "temp0 at 56 C is over its warning limit of 55 C");
    EXPECT_EQ(sensorVerdict(60).exitStatus, 16);
    EXPECT_EQ(sensorVerdict(61).exitStatus, 24);
    EXPECT_EQ(sensorVerdict(61).text, "temp0 at 61 C is over its failure limit of 60 C");
    EXPECT_EQ(sensorVerdict(1).exitStatus, 0);
    EXPECT_EQ(sensorVerdict(0).exitStatus, 16);
    EXPECT_EQ(sensorVerdict(0).text, "temp0 at 0 C is under its warning limit of 1 C");
    EXPECT_EQ(sensorVerdict(-1).exitStatus, 24);
    EXPECT_EQ(sensorVerdict(-1).text, "temp0 at -1 C is under its failure limit of 0 C");
}

TEST(Health, MissingTemperatureIsAWarning) {
    EXPECT_EQ(sensorVerdict({}).exitStatus, 16);
    EXPECT_EQ(sensorVerdict({}).text, "temp0 gives no reading");
}

TEST(Health, SupplyFaultsAreSpeltOut) {
    EXPECT_EQ(supplyVerdict(supplyWith(1, false)).exitStatus, 0);
    EXPECT_EQ(supplyVerdict(supplyWith(5, true)).exitStatus, 8);
    EXPECT_EQ(supplyVerdict(supplyWith(5, true)).text, "psu0 redundancy lost or voltage out of tolerance");
    EXPECT_EQ(supplyVerdict(supplyWith(5, true, true)).text, "psu0 redundancy may be lost, input or voltage failed");
    EXPECT_EQ(supplyVerdict(supplyWith(1, true)).text, "psu0 fault indication switched on by command");
}

TEST(Health, WhatEverySupplyReportsIsOneProblem) {
    EnclosureStatus_t status;
    status.supplies = {supplyWith(5, true), supplyWith(5, true), supplyWith(5, true)};
    Health_t health = assessHealth(status);
    ASSERT_EQ(health.problems.size(), 1U);
    EXPECT_EQ(health.problems[0].text, "psu0-psu2 together report redundancy lost or voltage out of tolerance");
    EXPECT_EQ(health.problems[0].element, "psu0");
    EXPECT_EQ(health.problems[0].others, (std::vector<std::string>{"psu1", "psu2"}));
    status.supplies[1] = supplyWith(1, false);
    health = assessHealth(status);
    ASSERT_EQ(health.problems.size(), 2U);
    EXPECT_EQ(health.problems[1].text, "psu2 redundancy lost or voltage out of tolerance");
}

TEST(Health, AKnownChassisSaysWhatASupplysFaultIsAndWhatIsAcceptedStaysTheSame) {
    EnclosureStatus_t status;
    status.supplies = {supplyWith(5, true, true)};
    const char* const kind = "redundancy may be lost, input or voltage failed";
    EXPECT_EQ(assessHealth(status).problems[0].kind, kind);
    EXPECT_EQ(assessHealth(status, findChassis("xyratex")).problems[0].text,
              "psu0 redundancy lost, input or voltage failed");
    EXPECT_EQ(assessHealth(status, findChassis("w83782d")).problems[0].text, "psu0 voltage out of tolerance");
    EXPECT_EQ(assessHealth(status, findChassis("w83782d")).problems[0].kind, kind);
}

TEST(Health, FailRequestIsTakenAsSeenOnlyWhereNoFailureHidesIt) {
    EXPECT_TRUE(supplyFailRequested(supplyWith(1, true)));
    EXPECT_FALSE(supplyFailRequested(supplyWith(1, false)));
    EXPECT_FALSE(supplyFailRequested(supplyWith(5, true)));
    EXPECT_FALSE(supplyFailRequested(supplyWith(1, true, true)));
}

TEST(Health, EmptySlotAndLitLedAreNoProblem) {
    EnclosureStatus_t status;
    status.drives = {DriveSlot_t{5, false, false}, DriveSlot_t{1, true, false}};
    EXPECT_EQ(assessHealth(status).exitStatus, 0);
    EXPECT_EQ(assessHealth(status).overall, CONDITION_E_OK);
    EXPECT_EQ(driveCondition(status.drives[0]), CONDITION_E_ABSENT);
}

TEST(Health, UnknownAlarmIsNoProblem) {
    EnclosureStatus_t status;
    status.alarms = {Alarm_t{}};
    EXPECT_EQ(assessHealth(status).exitStatus, 0);
}

TEST(Health, FaultsComeBeforeWarningsAndBitsAddUp) {
    EnclosureStatus_t status;
    status.sensors = {sensorAt(30), sensorAt(57)};
    status.fans = {fanAt(3000), fanAt(1000)};
    const Health_t health = assessHealth(status);
    EXPECT_EQ(health.exitStatus, 24);
    EXPECT_EQ(health.overall, CONDITION_E_FAULT);
    ASSERT_EQ(health.problems.size(), 2U);
    EXPECT_EQ(health.problems[0].element, "fan1");
    EXPECT_EQ(health.problems[1].element, "temp1");
}

TEST(Health, ElementStatusCodesOfOtherEnclosuresCount) {
    EnclosureStatus_t status;
    status.drives = {DriveSlot_t{2, false, false}};
    EXPECT_EQ(assessHealth(status).exitStatus, 8);
    status.drives = {DriveSlot_t{3, false, false}};
    EXPECT_EQ(assessHealth(status).exitStatus, 16);
    status.drives = {DriveSlot_t{4, false, false}};
    EXPECT_EQ(assessHealth(status).exitStatus, 8);
    status.drives = {DriveSlot_t{1, false, true}};
    EXPECT_EQ(assessHealth(status).exitStatus, 8);
}

} // namespace
