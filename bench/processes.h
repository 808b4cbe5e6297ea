/** The processes that are measured: started, asked what they use, ended. */
#pragma once

#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

#include "counters.h"

/** Where everything is; set before anything else is called. */
struct Place_t {
    std::string programs; /**< folder of the build's programs */
    std::string instant;  /**< folder of the platform library's stand-in */
    std::string folder;   /**< ours, for sockets and files */
};
extern Place_t place;

/** Throws `what` with the reason that errno gives. */
[[noreturn]] void fail(const std::string& what);

/** Starts a program with these words, and variables added to the environment; its output goes nowhere. */
pid_t spawn(const std::vector<std::string>& words,
            const std::vector<std::pair<std::string, std::string>>& environment = {});

/** Kills a child and waits for its end. */
void stop(pid_t pid);

/** The number on the line of /proc/PID/FILE that starts with `name`; -1 when there is none. */
long procNumber(pid_t pid, const char* file, const std::string& name);

/** Processor time of a process, in clock ticks. */
long processorTicks(pid_t pid);

/** The adapter, with a parameter block of its own. */
class Adapter_t {
public:
    Adapter_t(bool tracing, Counters_t* shared);
    Adapter_t(const Adapter_t&) = delete;
    Adapter_t& operator=(const Adapter_t&) = delete;
    ~Adapter_t();

    /** `under`: the words of a tool that runs the adapter. */
    void start(std::vector<std::string> under = {});

    pid_t pid = -1;
    Counters_t* counters; /**< what its platform library counts */

private:
    std::string key_;
};
