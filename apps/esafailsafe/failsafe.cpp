#include "failsafe.h"

#include <cerrno>
#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include "core/i2c.h"
#include "osdep.h"

namespace {

constexpr unsigned PAUSE_MICROSECONDS = 500000;

time_t secondsNow() {
    timespec now = {};
    (void)clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

FailSafe_e attempt(const Chassis_t& chassis, const CHAR_t* device, Attempt_t work) {
    // A serial bridge must not become this process's terminal, nor be waited for until it has a carrier.
    const int fd = open(device, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        return FAIL_SAFE_E_NO_DEVICE;
    }
    const bool done = work(chassis, fd);
    (void)close(fd);
    return done ? FAIL_SAFE_E_DONE : FAIL_SAFE_E_NO_ANSWER;
}

void serve(const Chassis_t& chassis, int busFd) {
    esaServeChassis(chassis);
    esaSetDimensions(chassis.dimensions);
    esaControl.i2cFileFd = busFd;
    esaControl.i2cConnected = 1;
}

enum class Answer_e : U8_t { DONE, FAILED, REFUSED };

Answer_e loadFully(const Chassis_t& chassis, U8_t fan) {
    const U32_t failedBefore = esaFailedTransfers;
    const U32_t refusedBefore = esaRefusedTransfers;
    chassis.policyLoadPwm(fan, ESA_K_FULL_LOAD_PERCENT);
    if (esaFailedTransfers == failedBefore) {
        return Answer_e::DONE;
    }
    return esaRefusedTransfers == refusedBefore ? Answer_e::FAILED : Answer_e::REFUSED;
}

/** One fan; a refusal that was a disturbance is not there the second time. */
Answer_e loadFan(const Chassis_t& chassis, U8_t fan) {
    const Answer_e first = loadFully(chassis, fan);
    return first == Answer_e::REFUSED && chassis.mayMissBackplanes ? loadFully(chassis, fan) : first;
}

} // namespace

bool failSafeOnce(const Chassis_t& chassis, int busFd) {
    serve(chassis, busFd);
    const U8_t fans = chassis.policyFanCount != 0 ? chassis.policyFanCount : chassis.dimensions.coolings;
    unsigned done = 0;
    unsigned refused = 0;
    for (U8_t fan = 0; fan < fans; ++fan) {
        const Answer_e answer = loadFan(chassis, fan);
        done += answer == Answer_e::DONE ? 1U : 0U;
        refused += answer == Answer_e::REFUSED ? 1U : 0U;
    }
    return done == fans || (chassis.mayMissBackplanes && done > 0 && done + refused == fans);
}

bool prepareOnce(const Chassis_t& chassis, int busFd) {
    serve(chassis, busFd);
    const U32_t failedBefore = esaFailedTransfers;
    chassis.putOutDriveLeds();
    return esaFailedTransfers == failedBefore;
}

FailSafe_e failSafe(const Chassis_t& chassis, const CHAR_t* device, unsigned seconds, Attempt_t work) {
    const time_t end = secondsNow() + static_cast<time_t>(seconds);
    FailSafe_e result = attempt(chassis, device, work);
    int reason = errno;
    while (result != FAIL_SAFE_E_DONE && secondsNow() < end) {
        (void)usleep(PAUSE_MICROSECONDS);
        result = attempt(chassis, device, work);
        reason = errno;
    }
    errno = reason;
    return result;
}
