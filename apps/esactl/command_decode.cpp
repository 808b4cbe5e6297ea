/** decode: event logs and the dumps of trace logs, in words. */
#include <filesystem>
#include <fstream>

#include "commands.h"
#include "errors.h"
#include "log_words.h"
#include "output.h"

int decodeCommand(const Options_t& options) {
    std::ifstream file(options.file);
    std::error_code ignored;
    const bool isDirectory = std::filesystem::is_directory(options.file, ignored);
    if (!file || isDirectory) {
        throw usageError(
            (isDirectory ? "'" + options.file + "' is a directory" : "cannot read '" + options.file + "'") +
            "; give an event log (altevents.jsonl) or a trace log (esa_01.log)");
    }
    const LogInWords_t log = logInWords(file);
    if (log.lines.empty()) {
        throw usageError("'" + options.file + "' holds no " +
                         (log.isEventLog ? "record of an event log" : "line of a trace log") +
                         "; give an event log (altevents.jsonl) or a trace log (esa_01.log)");
    }
    printLines(log.lines);
    return 0;
}
