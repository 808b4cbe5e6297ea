/** The time stamp of trace lines. */
#include <algorithm>
#include <cstring>
#include <ctime>

#include "trace_private.h"

namespace {

constexpr const CHAR_t* months_list[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                         "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

constexpr U32_t STAMP_SIZE = 64;
constexpr U32_t ZONE_SIZE = 40;
constexpr std::string_view BLANKS = "  ";

/** The stamp of the latest line: many lines share a second. Guarded by the trace lock. */
struct {
    bool valid;
    time_t second;
    U32_t length;
    CHAR_t text[STAMP_SIZE];
} latest;

/** The zone that the C library's conversion was last told to load. Guarded by the trace lock. */
CHAR_t loadedZone[ZONE_SIZE];

U32_t formatStamp(time_t second, CHAR_t* buffer, U32_t size) {
    struct tm local = {};
    if (localtime_r(&second, &local) == nullptr) {
        return 0;
    }
    const int length = std::snprintf(buffer, size, "%s %2d %02d:%02d:%02d", months_list[local.tm_mon % 12],
                                     local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    return length < 0 ? 0 : std::min(static_cast<U32_t>(length), size - 1);
}

/** Whether /etc/localtime names another zone than it did last time; remembers the new one. */
bool zoneHasChanged() {
    const CHAR_t* zone = get_tz();
    if (zone == nullptr || std::strcmp(zone, loadedZone) == 0) {
        return false;
    }
    (void)std::snprintf(loadedZone, sizeof loadedZone, "%s", zone);
    return true;
}

} // namespace

U32_t TRACE_getTimestamp(CHAR_t* buffer, U32_t size) {
    if (buffer == nullptr || size == 0) {
        return 0;
    }
    buffer[0] = '\0';
    return formatStamp(time(nullptr), buffer, size);
}

std::string_view traceCurrentStamp() {
    const time_t now = time(nullptr);
    if (!latest.valid || now != latest.second) {
        // An operator may choose another zone while the process runs. tzset() takes memory from the heap each
        // time it is called, so it is called for a change only.
        if (zoneHasChanged()) {
            tzset();
        }
        const U32_t length = formatStamp(now, latest.text, sizeof latest.text - BLANKS.size());
        latest.length = length + static_cast<U32_t>(BLANKS.copy(latest.text + length, BLANKS.size()));
        latest.second = now;
        latest.valid = true;
    }
    return {latest.text, latest.length};
}

void traceReloadZone() {
    (void)zoneHasChanged();
    tzset();
    latest.valid = false;
}
