/** Asking the adapter for what it knows, as one consistent picture. */
#pragma once

#include "chassis_list.h"
#include "pages.h"
#include "ses_client.h"

struct Enclosure_t {
    Configuration_t configuration;
    EnclosureStatus_t status;
    const ChassisFacts_t* chassis = nullptr; /**< as diagnose() made it out; nullptr: not known */
    std::string cause = {};                  /**< why nothing of it is known, for people; empty: it is */
    bool causeIsMeant = false;               /**< the adapter serves no enclosure, as it was told to */
};

/** Page 1. Throws ToolError_t "refused" or "bad-answer", and as SesClient does. */
Configuration_t fetchConfiguration(SesClient_t& client);

/**
 * Pages 1 and 2 that belong together: when the element counts change between the two (the adapter learns its chassis
 * after it has joined the switch) both are asked for again, once. Throws as above.
 */
Enclosure_t fetchEnclosure(SesClient_t& client);
