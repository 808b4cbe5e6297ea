/** System and platform calls of the adapter, which the linker leads to the world while a life is lived. */
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>

#include "life.h"
#include "mpu_gbl.h"
#include "simulated_world.h"

namespace model {

/** While it lives, calls go to the world; at other times to the system. */
class CallsToWorld_t {
public:
    CallsToWorld_t(SimulatedWorld_t& world, const Life_t& life);
    CallsToWorld_t(const CallsToWorld_t&) = delete;
    CallsToWorld_t& operator=(const CallsToWorld_t&) = delete;
    ~CallsToWorld_t();
};

SimulatedWorld_t& currentWorld();
/** Whether the library is about to attach the parameter block. */
bool attaching();

/**
 * The adapter's waits from now on are the system's own, in real time, on the life's socket; the world only counts them.
 * `waited` hears of each that is over. An empty function gives the waits back to the world.
 */
void waitForReal(std::function<void(bool readable)> waited);

/* What the calls need of the adapter's side. */

MPU_PARAMS_t& sharedBlock();
FILE* openTraceLog();
/** The low 32 bits of the send buffer's address. */
std::uint32_t sendBufferAddress();
/** Goes back to where the life was started, past all that the adapter has on its stack. */
[[noreturn]] void leaveLife();

} // namespace model
