#include "adapter.h"
#include "comparison.h"

namespace model {

void liveModel(const Life_t& life, SimulatedWorld_t& world) {
    Adapter_t adapter(world);
    world.remembered = [&adapter] { return describe(adapter.state); };
    try {
        world.ended("exit " + std::to_string(adapter.main(life.arguments)));
    } catch (const EndOfLife_t&) {
        world.takeSnapshot();
    }
    world.remembered = nullptr;
}

} // namespace model
