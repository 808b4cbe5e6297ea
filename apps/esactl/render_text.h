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

/** A width that nothing is wrapped at: lines for a file or another program. */
inline constexpr std::size_t UNBOUNDED = 1000000;

/** Columns of the terminal on standard output; UNBOUNDED where there is none. */
std::size_t standardOutputWidth();

/** The status view; the first line is the overall state. Lines longer than `width` go on in the next, indented. */
std::vector<std::string> statusLines(const Enclosure_t& enclosure, const Health_t& health, const Palette_t& palette,
                                     std::size_t width);

/** What the status view says of the element of that name. */
std::string elementText(const Enclosure_t& enclosure, const std::string& element);

/** Lines of at most `width` columns, broken at blanks, what goes on indented; colour codes take no columns. */
std::vector<std::string> wrapLines(const std::vector<std::string>& lines, std::size_t width, std::size_t indent);

std::vector<std::string> configurationLines(const Configuration_t& configuration);

std::string eventLine(const Event_t& event, unsigned repeats, const std::string& time, const Palette_t& palette);
