/**
 * An enclosure that nobody has built: two fans, four drives, one supply, one sensor and an alarm behind one made-up
 * chip. It is added the way any new family is, by a driver and a row.
 */
#pragma once

#include "policy/chassis.h"

extern const Chassis_t toyChassis;
