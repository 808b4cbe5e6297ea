/**
 * The commands. Each prints its result to standard output and returns the exit status; each throws ToolError_t when it
 * cannot do what was asked, having printed nothing.
 */
#pragma once

#include "enclosure.h"
#include "options.h"

int statusCommand(const Options_t& options);
int configCommand(const Options_t& options);
int acceptCommand(const Options_t& options);
int slotsCommand(const Options_t& options);
int locateCommand(const Options_t& options);
int ledCommand(const Options_t& options);
int fanCommand(const Options_t& options);
int supplyCommand(const Options_t& options);
int alarmCommand(const Options_t& options);
int eventsCommand(const Options_t& options);
/** Whether the events that are asked for are of the past. */
bool wantsHistory(const Options_t& options);
int pastEventsCommand(const Options_t& options);
int historyCommand(const Options_t& options);
int pageCommand(const Options_t& options);
int bundleCommand(const Options_t& options);
int decodeCommand(const Options_t& options);
int watchCommand(const Options_t& options);
int rawCommand(const Options_t& options);

/** Throws ToolError_t "usage" when the enclosure has no drive LEDs, as far as it is known. */
void requireLeds(const Enclosure_t& enclosure);
