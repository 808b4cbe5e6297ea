/** Runs a piece of a test in a process of its own, for code that ends its process. */
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include <sys/types.h>

/** An event that the process handed to the event log. */
struct LoggedEvent_t {
    std::string before; /**< the 64 bytes in front of the record, where the caller asked for them */
    std::string header; /**< 152 bytes */
    std::string body;   /**< as many bytes as the header announces */
    std::uint64_t params = 0;
};

struct ChildResult_t {
    int exitStatus = -1; /**< low eight bits; -1 when a signal ended it */
    int signal = 0;
    std::string out;
    std::string err;
    std::optional<LoggedEvent_t> event; /**< the last one */
};

/** Does `action`, which aborts, and returns all the same. */
void surviveAbort(const std::function<void()>& action);

/** What `action` writes to standard error; to standard output it writes nothing. */
std::string errorsOf(const std::function<void()>& action);

/** Answers of readlink() when /etc/localtime is a link to what `target` is then; there is no link when that is empty.
 */
std::function<ssize_t(const char*, char*, std::size_t)> zoneLinkTo(const std::string& target);

/**
 * Runs `what` in a child process, which ends with status 99 if `what` returns and shows the status of exit() on
 * standard error. `eventHasMessage`: see LoggedEvent.
 */
ChildResult_t runInChild(const std::function<void()>& what, bool eventHasMessage = false);

/** What a process that does `action` leaves on standard error, its exit status behind it. */
inline std::string endOf(const std::function<void()>& action) {
    return runInChild(action).err;
}
