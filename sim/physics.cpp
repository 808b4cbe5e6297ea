#include "physics.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double FAN_SECONDS = 2.0;    // time constant of a fan's speed
constexpr double SENSOR_SECONDS = 3.0; // of a sensor in the air stream
constexpr double AIR_JOULES_PER_DEGREE = 450.0;
constexpr double STILL_WATTS_PER_DEGREE = 5.0;
constexpr double FLOW_WATTS_PER_DEGREE = 27.5; // added by all fans at full speed
constexpr double IDLE_SPEED = 0.35;            // share of the full speed at the least duty
constexpr double LONGEST_STEP = 0.25;          // seconds

void approach(double& value, double goal, double seconds, double constant) {
    value = goal + (value - goal) * std::exp(-seconds / constant);
}

double conductance(const World_t& world) {
    return STILL_WATTS_PER_DEGREE + FLOW_WATTS_PER_DEGREE * airFlow(world);
}

double settledSensor(const World_t& world, const Sensor_t& sensor) {
    return sensor.set.value_or(world.air + sensor.offset);
}

void step(World_t& world, double seconds) {
    for (Fan_t& fan : world.fans) {
        if (fan.state == FanState_e::REMOVED) {
            fan.rpm = 0;
        }
        approach(fan.rpm, settledRpm(fan), seconds, FAN_SECONDS);
    }
    approach(world.air, settledAir(world), seconds, AIR_JOULES_PER_DEGREE / conductance(world));
    for (Sensor_t& sensor : world.sensors) {
        if (sensor.set) {
            sensor.celsius = *sensor.set;
        }
        approach(sensor.celsius, settledSensor(world, sensor), seconds, SENSOR_SECONDS);
    }
    world.seconds += seconds;
}

} // namespace

double settledRpm(const Fan_t& fan) {
    if (fan.duty <= 0 || fan.state == FanState_e::STALLED || fan.state == FanState_e::REMOVED) {
        return 0;
    }
    const double healthy = fan.maxRpm * (IDLE_SPEED + (1.0 - IDLE_SPEED) * fan.duty);
    return fan.state == FanState_e::WORN ? healthy * fan.wornTo : healthy;
}

double airFlow(const World_t& world) {
    double now = 0;
    double full = 0;
    for (const Fan_t& fan : world.fans) {
        now += fan.rpm;
        full += fan.maxRpm;
    }
    return full > 0 ? std::min(now / full, 1.0) : 0.0;
}

double settledAir(const World_t& world) {
    return world.ambient + world.heatWatts / conductance(world);
}

void advance(World_t& world, double seconds) {
    while (seconds > 0) {
        const double part = std::min(seconds, LONGEST_STEP);
        step(world, part);
        seconds -= part;
    }
}

void settle(World_t& world) {
    for (Fan_t& fan : world.fans) {
        fan.rpm = settledRpm(fan);
    }
    for (Sensor_t& sensor : world.sensors) {
        sensor.celsius = settledSensor(world, sensor);
    }
}
