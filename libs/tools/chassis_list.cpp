#include "chassis_list.h"

#include <algorithm>
#include <strings.h>

namespace {

template <typename Matches>
const ChassisFacts_t* find(Matches&& matches) {
    const auto* const found = std::ranges::find_if(CHASSIS_LIST, matches);
    return found == CHASSIS_LIST.end() ? nullptr : found;
}

} // namespace

bool isSameName(std::string_view a, std::string_view b) {
    return a.size() == b.size() && ::strncasecmp(a.data(), b.data(), a.size()) == 0;
}

const ChassisFacts_t* findChassis(unsigned type) {
    return find([type](const ChassisFacts_t& chassis) { return chassis.type == type; });
}

const ChassisFacts_t* findChassis(std::string_view name) {
    return find([name](const ChassisFacts_t& chassis) {
        return isSameName(chassis.name, name) || isSameName(chassis.blockName, name);
    });
}
