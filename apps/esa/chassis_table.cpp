#include "chassis.h"
#include "drivers/chenbro.h"
#include "drivers/vsc055.h"
#include "drivers/w83782d.h"
#include "drivers/xyratex.h"

namespace {

constexpr const Chassis_t* ROWS[] = {
    &xyratexChassis, &quadraChassis, &chenbroChassis, &vsc055Chassis, &w83782dChassis,
};

} // namespace

const std::span<const Chassis_t* const> chassisTable{ROWS};
