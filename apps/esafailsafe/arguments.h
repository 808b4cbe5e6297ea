/** Command line of the fail-safe program. */
#pragma once

#include "mpu_gbl.h"

/** Names that --chassis takes. */
inline constexpr CHAR_t FAIL_SAFE_K_CHASSIS_NAMES[] =
#define CHASSIS(number, constant, name, ...) #name ", "
#include "chassis_list.def"
    "or none";

struct FailSafeArguments_t {
    const CHAR_t* key = nullptr;     /**< text of the parameter block's key, or */
    const CHAR_t* chassis = nullptr; /**< name of a chassis */
    unsigned seconds = 15;           /**< how long a bus that does not answer is tried: 0 to 3600 */
    bool prepare = false;            /**< what is to be done before the adapter starts, instead of full speed */
    long watched = 0;                /**< process of an adapter that may have started without an answer; 0: none */
    bool wantsHelp = false;
    bool wantsVersion = false;
};

/** Reads the command line; false, with a line on standard error, when it says nothing that can be done. */
bool readArguments(int argc, char* argv[], FailSafeArguments_t& arguments);

/**
 * The chassis that the arguments name, or that the parameter block holds; where there is no block that can be trusted,
 * the one that was remembered. 0, with a line on standard error, for none.
 */
VORAN_E_CHASSIS_t chassisOf(const FailSafeArguments_t& arguments);

/**
 * Remembers a chassis in the folder that the service manager keeps for the program (STATE_DIRECTORY); without one,
 * does nothing. The block may be gone or a stranger's just when the fans have to be driven.
 */
void rememberChassis(VORAN_E_CHASSIS_t type);
