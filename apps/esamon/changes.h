/** What two looks at an enclosure tell of what has happened between them. */
#pragma once

#include "store.h"

/** Whether both have the same number of elements of every kind. */
[[nodiscard]] bool hasSameElements(const Enclosure_t& before, const Enclosure_t& now);

/**
 * An entry for each element whose state has become another. An enclosure of which nothing is known any more, or again,
 * is one entry, of the element "enclosure": elements are then told only where they turn out to be in trouble.
 */
[[nodiscard]] std::vector<Entry_t> changesBetween(const Enclosure_t& before, const Enclosure_t& now, Millis_t time);

/** Only what concerns the enclosure as a whole; for two enclosures that have different elements. */
[[nodiscard]] std::vector<Entry_t> causeChange(const Enclosure_t& before, const Enclosure_t& now, Millis_t time);
