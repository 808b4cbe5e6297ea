#include <cerrno>
#include <ctime>

#include "osdep.h"

namespace {

constexpr U32_t USEC_PER_SEC = 1000000;
constexpr long NSEC_PER_USEC = 1000;

/** A signal must not shorten a wait. */
void sleepFor(timespec remaining) {
    while (nanosleep(&remaining, &remaining) == -1 && errno == EINTR) {
    }
}

} // namespace

void MPU_sleep(U32_t seconds) {
    sleepFor({.tv_sec = static_cast<time_t>(seconds), .tv_nsec = 0});
}

void MPU_usleep(U32_t microseconds) {
    sleepFor({.tv_sec = static_cast<time_t>(microseconds / USEC_PER_SEC),
              .tv_nsec = static_cast<long>(microseconds % USEC_PER_SEC) * NSEC_PER_USEC});
}
