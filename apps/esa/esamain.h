/** The process: start-up, main loop, poll countdown. */
#pragma once

#include "core/control_block.h"

/**
 * The adapter's process: start-up, then the main loop for ever. Returns only when it cannot start: 1 without a key,
 * 2 for a key below 100, 3 when the parameter block cannot be attached.
 */
int esaMain(int argc, char* argv[]);

/** Tells Startup that the adapter is initialised. */
void esaSendStartupNotice();

/** Waits for the parameter block's RCP-complete flag, at most 180 seconds. */
void esaWaitForRcp();

/** Initialises the hardware of the chassis in service, or reports that there is none. */
void esaInitChassis();

/** One pass of the main loop: wait for input, handle at most one message, count the poll down. */
void esaMainLoopPass();

/** Counts the poll down by one wait; when it runs out, polls the hardware and starts again at ten seconds. */
void esaProcessPollTimeout();
