/** Points in time as records, documents and command lines have them. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/** Milliseconds since 1970, UTC. */
using Millis_t = std::int64_t;

[[nodiscard]] Millis_t millisNow();

/** "2026-11-21T02:33:11.123Z". */
[[nodiscard]] std::string millisText(Millis_t moment);

/**
 * A moment as people write it: "2026-11-21T02:33:11Z" (with or without a fraction), UNIX seconds (with or without one),
 * or an age before `now` in seconds, minutes, hours, days or years, as "90s", "10m", "2h", "7d", "1y".
 */
[[nodiscard]] std::optional<Millis_t> parseMoment(std::string_view text, Millis_t now);

/** What parseMoment() takes, for complaints. */
inline constexpr const char* MOMENT_K_FORMS = "an age as 2h, a time as 2026-11-21T02:33:11Z, or UNIX seconds";
