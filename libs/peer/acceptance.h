/** Conditions that an operator has accepted for a while: each as bad as it was then, and no worse. */
#pragma once

#include <ctime>
#include <string>
#include <vector>

#include "health.h"

struct Acceptance_t {
    std::vector<std::string> elements;
    std::string kind;
    int measure = 0;
    Condition_e condition = CONDITION_E_OK;
    std::time_t until = 0;
    std::string text; /**< what was accepted, for people */
};

using Acceptances_t = std::vector<Acceptance_t>;

/** What `directory` keeps; nothing where there is no file. Lines that make no sense are passed over. */
Acceptances_t readAcceptances(const std::string& directory);

/** Replaces what `directory` keeps, for everybody to read: a monitor has to. Throws ToolError_t "output". */
void writeAcceptances(const std::string& directory, const Acceptances_t& acceptances);

/** The health without the problems that are accepted at `now`: those are in `accepted` instead. */
Health_t withAcceptances(const Health_t& health, const Acceptances_t& acceptances, std::time_t now);

/**
 * The moment that `text` names: "2026-12-01", "2026-12-01T18:30" (UTC), or a number of m, h, d or w from `now`. Throws
 * ToolError_t "usage" when it names none, or one that is over.
 */
std::time_t parseUntil(const std::string& text, std::time_t now);

/** UTC, such as "2026-11-21T02:33:11Z". */
std::string timeTextOf(std::time_t time);
