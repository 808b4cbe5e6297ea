/**
 * Pages 1 and 2 as the SES standard lays them out, from the same facts. The pages on the wire have this system's own
 * layout, in which a standard decoder sees nothing but failures.
 */
#pragma once

#include <vector>

#include "enclosure.h"

[[nodiscard]] std::vector<U8_t> standardConfigurationPage(const Configuration_t& configuration);
[[nodiscard]] std::vector<U8_t> standardStatusPage(const Enclosure_t& enclosure);
