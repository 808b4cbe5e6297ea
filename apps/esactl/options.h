/** What the command line asks for. */
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "mpu_gbl.h"
#include "places.h"
#include "switch_client.h"

struct Options_t {
    /* Every command. */
    std::string directory;
    std::string socket = "peer"; /**< name in the directory, or a path */
    int endpoint = -1;           /**< our number on a switch that greets nobody; -1: the one that it gives */
    std::string chassis;         /**< name of the one in service; empty: to be made out */
    std::string state;           /**< directory of what operators have accepted */
    std::string slots;           /**< file of the slots' labels; empty: the usual one, if it is there */
    double timeoutSeconds = 5;
    bool jsonFlag = false;       /**< --json; wins over `format` */
    std::string format = "text"; /**< "text", "json" or "prometheus" (status only) */

    /* Of one command or another. */
    std::string element; /**< SLOTS, or the fan's or supply's number or name */
    std::string request; /**< "on", "off", "fail", "ok", "mute", "fault" or "critical" */
    std::string output;  /**< file to write instead of standard output; empty: standard output */
    std::vector<std::string> hex;
    int page = -1; /**< page to ask for; -1: none, send `hex` */
    bool follow = false;
    bool startup = false;
    bool force = false; /**< led: ask for the opposite first; fan: even where on slows it */
    bool everyEvent = false;
    bool wait = false;
    double afterSeconds = 12; /**< how long --wait waits: the adapter's poll comes every 11 */
    bool revoke = false;
    std::string note;   /**< line that stays above a watch */
    unsigned count = 0; /**< events or redraws after which to stop; 0: no limit */
    double intervalSeconds = 2;
    double blinkSeconds = 1;
    std::string monitor; /**< the monitor's socket */
    std::string since;   /**< moments as people write them; empty: any */
    std::string until;
    std::string type;  /**< name of an event; empty: any */
    bool plot = false; /**< a curve instead of a table */
    bool standard = false;
    std::string file;
    std::string logDirectory = PLACES_K_LOGS;
    unsigned key = MPU_K_LEAST_KEY; /**< of the parameter block */

    bool json() const { return jsonFlag || format == "json"; }
    bool prometheus() const { return !json() && format == "prometheus"; }
    PeerDoor_t door() const {
        return {socket, endpoint < 0 ? std::nullopt : std::optional<U8_t>(static_cast<U8_t>(endpoint))};
    }
    std::chrono::milliseconds timeout() const {
        return std::chrono::milliseconds(static_cast<long long>(timeoutSeconds * 1000.0));
    }
};
