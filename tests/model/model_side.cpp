#include "adapter.h"
#include "comparison.h"

namespace model {

void liveModel(const Life_t& life, SimulatedWorld_t& world) {
    Adapter_t adapter(world);
    Changes_t changes;
    world.remembered = [&] { return changes.until(adapter.state); };
    try {
        world.ended("exit " + std::to_string(adapter.main(life.arguments)));
    } catch (const EndOfLife_t&) {
        world.takeSnapshot();
    }
    world.remembered = nullptr;
}

} // namespace model
