/** The safe state of an enclosure that nobody manages: every fan at full speed. */
#pragma once

#include "policy/chassis.h"

/**
 * Loads every fan of the chassis with 100 percent, over the bus that `busFd` has open; each is tried, whatever becomes
 * of the others. Returns whether all transfers were done, but for those to a backplane that is missing: it acknowledges
 * nothing, twice, while another one answers.
 */
bool failSafeOnce(const Chassis_t& chassis, int busFd);

/**
 * Gets an enclosure ready for an adapter that starts: puts out the drive LEDs that the adapter takes for dark without
 * having put them out. Returns whether all transfers were done.
 */
bool prepareOnce(const Chassis_t& chassis, int busFd);

/** What became of it. */
enum FailSafe_e : U8_t {
    FAIL_SAFE_E_DONE,
    FAIL_SAFE_E_NO_DEVICE, /**< the device could not be opened */
    FAIL_SAFE_E_NO_ANSWER, /**< a transfer failed in every attempt */
};

using Attempt_t = bool (*)(const Chassis_t& chassis, int busFd);

/**
 * Opens the I2C device at `device` and does `work` with it, again and again until it is done or `seconds` have passed,
 * half a second between two attempts; at least once. On failure errno tells why the last attempt's open failed.
 */
FailSafe_e failSafe(const Chassis_t& chassis, const CHAR_t* device, unsigned seconds, Attempt_t work = failSafeOnce);
