/** What the adapter has written down, in words. */
#pragma once

#include <istream>
#include <string>
#include <vector>

struct LogInWords_t {
    bool isEventLog;                /**< or would be a trace log */
    std::vector<std::string> lines; /**< none when no line is a log's */
};

/** An event log, or a trace log, whose dumps become words and whose other lines stay. */
LogInWords_t logInWords(std::istream& file);
