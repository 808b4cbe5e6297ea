/** What people read. */
#pragma once

#include <string>
#include <vector>

#include "enclosure.h"
#include "events.h"
#include "health.h"

/** Paints words by condition; plain text when `enabled` is false. */
struct Palette_t {
    bool enabled = false;
    std::string paint(const std::string& text, Condition_e condition) const;
};

/** Colour for standard output: only on a terminal that can show it, and not when NO_COLOR is set. */
Palette_t standardOutputPalette();

/** The status view, at most 24 lines of 80 columns for the largest enclosure; the first is the overall state. */
std::vector<std::string> statusLines(const Enclosure_t& enclosure, const Health_t& health, const Palette_t& palette);

std::vector<std::string> configurationLines(const Configuration_t& configuration);

std::string eventLine(const Event_t& event, unsigned repeats, const std::string& time, const Palette_t& palette);
