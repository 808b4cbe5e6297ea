/** The chassis as the tools know them: by what they are called and told apart. */
#pragma once

#include <array>
#include <string_view>

#include "mpu_gbl.h"

struct ChassisFacts_t {
    VORAN_E_CHASSIS_e type;
    const char* name;       /**< on command lines and in documents */
    const char* blockName;  /**< in the parameter block's text file; taken wherever `name` is */
    const char* title;      /**< for a person who reads along */
    bool watchesVoltage;    /**< supply events tell whether the voltages are good */
    bool watchesRedundancy; /**< supply events tell whether the supplies are redundant */
    unsigned drives;
    unsigned supplies;
    unsigned fans;
    unsigned sensors;
    unsigned leastRpm; /**< slowest turning fan its tachometers can report: in the status page's steps of 10 */
};

inline constexpr auto CHASSIS_LIST = std::to_array<ChassisFacts_t>({
    {VORAN_E_CHASSIS_NONE, "none", "None", "none", false, false, 0, 0, 0, 0, 0},
#define CHASSIS(number, constant, name, ...) {VORAN_E_CHASSIS_##constant, #name, __VA_ARGS__},
#include "chassis_list.def"
});

/** The chassis of that type, or nullptr. */
[[nodiscard]] const ChassisFacts_t* findChassis(unsigned type);

/** The chassis of that name, either of its two and in any case; or nullptr. */
[[nodiscard]] const ChassisFacts_t* findChassis(std::string_view name);
