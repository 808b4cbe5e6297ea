#include "version.h"

#include <cstdio>

#define TEXT_OF(value) #value
#define TEXT(value) TEXT_OF(value)

Version_Structure_t Version = {
    .major = ESA_VERSION_MAJOR,
    .minor = ESA_VERSION_MINOR,
    .maintenance = ESA_VERSION_MAINTENANCE,
    .build = ESA_VERSION_BUILD,
    .string = "Version " TEXT(ESA_VERSION_MAJOR) "." TEXT(ESA_VERSION_MINOR) "." TEXT(ESA_VERSION_MAINTENANCE) "." TEXT(
        ESA_VERSION_BUILD),
    .ID = ESA_BUILD_ACCOUNT,
    .build_time = ESA_BUILD_TIME,
};

const CHAR_t* VersionFullString() {
    static CHAR_t text[127];
    (void)std::snprintf(text, sizeof text, "%d.%d.%d.%d | %s | %s", Version.major, Version.minor, Version.maintenance,
                        Version.build, Version.ID, Version.build_time);
    return text;
}
