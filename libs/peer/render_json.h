/** The documents that programs read. Each has "schema" and "version"; what could not be read is null. */
#pragma once

#include <string>

#include "enclosure.h"
#include "events.h"
#include "health.h"
#include "json.h"
#include "tool_error.h"

/** Raised when a field changes its meaning or goes away; not when one is added. */
inline constexpr int JSON_K_VERSION = 1;

Json_t statusJson(const Enclosure_t& enclosure, const Health_t& health, const std::string& time);
Json_t configurationJson(const Configuration_t& configuration);
Json_t eventJson(const Event_t& event, unsigned repeats, const std::string& time);
Json_t errorJson(const ToolError_t& error);

/** What a command asked of which elements, and what will become of it; the adapter has accepted it. */
Json_t commandJson(const std::string& command, const std::vector<std::string>& elements, const std::string& request,
                   const std::string& outlook = {});

/** The skeleton of a document of this kind. */
Json_t newDocument(const char* schema);

/** UTC, such as "2026-11-21T02:33:11Z". */
std::string timeText();
