#include "sim/enclosure.h"

#include "sim/enclosures/chassis.h"
#include "sim/physics.h"

#include <utility>

namespace encsim {
namespace {

struct Row {
    const char* name;
    std::unique_ptr<Enclosure> (*make)();
};

constexpr Row kChassis[] = {
    {"vsc055", makeVsc055Backplane},   {"quadra", makeQuadra}, {"xyratex", makeXyratex}, {"chenbro", makeChenbro},
    {"w83782d", makeW83782dBackplane},
};

} // namespace

Enclosure::Enclosure(std::string chassis) : chassis_(std::move(chassis)) {
    bus_.onTransfer([this](const Transfer&) { wire(); });
}

void Enclosure::advance(double seconds) {
    if (frozen_ || seconds <= 0) {
        return;
    }
    encsim::advance(world_, seconds);
    live(seconds);
    wire();
}

void Enclosure::powerOn() {
    wire();
    settle(world_);
    wire();
}

const std::vector<std::string>& chassisNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all;
        for (const Row& row : kChassis) {
            all.emplace_back(row.name);
        }
        return all;
    }();
    return names;
}

std::unique_ptr<Enclosure> makeEnclosure(std::string_view chassis) {
    for (const Row& row : kChassis) {
        if (chassis == row.name) {
            return row.make();
        }
    }
    return nullptr;
}

} // namespace encsim
