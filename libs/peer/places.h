/** Where things are on a controller, unless the environment says otherwise. */
#pragma once

#include <string>

inline constexpr const char* PLACES_K_SWITCH = "/run/esa";              /**< directory of the switch's sockets */
inline constexpr const char* PLACES_K_MONITOR = "/run/esa-monitor/api"; /**< the monitor's socket */
inline constexpr const char* PLACES_K_LOGS = "/var/log/esa";            /**< directory of the adapter's logs */
inline constexpr const char* PLACES_K_STATE = "/var/lib/esa"; /**< directory of what operators have accepted */

/** The variable's value; `otherwise` where there is none, or an empty one. */
[[nodiscard]] std::string fromEnvironment(const char* name, const char* otherwise);

/** ESA_MMSG_DIRECTORY, else the usual one. */
[[nodiscard]] std::string switchDirectory();

/** ESA_STATE_DIRECTORY, else the usual one: of what operators have accepted. */
[[nodiscard]] std::string stateDirectory();
