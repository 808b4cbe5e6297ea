/** The software's version record. */
#pragma once

#include "basetypes.h"

struct Version_Structure_t {
    U16_t major;
    U16_t minor;
    U16_t maintenance;
    U16_t build;
    CHAR_t string[32];
    CHAR_t ID[64];         /**< identity of the building account */
    CHAR_t build_time[21]; /**< such as "Oct  2 2006 13:51:16" */
};

extern Version_Structure_t Version;

/** "major.minor.maintenance.build | ID | build time", in a static buffer that the next call writes again. */
const CHAR_t* VersionFullString();
