#include "adapter.h"
#include "comparison.h"

namespace model {

void liveModel(const Life& life, SimulatedWorld& world) {
    Adapter adapter(world);
    world.remembered = [&adapter] { return describe(adapter.state); };
    try {
        world.ended("exit " + std::to_string(adapter.main(life.arguments)));
    } catch (const EndOfLife&) {
        world.takeSnapshot();
    }
    world.remembered = nullptr;
}

} // namespace model
