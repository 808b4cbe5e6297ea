/** Fans: are they healthy, how hard are they driven. */
#pragma once

#include <cstdint>
#include <span>

#include "core/control_block.h"

inline constexpr U8_t ESA_K_FULL_LOAD_PERCENT = 100;

/** What becomes of a fan at `percent`: one step up or down, or none. The gap between the limits is hysteresis. */
struct LoadStep_t {
    U8_t percent;
    S32_t upAtDegC;
    U8_t upPercent;
    S32_t downAtDegC;
    U8_t downPercent;
};

/** No temperature is above or below these: the load at the end of a table has no further step. */
inline constexpr S32_t ESA_K_NEVER_UP = INT32_MAX;
inline constexpr S32_t ESA_K_NEVER_DOWN = INT32_MIN;

/** How fans follow the average temperature. */
struct FanPolicy_t {
    const CHAR_t* operation; /**< name in the trace log */
    std::span<const LoadStep_t> steps;
    bool faultForcesFullLoad; /**< any fan fault drives all fans at 100 percent, and no step is taken */
    bool heedsFanGroups;      /**< drives as many fans as the chassis' row says */
};

extern const FanPolicy_t esaFourStepPolicy;

/** Drives the fans of the chassis in service by a policy; it averages the temperatures for that. */
void esaRunFanPolicy(const FanPolicy_t& policy);
void esaTemperatureFanPolicy();

/**
 * Reads every tachometer and marks fans below `fanFaultRpmLimit` faulty; a fan that cannot be read counts as
 * stopped. A change of any mark sends one event. ESA_E_OK when all are healthy; ESA_E_GENERR otherwise, and for an
 * unknown chassis that has fans.
 */
S32_t esaReadFanFailStatus();

/** Checks the fans for a poll: marks, fault cause, LED. */
void esaPollFans();

/**
 * Marks a fan of the status page, where the chassis has its page do that, and sets its `fail`; returns whether the mark
 * has changed. Exactly the limit counts as a fault here, while a poll takes it as healthy.
 */
bool esaMarkCoolingFault(CoolingElementStat_t& status, U8_t fan, U16_t rpm);

/** Switches a fan on (100 percent) or off because a control page asks for it, with all that share its output. */
void esaControlFan(U8_t fan, bool on);

/** Loads every fan at start-up and records it as switched on. */
void esaStartFans(void (*loadPwm)(U8_t fan, U8_t percent), U8_t percent);
