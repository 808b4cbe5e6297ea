/**
 * The commands. Each prints its result to standard output and returns the exit status; each throws ToolError when it
 * cannot do what was asked, having printed nothing.
 */
#pragma once

#include "options.h"

int statusCommand(const Options& options);
int configCommand(const Options& options);
int ledCommand(const Options& options);
int fanCommand(const Options& options);
int supplyCommand(const Options& options);
int alarmCommand(const Options& options);
int eventsCommand(const Options& options);
int watchCommand(const Options& options);
int rawCommand(const Options& options);
