/** An adapter that had no answer when it started never asks again: it is started anew when the bus is back. */
#pragma once

#include <sys/types.h>

#include "policy/chassis.h"

/**
 * Looks once a second, without disturbing it, what the adapter `process` makes of the bus at `device`. Returns when the
 * adapter drives it, or has ended. When the adapter has asked and had no answer, and the enclosure answers later, puts
 * its fans to full speed and ends the adapter, for the service manager to start it again.
 */
void watchAdapter(const Chassis_t& chassis, const CHAR_t* device, pid_t process);
