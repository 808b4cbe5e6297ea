/** Fan speeds beyond what a status record can hold. */
#pragma once

#include "pages.h"

/**
 * The speed, in RPM, of a fan whose record says `reported`. A record holds speeds below 10240 RPM; of a faster one it
 * holds what is left over. A tachometer counts pulses in one byte, so it cannot report any speed below a least one but
 * standing still: a lesser value is a left-over. Enclosures are told apart by their element counts; in one that is not
 * known `reported` is taken as it is.
 */
unsigned fanSpeedRpm(unsigned reported, const Configuration_t& configuration);
