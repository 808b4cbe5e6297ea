/** Where results go. */
#pragma once

#include <string>
#include <sys/ioctl.h>
#include <vector>

#include "json.h"

/** Size of the terminal on standard output; 80 by 24 where that is none, or does not tell. */
winsize terminalSize();

/** Prints and flushes. Throws ToolError_t "output" when standard output cannot take it. */
void printText(const std::string& text);
void printLines(const std::vector<std::string>& lines);
void printJson(const Json_t& document);     /**< indented, over several lines */
void printJsonLine(const Json_t& document); /**< on one line */

/** Whether `path`, as --output has it, means standard output: it is empty, or "-". */
bool isStandardOutput(const std::string& path);

/**
 * Prints `text`, or puts it in the place of the file `path` at once, so that nobody reads half of it. Whatever else
 * than a regular file stands there, a link too, is left alone: throws ToolError_t "output".
 */
void deliverText(const std::string& path, const std::string& text);
