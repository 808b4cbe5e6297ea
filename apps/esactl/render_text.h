/** What people read. */
#pragma once

#include <string>
#include <vector>

#include "enclosure.h"
#include "events.h"
#include "health.h"

/** Paints words by condition; plain text when `enabled` is false. */
struct Palette {
    bool enabled = false;
    std::string paint(const std::string& text, Condition_e condition) const;
};

/** Colour for standard output: only on a terminal that can show it, and not when NO_COLOR is set. */
Palette standardOutputPalette();

/** The status view, at most 24 lines of 80 columns for the largest enclosure; the first is the overall state. */
std::vector<std::string> statusLines(const Enclosure& enclosure, const Health& health, const Palette& palette);

std::vector<std::string> configurationLines(const Configuration& configuration);

std::string eventLine(const Event& event, unsigned repeats, const std::string& time, const Palette& palette);
