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
    unsigned tachometerRate = 0; /**< RPM of a count of 1, of any other its share; 0: not known */
    unsigned sensorsUnread = 0;  /**< the last so many sensors are listed, and never read */
    unsigned fansPerBank = 1;    /**< fans that a command switches together */
    bool hasDriveLeds = true;
    bool hasFourSteps = true; /**< the fan policy that drives every fan fully when one has failed */
    bool fanOnIsRaw = false;  /**< "on" reaches the fan as 100 of 255 */
};

inline constexpr auto CHASSIS_LIST = std::to_array<ChassisFacts_t>({
    {VORAN_E_CHASSIS_NONE, "none", "None", "none", false, false, 0, 0, 0, 0, 0},
#define CHASSIS(number, constant, name, ...) {VORAN_E_CHASSIS_##constant, #name, __VA_ARGS__},
#include "chassis_list.def"
});

/** Whether two names are one: nobody has to know which of their letters are capitals. */
[[nodiscard]] bool isSameName(std::string_view a, std::string_view b);

/** The chassis of that type, or nullptr. */
[[nodiscard]] const ChassisFacts_t* findChassis(unsigned type);

/** The chassis of that name, either of its two and in any case; or nullptr. */
[[nodiscard]] const ChassisFacts_t* findChassis(std::string_view name);
