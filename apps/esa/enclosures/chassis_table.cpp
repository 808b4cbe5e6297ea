#include "policy/chassis.h"

#define CHASSIS(number, constant, name, ...) extern const Chassis_t name##Chassis;
#include "chassis_list.def"

namespace {

constexpr const Chassis_t* ROWS[] = {
#define CHASSIS(number, constant, name, ...) &name##Chassis,
#include "chassis_list.def"
};

} // namespace

const std::span<const Chassis_t* const> chassisTable{ROWS};
