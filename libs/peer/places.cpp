#include "places.h"

#include <cstdlib>

std::string fromEnvironment(const char* name, const char* otherwise) {
    const char* const value = std::getenv(name);
    return value != nullptr && *value != '\0' ? value : otherwise;
}

std::string switchDirectory() {
    return fromEnvironment("ESA_MMSG_DIRECTORY", PLACES_K_SWITCH);
}

std::string stateDirectory() {
    return fromEnvironment("ESA_STATE_DIRECTORY", PLACES_K_STATE);
}
