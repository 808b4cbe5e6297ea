/** What the commands share: asking for the enclosure, and what is known of it beside its pages. */
#pragma once

#include "diagnosis.h"
#include "health.h"
#include "options.h"
#include "ses_client.h"
#include "slots.h"

/** Connects as the options say. Throws as SesClient_t does. */
SesClient_t connectAdapter(const Options_t& options);

/** Throws ToolError_t "usage" when the options name a chassis that there is not. */
void requireKnownChassis(const Options_t& options);

AdapterFacts_t adapterFacts(const Options_t& options);

/** The enclosure, with its chassis made out. Throws as fetchEnclosure() does. */
Enclosure_t askEnclosure(SesClient_t& client, const Options_t& options);

/** Its health, apart from what operators have accepted. */
Health_t judgedHealth(const Enclosure_t& enclosure, const Options_t& options);

SlotLabels_t slotLabels(const Options_t& options);

/** One line on standard error beside a command that goes on. */
void tellNote(const std::string& text);
