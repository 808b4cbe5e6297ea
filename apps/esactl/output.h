/** Where results go. */
#pragma once

#include <string>
#include <vector>

#include "json.h"

/** Prints and flushes. Throws ToolError_t "output" when standard output cannot take it. */
void printText(const std::string& text);
void printLines(const std::vector<std::string>& lines);
void printJson(const Json_t& document);     /**< indented, over several lines */
void printJsonLine(const Json_t& document); /**< on one line */

/** Puts `text` in the place of `path` at once, so that nobody reads half of it. Throws ToolError_t "output". */
void replaceFile(const std::string& path, const std::string& text);
