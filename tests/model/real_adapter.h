/** The adapter itself, the same code as in the product, living in a world of this process. */
#pragma once

#include "adapter.h"
#include "life.h"
#include "simulated_world.h"

namespace model {

/**
 * Lives the whole life: from the process' start to the world's end of it, or to the adapter's own. One life at a time;
 * every life starts with the memory of a new process.
 */
void liveReal(const Life_t& life, SimulatedWorld_t& world);

/** What the adapter remembers now. */
State_t realState();

} // namespace model
