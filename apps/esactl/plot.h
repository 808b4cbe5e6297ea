/** A curve in a terminal. */
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

struct PlotPoint_t {
    double time;
    std::optional<double> least; /**< nothing where there is no reading; so is `most` then */
    std::optional<double> most;
};

/** Lines of at most `width` columns: the curve, limits that are near it as dashes, and the times below. */
[[nodiscard]] std::vector<std::string> plotLines(const std::vector<PlotPoint_t>& points,
                                                 const std::vector<std::pair<std::string, double>>& limits,
                                                 std::size_t width);
