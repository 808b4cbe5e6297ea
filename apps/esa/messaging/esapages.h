/** Contents of the status direction's diagnostic pages. */
#pragma once

#include <span>

#include "esamain.h"

/** Longest page plus room: what a page builder may fill. */
inline constexpr U32_t ESA_K_PAGE_SIZE = MMSG_K_MAX_SIZE - MMSG_K_HEADER_SIZE - 1;

/** Builds the configuration page into `page`, which is zeroed. */
void esaBuildConfigurationPage(std::span<U8_t, ESA_K_PAGE_SIZE> page);

/** Reads the enclosure and builds its status page into `page`, which is zeroed. Sends events on the way. */
void esaBuildEnclosureStatusPage(std::span<U8_t, ESA_K_PAGE_SIZE> page);
