/** The documents that programs read. Each has "schema" and "version"; what could not be read is null. */
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "enclosure.h"
#include "events.h"
#include "health.h"
#include "tool_error.h"

using Json = nlohmann::ordered_json;

/** Raised when a field changes its meaning or goes away; not when one is added. */
inline constexpr int JSON_K_VERSION = 1;

Json statusJson(const Enclosure& enclosure, const Health& health, const std::string& time);
Json configurationJson(const Configuration& configuration);
Json eventJson(const Event& event, unsigned repeats, const std::string& time);
Json errorJson(const ToolError& error);

/** What a control command asked of which elements; the adapter has accepted it. */
Json commandJson(const std::string& command, const std::vector<std::string>& elements, const std::string& request);

/** The skeleton of a document of this kind. */
Json newDocument(const char* schema);

/** Always valid JSON, whatever bytes the texts hold. `indent` -1 gives one line. */
std::string jsonText(const Json& document, int indent);

/** UTC, such as "2026-11-21T02:33:11Z". */
std::string timeText();
