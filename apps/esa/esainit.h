/** Start state of the adapter: control block, connection to the switch, bus, chassis. */
#pragma once

/**
 * Puts the control block into its start state, connects to the message switch, opens the I2C device and records
 * the chassis and its device addresses. What fails on the way to the switch goes to the critical-error handler;
 * a missing I2C device leaves the chassis at none.
 */
void esaInit();
