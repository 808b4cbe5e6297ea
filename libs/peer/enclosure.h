/** Asking the adapter for what it knows, as one consistent picture. */
#pragma once

#include "pages.h"
#include "ses_client.h"

struct Enclosure_t {
    Configuration_t configuration;
    EnclosureStatus_t status;
};

/** Page 1. Throws ToolError_t "refused" or "bad-answer", and as SesClient does. */
Configuration_t fetchConfiguration(SesClient_t& client);

/**
 * Pages 1 and 2 that belong together: when the element counts change between the two (the adapter learns its chassis
 * after it has joined the switch) both are asked for again, once. Throws as above.
 */
Enclosure_t fetchEnclosure(SesClient_t& client);
