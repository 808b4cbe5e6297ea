#include "enclosure.h"

#include <strings.h>
#include <utility>

#include "enclosures/chassis.h"
#include "physics.h"

namespace {

struct Row_t {
    const char* name;
    const char* longName; /**< as in the controller's configuration; letters may be of any case in both */
    std::unique_ptr<Enclosure_t> (*make)();
};

constexpr Row_t CHASSIS[] = {
    {"vsc055", "Vsc055", makeVsc055Backplane},    {"quadra", "Quadra", makeQuadra},
    {"xyratex", "Xyratex2U12ATX", makeXyratex},   {"chenbro", "Chenbro3U16ATX", makeChenbro},
    {"w83782d", "W83782d", makeW83782dBackplane},
};

} // namespace

Enclosure_t::Enclosure_t(std::string chassis) : chassis_(std::move(chassis)) {
    bus_.onTransfer([this](const Transfer_t&) { wire(); });
}

void Enclosure_t::advance(double seconds) {
    if (frozen_ || seconds <= 0) {
        return;
    }
    ::advance(world_, seconds);
    live(seconds);
    wire();
}

void Enclosure_t::powerOn() {
    wire();
    settle(world_);
    wire();
}

const std::vector<std::string>& chassisNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all;
        for (const Row_t& row : CHASSIS) {
            all.emplace_back(row.name);
        }
        return all;
    }();
    return names;
}

std::unique_ptr<Enclosure_t> makeEnclosure(const std::string& chassis) {
    for (const Row_t& row : CHASSIS) {
        if (strcasecmp(chassis.c_str(), row.name) == 0 || strcasecmp(chassis.c_str(), row.longName) == 0) {
            return row.make();
        }
    }
    return nullptr;
}
