/** The chassis as the tools know them: the one place that names them and says by what they are told apart. */
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
    unsigned leastRpm; /**< slowest turning fan its tachometers can report: count 254, in the record's steps of 10 */
    unsigned tachometerRate; /**< RPM of a count of 1; any other count gives the whole part of its share */
    unsigned sensorsRead;    /**< sensors that the adapter reads; it lists the others and never has a reading */
    unsigned fansPerBank;    /**< fans that a command switches together */
    bool hasDriveLeds;
    bool hasFourSteps; /**< fan policy with four steps, which drives every fan fully when one has failed */
    bool fanOnIsRaw;   /**< "on" reaches the fan as 100 of 255 */
};

inline constexpr std::array<ChassisFacts_t, 6> CHASSIS_LIST{{
    {VORAN_E_CHASSIS_NONE, "none", "None", "none", false, false, 0, 0, 0, 0, 0, 0, 0, 1, false, false, false},
    // 1200000 / count
    {VORAN_E_CHASSIS_XYRATEX_2U12ATX, "xyratex", "Xyratex2U12ATX", "Xyratex 2U12", true, true, 12, 2, 8, 2, 4720,
     1200000, 2, 4, true, true, false},
    // 1200000 / (4 x count)
    {VORAN_E_CHASSIS_TELMA_QUADRA, "quadra", "Quadra", "VSC055 Quadra", false, true, 16, 3, 3, 3, 1180, 300000, 3, 1,
     true, false, false},
    // 1350000 / (2 x count)
    {VORAN_E_CHASSIS_CHENBRO_3U16ATX, "chenbro", "Chenbro3U16ATX", "Chenbro 3U16", true, false, 16, 3, 6, 4, 2650,
     675000, 4, 1, false, true, false},
    // 1200000 / (2 x count)
    {VORAN_E_CHASSIS_VORAN_VSC055, "vsc055", "Vsc055", "VSC055 backplane", false, true, 16, 2, 3, 3, 2360, 600000, 3, 1,
     true, false, false},
    // 1350000 / (2 x count)
    {VORAN_E_CHASSIS_VORAN_W83782D, "w83782d", "W83782d", "W83782D backplane", true, false, 16, 2, 3, 3, 2650, 675000,
     1, 1, false, true, true},
}};

/** The chassis of that type, or nullptr. */
[[nodiscard]] const ChassisFacts_t* findChassis(unsigned type);

/** The chassis of that name, either of its two and in any case; or nullptr. */
[[nodiscard]] const ChassisFacts_t* findChassis(std::string_view name);
