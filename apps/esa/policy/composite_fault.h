/** The enclosure's one summary fault: its causes, its LED (which Startup drives), its e-mail, its alarm. */
#pragma once

#include "core/control_block.h"

/**
 * Takes note of one cause (ESA_K_FAULT_...): `compositeFaultStatus` ESA_E_GENERR sets it, ESA_E_OK clears it,
 * anything else changes nothing; only the low eight bits count. The first cause switches the LED on and the last
 * one off; every new cause sends an e-mail request. Returns the result of the last message sent, 0 without one.
 */
S32_t esaManageCompositeFault(U32_t compositeFaultTypeBitMap, S32_t compositeFaultStatus);

/**
 * Requests to Startup: composite fault LED (off for ESA_E_OK, on for any other low eight bits), notification
 * e-mail, orderly shutdown. Each returns the number of bytes sent (64); a short or failed send has gone to the
 * critical-error handler.
 */
S32_t esaSendCompositeFaultMmsgToStartup(S32_t status);
S32_t esaSendEmailNotificationMmsgToStartup();
S32_t esaSendOrderlyShutdownMmsgToStartup();

/**
 * Reports hardware that does not answer at start-up: an event, and a fault cause that stays until the adapter
 * starts again. Returns what an initialisation returns then: ESA_E_GENERR_I2C_UNAVAILABLE.
 */
ESA_CODE_e esaReportI2cBusFault();
