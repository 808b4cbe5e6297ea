/** What the history's entries say. */
#pragma once

#include <string>
#include <vector>

#include "observations.h"
#include "pages.h"
#include "store.h"

/** A finding about the watch itself rather than the enclosure. */
[[nodiscard]] Entry_t watchEntry(Millis_t time, const char* name, const char* severity, const std::string& text);

/** Whether both have as many elements, of whatever kind: else they are of two enclosures. */
[[nodiscard]] bool hasAsManyElements(const EnclosureStatus_t& before, const EnclosureStatus_t& now);

/** One for each element whose condition is another than before. */
[[nodiscard]] std::vector<Entry_t> changeEntries(const EnclosureStatus_t& before, const EnclosureStatus_t& now,
                                                 Millis_t time);

/** Of a change that somebody has asked for. */
[[nodiscard]] Entry_t actionEntry(const ActionResult_t& result);

/** What an event's document says in words: its last member; empty where there is none. */
[[nodiscard]] std::string wordsOf(const std::string& document);
