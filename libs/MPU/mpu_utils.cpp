#include <cstring>

#include <unistd.h>

#include "osdep.h"
#include "trace.h"

namespace {

constexpr U8_t BREAKPOINT_MODULE = 1;

constexpr std::size_t LONGEST_LINK = 4095;
constexpr std::size_t LONGEST_ZONE = 32;
constexpr std::size_t ZONE_DIRECTORY_LENGTH = sizeof "/usr/share/zoneinfo/" - 1;

} // namespace

void MPU_lzero(U32_t* buffer, U32_t count) {
    std::memset(buffer, 0, count * sizeof *buffer);
}

void MPU_breakpoint() {
    if (BREAKPOINT_MODULE >= traceData.numModLevels) {
        return; // a process with one module has no such level word
    }
    TRACE_ENTER(BREAKPOINT_MODULE, "BREAKPOINT");
    TRACE_RETURN(BREAKPOINT_MODULE, "BREAKPOINT");
}

const CHAR_t* get_tz() {
    static thread_local CHAR_t zone[LONGEST_ZONE + 1];
    CHAR_t target[LONGEST_LINK];
    const ssize_t length = readlink("/etc/localtime", target, sizeof target);
    // Only the length of the directory counts: a link into a directory of the same length is as good.
    const auto prefix = static_cast<ssize_t>(ZONE_DIRECTORY_LENGTH);
    if (length < prefix || length - prefix > static_cast<ssize_t>(LONGEST_ZONE)) {
        return nullptr;
    }
    const auto zoneLength = static_cast<std::size_t>(length - prefix);
    std::memcpy(zone, target + ZONE_DIRECTORY_LENGTH, zoneLength);
    zone[zoneLength] = '\0';
    return zone;
}
