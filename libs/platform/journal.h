/** Lines for the system's journal. */
#pragma once

#include <initializer_list>
#include <string_view>

/** Whether standard error is the journal. */
[[nodiscard]] bool journalListens();

/**
 * Writes the pieces as a line of their own to standard error where that is the journal (the service manager then sets
 * JOURNAL_STREAM), and nothing anywhere else: what else a process prints is its own. Safe in a signal handler.
 */
void journalLine(std::initializer_list<std::string_view> pieces);
