/** Contents of the status direction's diagnostic pages. */
#pragma once

#include <span>

#include "core/control_block.h"

/** Size of the longest page: an enclosure status page with as many elements as the control block has room for. */
inline constexpr U32_t ESA_K_PAGE_SIZE = sizeof(EncStatDiagPageHdr_t) + 5 * sizeof(be32_t) +
                                         4 * (ESA_K_MAX_DEVICES + ESA_K_MAX_POWER_SUPPLIES + ESA_K_MAX_FANS +
                                              ESA_K_MAX_TEMPERATURE_SENSORS + ESA_K_MAX_ALARMS);

/** Builds the configuration page into `page`, which is zeroed; returns its size. */
U16_t esaBuildConfigurationPage(std::span<U8_t, ESA_K_PAGE_SIZE> page);

/** Reads the enclosure and builds its status page into `page`, which is zeroed; returns its size. Sends events. */
U16_t esaBuildEnclosureStatusPage(std::span<U8_t, ESA_K_PAGE_SIZE> page);
