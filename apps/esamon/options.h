/** What the command line asks for. */
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "places.h"

struct MonitorOptions_t {
    std::string directory;                                    /**< of the switch's sockets */
    std::string database = "/var/lib/esa-monitor/history.db"; /**< its folder must exist */
    std::string socket = PLACES_K_MONITOR;                    /**< "none": no UNIX socket */
    std::string listen = "127.0.0.1:9634";                    /**< ADDRESS:PORT; "none": no TCP */
    std::vector<std::string> hosts;                           /**< further names in requests' Host */
    std::string panel = "/usr/share/esa/panel";
    std::string tokenFile;              /**< empty: nothing can be changed */
    std::string simulator;              /**< control socket of the simulated enclosure; empty: a real one */
    std::string state = PLACES_K_STATE; /**< directory of what operators have accepted */
    std::string chassis;                /**< name; empty: what events and the numbers of elements tell */
    double pollSeconds = 10;
    double timeoutSeconds = 10;
    unsigned maxMegabytes = 256; /**< of the database */
    bool eventManager = false;   /**< take the places of event manager and Startup on the switch */

    std::chrono::milliseconds timeout() const {
        return std::chrono::milliseconds(static_cast<long long>(timeoutSeconds * 1000));
    }
    std::chrono::milliseconds poll() const {
        return std::chrono::milliseconds(static_cast<long long>(pollSeconds * 1000));
    }
};
