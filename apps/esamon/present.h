/** What the monitor knows now. */
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "enclosure.h"
#include "health.h"
#include "moments.h"
#include "options.h"

struct Present_t {
    std::optional<Enclosure_t> enclosure; /**< as of the latest answer */
    Millis_t answered = 0;                /**< when that came */
    Millis_t polled = 0;                  /**< when the adapter was last asked, answer or not */
    std::optional<bool> isAnswering;      /**< nothing before the first poll */
    std::optional<bool> isConnected;      /**< the adapter, to the switch; nothing where that does not tell */
    bool hasSwitch = false;
    std::string error;   /**< why there was no answer */
    std::string chassis; /**< name, empty while it is not known */
    std::uint64_t polls = 0;
    std::uint64_t failedPolls = 0;
    std::map<std::string, std::int64_t> counts; /**< of history's entries with their repeats, by name */
};

/** The health of now, without what operators have accepted. */
[[nodiscard]] Health_t judged(const Enclosure_t& enclosure, const MonitorOptions_t& options);

/** The enclosure with its chassis made out and, where nothing answers, the one cause. */
[[nodiscard]] Enclosure_t diagnosed(Enclosure_t enclosure, const Present_t& present, const MonitorOptions_t& options);
