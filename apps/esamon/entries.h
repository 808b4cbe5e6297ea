/** What the history's entries say. */
#pragma once

#include <string>
#include <vector>

#include "observations.h"
#include "store.h"

/** A finding about the watch itself rather than the enclosure. */
[[nodiscard]] Entry_t watchEntry(Millis_t time, const char* name, const char* severity, const std::string& text);

/** Of a change that somebody has asked for. */
[[nodiscard]] Entry_t actionEntry(const ActionResult_t& result);

/** What an event's document says in words: its last member; empty where there is none. */
[[nodiscard]] std::string wordsOf(const std::string& document);
