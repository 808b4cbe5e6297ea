#include "enclosure.h"

#include <utility>

#include "enclosures/chassis.h"
#include "physics.h"

namespace {

struct Row_t {
    const char* name;
    std::unique_ptr<Enclosure_t> (*make)();
};

constexpr Row_t ROWS[] = {
#define CHASSIS(name, make) {name, make},
#include "enclosures/chassis_list.def"
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
        for (const Row_t& row : ROWS) {
            all.emplace_back(row.name);
        }
        return all;
    }();
    return names;
}

std::unique_ptr<Enclosure_t> makeEnclosure(std::string_view chassis) {
    for (const Row_t& row : ROWS) {
        if (chassis == row.name) {
            return row.make();
        }
    }
    return nullptr;
}
