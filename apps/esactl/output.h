/** Where results go. */
#pragma once

#include <string>
#include <vector>

#include "render_json.h"

/** Prints and flushes. Throws ToolError "output" when standard output cannot take it. */
void printText(const std::string& text);
void printLines(const std::vector<std::string>& lines);
void printJson(const Json& document);     /**< indented, over several lines */
void printJsonLine(const Json& document); /**< on one line */

/** Puts `text` in the place of `path` at once, so that nobody reads half of it. Throws ToolError "output". */
void replaceFile(const std::string& path, const std::string& text);
