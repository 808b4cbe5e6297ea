/** The physical model: plausible directions and times, stepped, never waited for. */
#include "physics.h"

#include <gtest/gtest.h>

#include "enclosure.h"

namespace {

World_t threeFans(double duty) {
    World_t world;
    world.fans.resize(3, Fan_t{.maxRpm = 9000, .duty = duty});
    world.sensors.resize(1);
    settle(world);
    return world;
}

TEST(Physics, SettledSpeedRisesWithDutyAndAWornFanReachesItsShare) {
    double last = 0;
    for (const double duty : {0.03, 0.25, 0.5, 0.75, 1.0}) {
        const double rpm = settledRpm(Fan_t{.maxRpm = 9000, .duty = duty});
        EXPECT_GT(rpm, last);
        last = rpm;
    }
    EXPECT_DOUBLE_EQ(last, 9000);
    EXPECT_DOUBLE_EQ(settledRpm(Fan_t{.maxRpm = 9000, .duty = 0}), 0);
    EXPECT_DOUBLE_EQ(settledRpm(Fan_t{.maxRpm = 9000, .duty = 0.5, .state = FanState_e::WORN, .wornTo = 0.4}), 2430);
}

TEST(Physics, EveryFanIsHealthyAtEveryDutyItsChassisUses) {
    const struct {
        const char* chassis;
        double leastDuty;
        double slowestMeasurable; // just fits the 8-bit count with that chassis' divisor
    } rows[] = {{"vsc055", 0.5, 1200000 / (254.0 * 2)},
                {"quadra", 0.5, 2000},
                {"xyratex", 0.25, 1200000 / 254.0},
                {"w83782d", 0.25, 675000 / 254.0},
                {"chenbro", 0.25, 675000 / 254.0}};
    for (const auto& row : rows) {
        const auto enclosure = makeEnclosure(row.chassis);
        for (Fan_t fan : enclosure->world().fans) {
            fan.duty = row.leastDuty;
            EXPECT_GT(settledRpm(fan), row.slowestMeasurable) << row.chassis;
            EXPECT_GT(settledRpm(fan), 2000) << row.chassis;
        }
    }
}

TEST(Physics, FanApproachesItsSpeedWithInertia) {
    World_t world = threeFans(1.0);
    world.fans[0].duty = 0.5;
    advance(world, 0.1);
    EXPECT_GT(world.fans[0].rpm, 8700);
    advance(world, 1.9);
    EXPECT_NEAR(world.fans[0].rpm, 6075 + 2925 * 0.3679, 20);
    advance(world, 20);
    EXPECT_NEAR(world.fans[0].rpm, 6075, 1);
    EXPECT_DOUBLE_EQ(world.fans[1].rpm, 9000);
}

TEST(Physics, StalledFanRunsDownAndRecoversAndARemovedOneStopsAtOnce) {
    World_t world = threeFans(0.5);
    world.fans[2].state = FanState_e::STALLED;
    advance(world, 30);
    EXPECT_LT(world.fans[2].rpm, 1);
    world.fans[2].state = FanState_e::OK;
    advance(world, 30);
    EXPECT_NEAR(world.fans[2].rpm, 6075, 1);
    world.fans[2].state = FanState_e::REMOVED;
    advance(world, 0.01);
    EXPECT_DOUBLE_EQ(world.fans[2].rpm, 0);
}

TEST(Physics, DefaultHeatSettlesNear30Degrees) {
    for (const double duty : {0.25, 0.5, 0.75, 1.0}) {
        World_t world = threeFans(duty);
        advance(world, 600);
        EXPECT_NEAR(world.air, 30.0, 2.5) << duty;
    }
}

TEST(Physics, MoreHeatIsWarmerMoreAirIsCooler) {
    World_t world = threeFans(0.5);
    const double normal = settledAir(world);
    world.heatWatts *= 2;
    const double hot = settledAir(world);
    EXPECT_GT(hot, normal);
    world.fans[0].rpm = 0;
    const double stalled = settledAir(world);
    EXPECT_GT(stalled, hot);
    world.ambient += 10;
    EXPECT_NEAR(settledAir(world), stalled + 10, 1e-9);
}

TEST(Physics, TemperatureRisesWithoutOvershoot) {
    World_t world = threeFans(0.5);
    world.heatWatts = 800;
    const double goal = settledAir(world);
    double last = world.air;
    for (int i = 0; i < 200; ++i) {
        advance(world, 1);
        EXPECT_GE(world.air, last);
        EXPECT_LE(world.air, goal);
        last = world.air;
    }
    EXPECT_NEAR(last, goal, 0.1);
}

TEST(Physics, OverheatsAndRecoversWithinAMinuteEachAndASensorFollowsTheAirUnlessItIsHeld) {
    World_t world = threeFans(1.0);
    world.heatWatts = 1600;
    advance(world, 5);
    EXPECT_LT(world.sensors[0].celsius, world.air);
    EXPECT_GT(world.sensors[0].celsius, 30);
    advance(world, 55);
    EXPECT_GT(world.sensors[0].celsius, 61);
    world.heatWatts = 190;
    advance(world, 60);
    EXPECT_LT(world.sensors[0].celsius, 44);
    world.sensors[0].set = -12.5;
    advance(world, 5);
    EXPECT_DOUBLE_EQ(world.sensors[0].celsius, -12.5);
}

TEST(Physics, ManySmallStepsEqualOneLargeOne) {
    World_t once = threeFans(1.0);
    World_t often = threeFans(1.0);
    once.fans[0].duty = often.fans[0].duty = 0.25;
    once.heatWatts = often.heatWatts = 900;
    advance(once, 10);
    for (int i = 0; i < 200; ++i) {
        advance(often, 0.05);
    }
    EXPECT_NEAR(once.air, often.air, 0.2);
    EXPECT_NEAR(once.fans[0].rpm, often.fans[0].rpm, 1);
    EXPECT_NEAR(once.seconds, often.seconds, 1e-6);
}

TEST(Physics, WithoutFansTheAirIsStillFinite) {
    World_t world;
    advance(world, 100);
    EXPECT_NEAR(settledAir(world), 22 + 190 / 5.0, 1e-9);
    EXPECT_GT(world.air, 30);
}

} // namespace
