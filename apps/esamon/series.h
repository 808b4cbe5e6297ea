/** The readings of an enclosure as rows of numbers. */
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "enclosure.h"
#include "json.h"

struct Series_t {
    std::string name;     /**< "temp0", "fan1", "fan1.load", "psu0" */
    std::string element;  /**< "temp0", "fan1", "fan1", "psu0" */
    const char* quantity; /**< "temperature", "speed", "load" or "health" */
    const char* unit;     /**< "celsius", "rpm", "code" (0 to 7) or "bool" */
};

/** What is read of such an enclosure; the order is that of valuesOf(). */
[[nodiscard]] std::vector<Series_t> seriesOf(const Configuration_t& configuration);

/** Nothing where there is no reading; nothing at all of an enclosure that the adapter does not reach. */
[[nodiscard]] std::vector<std::optional<double>> valuesOf(const Enclosure_t& enclosure);

/** The limits that a series is judged by; an empty object where there are none. */
[[nodiscard]] Json_t limitsOf(const Series_t& series);

/** By its name alone; nothing for a name that no series has. */
[[nodiscard]] std::optional<Series_t> seriesNamed(const std::string& name);
