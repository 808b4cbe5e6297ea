#include "failsafe.h"

#include <cerrno>
#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include "core/i2c.h"
#include "osdep.h"

namespace {

constexpr U8_t FULL_LOAD_PERCENT = 100;
constexpr unsigned PAUSE_MICROSECONDS = 500000;

time_t secondsNow() {
    timespec now = {};
    (void)clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

FailSafe_e attempt(const Chassis_t& chassis, const CHAR_t* device) {
    // A serial bridge must not become this process's terminal, nor be waited for until it has a carrier.
    const int fd = open(device, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        return FAIL_SAFE_E_NO_DEVICE;
    }
    const bool done = failSafeOnce(chassis, fd);
    (void)close(fd);
    return done ? FAIL_SAFE_E_DONE : FAIL_SAFE_E_NO_ANSWER;
}

} // namespace

bool failSafeOnce(const Chassis_t& chassis, int busFd) {
    esaServeChassis(chassis);
    esaSetDimensions(chassis.dimensions);
    esaControl.i2cFileFd = busFd;
    esaControl.i2cConnected = 1;
    const U32_t failedBefore = esaFailedTransfers;
    const U8_t fans = chassis.policyFanCount != 0 ? chassis.policyFanCount : chassis.dimensions.coolings;
    for (U8_t fan = 0; fan < fans; ++fan) {
        chassis.policyLoadPwm(fan, FULL_LOAD_PERCENT);
    }
    return esaFailedTransfers == failedBefore;
}

FailSafe_e failSafe(const Chassis_t& chassis, const CHAR_t* device, unsigned seconds) {
    const time_t end = secondsNow() + static_cast<time_t>(seconds);
    FailSafe_e result = attempt(chassis, device);
    int reason = errno;
    while (result != FAIL_SAFE_E_DONE && secondsNow() < end) {
        (void)usleep(PAUSE_MICROSECONDS);
        result = attempt(chassis, device);
        reason = errno;
    }
    errno = reason;
    return result;
}
