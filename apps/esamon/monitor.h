/** The monitor: what comes from the switch is recorded and told, what is asked over HTTP is answered. */
#pragma once

#include "options.h"

/** Runs until a stop signal. Throws ToolError_t when it cannot start. */
void runMonitor(const MonitorOptions_t& options);
