/** Fans with inertia, and air that is heated by the drives and cooled by the fans. */
#pragma once

#include "world.h"

/**
 * The speed in RPM towards which the fan runs: at a quarter of the duty half its full speed, as server fans do; 0
 * without duty, stalled or removed.
 */
double settledRpm(const Fan_t& fan);

/** Air flow as a share of what all fans give at full speed, 0.0 to 1.0. */
double airFlow(const World_t& world);

/** The temperature the air tends to with the present heat, ambient temperature and air flow, degrees Celsius. */
double settledAir(const World_t& world);

/** Lets `seconds` (>= 0) pass. */
void advance(World_t& world, double seconds);

/** Fans at once at the speed, and sensors at the temperature, that would come with time; the air stays as it is. */
void settle(World_t& world);
