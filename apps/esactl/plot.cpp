#include "plot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace {

constexpr std::size_t HEIGHT = 12;
constexpr std::size_t SCALE_WIDTH = 9;
constexpr std::size_t LEAST_WIDTH = 40;

std::string clockText(double time, double span) {
    const auto seconds = static_cast<std::time_t>(time);
    std::tm parts{};
    char text[32];
    gmtime_r(&seconds, &parts);
    std::strftime(text, sizeof text, span > 2 * 86400 ? "%m-%d %H:%MZ" : "%H:%M:%SZ", &parts);
    return text;
}

struct Scale_t {
    double low;
    double high;
    std::size_t row(double value) const {
        const double share = (value - low) / (high - low);
        return static_cast<std::size_t>(std::lround((1 - std::clamp(share, 0.0, 1.0)) * (HEIGHT - 1)));
    }
};

/** What the readings span, and a limit that is no further from them than half of that, or ten. */
std::optional<Scale_t> scaleOf(const std::vector<PlotPoint_t>& points,
                               const std::vector<std::pair<std::string, double>>& limits) {
    std::optional<Scale_t> scale;
    for (const PlotPoint_t& point : points) {
        if (point.least && point.most) {
            scale = scale ? Scale_t{std::min(scale->low, *point.least), std::max(scale->high, *point.most)}
                          : Scale_t{*point.least, *point.most};
        }
    }
    if (!scale) {
        return std::nullopt;
    }
    const Scale_t read = *scale;
    const double reach = std::max(10.0, (read.high - read.low) / 2);
    for (const auto& [name, value] : limits) {
        if (value >= read.low - reach && value <= read.high + reach) {
            scale = Scale_t{std::min(scale->low, value), std::max(scale->high, value)};
        }
    }
    constexpr double LEAST_SPAN = 4;
    if (const double missing = LEAST_SPAN - (scale->high - scale->low); missing > 0) {
        scale = Scale_t{scale->low - missing / 2, scale->high + missing / 2};
    }
    return scale;
}

} // namespace

std::vector<std::string> plotLines(const std::vector<PlotPoint_t>& points,
                                   const std::vector<std::pair<std::string, double>>& limits, std::size_t width) {
    const std::optional<Scale_t> scale = scaleOf(points, limits);
    if (!scale) {
        return {"no readings to plot"};
    }
    const std::size_t columns = std::max(width, LEAST_WIDTH) - SCALE_WIDTH;
    std::vector<std::string> rows(HEIGHT, std::string(columns, ' '));
    for (const auto& [name, value] : limits) {
        if (value >= scale->low && value <= scale->high) {
            rows[scale->row(value)] = std::string(columns, '-');
        }
    }
    const double first = points.front().time;
    const double span = std::max(1.0, points.back().time - first);
    for (const PlotPoint_t& point : points) {
        if (point.least && point.most) {
            const auto column =
                static_cast<std::size_t>((point.time - first) / span * static_cast<double>(columns - 1));
            for (std::size_t row = scale->row(*point.most); row <= scale->row(*point.least); ++row) {
                rows[row][column] = '*';
            }
        }
    }
    std::vector<std::string> lines;
    lines.reserve(HEIGHT + 1);
    for (std::size_t row = 0; row < HEIGHT; ++row) {
        char label[32];
        const double value = scale->high - (scale->high - scale->low) * static_cast<double>(row) / (HEIGHT - 1);
        std::snprintf(label, sizeof label, "%7.6g |", std::round(value * 10) / 10);
        std::string line = label + rows[row];
        line.erase(line.find_last_not_of(' ') + 1);
        lines.push_back(line);
    }
    const std::string begin = clockText(first, span);
    const std::string end = clockText(points.back().time, span);
    const std::size_t gap = columns > begin.size() + end.size() ? columns - begin.size() - end.size() : 1;
    lines.push_back(std::string(SCALE_WIDTH, ' ') + begin + std::string(gap, ' ') + end);
    return lines;
}
