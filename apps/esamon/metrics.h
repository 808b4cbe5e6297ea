/** Everything that an operator can alert on. */
#pragma once

#include <string>

#include "present.h"

/** In the Prometheus text format. An adapter that does not answer has esa_up 0 and no readings. */
[[nodiscard]] std::string metricsText(const Present_t& present, const MonitorOptions_t& options);
