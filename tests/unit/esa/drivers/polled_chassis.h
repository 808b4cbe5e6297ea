/** The chassis of the table, as the tests of double faults know them. */
#pragma once

#include "poll_model.h"

extern const std::vector<PolledChassis> polledChassis;
