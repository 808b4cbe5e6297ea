/** What the collector finds out, and what it is asked to do. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "moments.h"
#include "unix_stream.h"

/** Pages 1 and 2 as the adapter sent them. */
struct Pages_t {
    Millis_t time;
    std::vector<U8_t> configuration;
    std::vector<U8_t> status;
};

/** The adapter could not be asked, or the switch is not there. */
struct Failure_t {
    Millis_t time;
    bool hasSwitch;
    std::string text;
};

/** Why nobody answers while the switch knows of no adapter. */
inline constexpr const char* NO_ADAPTER = "no adapter is connected to the switch";

/** Whether an adapter is connected to the switch; nothing where the switch does not tell. */
struct Presence_t {
    Millis_t time;
    std::optional<bool> isThere;
};

/** A message of the adapter to the event manager or to Startup. */
struct Report_t {
    Millis_t arrival; /**< at the switch */
    U32_t run;        /**< number of the switch's run; 0: taken as event manager, not numbered */
    U32_t number;     /**< of the report in that run, from 1 */
    Message_t message;
};

enum class Command_e : U8_t { LEDS, ALARM, FANS };

/** A change that somebody has asked for. */
struct Action_t {
    std::uint64_t id = 0;
    Command_e command = Command_e::LEDS;
    std::vector<std::string> elements; /**< slots ("all" alone for every one), or one fan; none for the alarm */
    std::string request;               /**< "on" or "off"; "mute", "fault" or "critical" */
    std::string who;
};

/** What became of it; an empty `error` when the adapter accepted it. */
struct ActionResult_t {
    Millis_t time;
    Action_t action; /**< with the names of the elements that were really asked for */
    std::string code;
    std::string error;
};

using Observation_t = std::variant<Pages_t, Failure_t, Presence_t, Report_t, ActionResult_t>;
