/** The reply of the enclosure simulator to one command: lines, and a last one that says how it went. */
#pragma once

#include <cstddef>
#include <string>

/** Where the last line of a whole `reply` begins, "ok" or "error: ..."; npos while it has not arrived. */
[[nodiscard]] std::size_t simulatorVerdict(const std::string& reply);
