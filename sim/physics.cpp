#include "sim/physics.h"

#include <algorithm>
#include <cmath>

namespace encsim {
namespace {

constexpr double kFanSeconds = 2.0;    // time constant of a fan's speed
constexpr double kSensorSeconds = 3.0; // of a sensor in the air stream
constexpr double kAirJoulesPerDegree = 450.0;
constexpr double kStillWattsPerDegree = 5.0;
constexpr double kFlowWattsPerDegree = 27.5; // added by all fans at full speed
constexpr double kIdleSpeed = 0.35;          // share of the full speed at the least duty
constexpr double kLongestStep = 0.25;        // seconds

void approach(double& value, double goal, double seconds, double constant) {
    value = goal + (value - goal) * std::exp(-seconds / constant);
}

double conductance(const World& world) {
    return kStillWattsPerDegree + kFlowWattsPerDegree * airFlow(world);
}

double settledSensor(const World& world, const Sensor& sensor) {
    return sensor.set.value_or(world.air + sensor.offset);
}

void step(World& world, double seconds) {
    for (Fan& fan : world.fans) {
        if (fan.state == FanState::Removed) {
            fan.rpm = 0;
        }
        approach(fan.rpm, settledRpm(fan), seconds, kFanSeconds);
    }
    approach(world.air, settledAir(world), seconds, kAirJoulesPerDegree / conductance(world));
    for (Sensor& sensor : world.sensors) {
        if (sensor.set) {
            sensor.celsius = *sensor.set;
        }
        approach(sensor.celsius, settledSensor(world, sensor), seconds, kSensorSeconds);
    }
    world.seconds += seconds;
}

} // namespace

double settledRpm(const Fan& fan) {
    if (fan.duty <= 0 || fan.state == FanState::Stalled || fan.state == FanState::Removed) {
        return 0;
    }
    const double healthy = fan.maxRpm * (kIdleSpeed + (1.0 - kIdleSpeed) * fan.duty);
    return fan.state == FanState::Worn ? healthy * fan.wornTo : healthy;
}

double airFlow(const World& world) {
    double now = 0;
    double full = 0;
    for (const Fan& fan : world.fans) {
        now += fan.rpm;
        full += fan.maxRpm;
    }
    return full > 0 ? std::min(now / full, 1.0) : 0.0;
}

double settledAir(const World& world) {
    return world.ambient + world.heatWatts / conductance(world);
}

void advance(World& world, double seconds) {
    while (seconds > 0) {
        const double part = std::min(seconds, kLongestStep);
        step(world, part);
        seconds -= part;
    }
}

void settle(World& world) {
    for (Fan& fan : world.fans) {
        fan.rpm = settledRpm(fan);
    }
    for (Sensor& sensor : world.sensors) {
        sensor.celsius = settledSensor(world, sensor);
    }
}

} // namespace encsim
