/** System calls of the adapter's core that a test watches, makes fail, or answers itself. */
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

struct SystemCalls {
    int socketError = 0; /**< socket() fails with this errno, if not 0; likewise below */
    int connectError = 0;
    int setsockoptError = 0;
    int selectError = 0;
    int attachError = 0;     /**< of shmat() */
    bool noSegments = false; /**< shmget() finds nothing */
    int deviceFd = -1;       /**< what opening a device file gives; -1: it is missing */

    /** The n-th recv() from now (0: the next) fails with this errno and takes nothing off the stream. */
    std::map<unsigned, int> recvErrors;
    int sendError = 0;    /**< of every send(); nothing goes out */
    int sendShortage = 0; /**< bytes that every send() takes less than it is given */
    /** Calls of send() in order, such as "64 0x0" (bytes and flags); they are not among `calls`. */
    std::vector<std::string> sends;

    /** Called before each select(), with the seconds and microseconds it may wait. */
    std::function<void(long seconds, long microseconds)> onSelect;
    /** Called before each recv(). */
    std::function<void()> onRecv;

    /** Calls in order, such as "socket 1 1 0", "recv 64 0x102 -> 64". */
    std::vector<std::string> calls;
    unsigned recvCount = 0;
};

/** Reset it at the start of a test. */
extern SystemCalls systemCalls;
