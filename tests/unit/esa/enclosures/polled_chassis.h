/** The chassis of the table, as the tests of double faults know them. */
#pragma once

#include "poll_model.h"

extern const std::vector<PolledChassis> polledChassis;

/** Puts what an enclosure shows into the registers of the fake bus. */
void show(const PolledChassis& chassis, const PolledInputs& inputs);

/** Records the device addresses that the start-up of the adapter records for a chassis. */
void recordAddresses(const PolledChassis& chassis);
