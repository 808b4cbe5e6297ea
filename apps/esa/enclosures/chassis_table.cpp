#include "enclosures/chenbro.h"
#include "enclosures/vsc055.h"
#include "enclosures/w83782d.h"
#include "enclosures/xyratex.h"

namespace {

constexpr const Chassis_t* ROWS[] = {
    &xyratexChassis, &quadraChassis, &chenbroChassis, &vsc055Chassis, &w83782dChassis,
};

} // namespace

const std::span<const Chassis_t* const> chassisTable{ROWS};
