/**
 * What a bus that does not answer may cost. A transfer that times out costs half a second and more, and a poll makes
 * dozens: after some in a row, transfers fail at once, but for one a second that tries whether the bus is back.
 */
#pragma once

#include <cstdint>

#include "basetypes.h"

/**
 * Whether a transfer with `i2cAddr` is worth its time now. A chip that has let three transfers in a row time out is
 * asked once a second. When the last three transfers of the whole bus have timed out, every chip that has had its
 * chance since waits for the one transfer a second; a chip that has not is asked once, since one hung chip is not a
 * dead bus.
 */
[[nodiscard]] bool busMayTry(U8_t i2cAddr, std::int64_t nowMs);

/**
 * Notes how a transfer ended: `timedOut` when it took its whole time for nothing. A refusal is an answer.
 * Returns whether the bus has just stopped or started answering.
 */
bool busNoteOutcome(U8_t i2cAddr, bool timedOut, std::int64_t nowMs);

/** Whether the last three transfers of the whole bus timed out. */
[[nodiscard]] bool busIsDead();

/** Forgets everything, for a device that is new. */
void busForgetHealth();
