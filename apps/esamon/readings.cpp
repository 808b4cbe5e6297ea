/** Readings over time, thinned out to what a plot can show. */
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "documents.h"
#include "render_json.h"
#include "series.h"

namespace {

/** Points a series, where the step is not asked for. */
constexpr Millis_t POINTS = 1000;
constexpr Millis_t DEFAULT_SPAN = Millis_t{3600} * 1000;

struct Point_t {
    Millis_t time = 0;
    double least = 0;
    double sum = 0;
    double most = 0;
    unsigned count = 0; /**< 0: nothing could be read */
};

using Points_t = std::vector<Point_t>;

/** Adds a value to the point that its time belongs to; points come in order. */
void add(Points_t& points, Millis_t time, Millis_t step, const std::optional<Mean_t>& value) {
    const Millis_t start = step == 0 ? time : time - time % step;
    if (points.empty() || points.back().time != start) {
        points.push_back({start});
    }
    if (!value) {
        return;
    }
    Point_t& point = points.back();
    point.least = point.count == 0 ? value->least : std::min(point.least, value->least);
    point.most = point.count == 0 ? value->most : std::max(point.most, value->most);
    point.sum += value->mean;
    ++point.count;
}

std::string number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.10g", std::round(value * 100) / 100);
    return text;
}

std::string seconds(Millis_t moment) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f", static_cast<double>(moment) / 1000);
    return text;
}

std::string pointsText(const Points_t& points) {
    std::string text = "[";
    for (const Point_t& point : points) {
        text += text.size() > 1 ? ",[" : "[";
        text += seconds(point.time);
        text += point.count == 0 ? ",null,null,null]"
                                 : "," + number(point.least) + "," + number(point.sum / point.count) + "," +
                                       number(point.most) + "]";
    }
    return text + "]";
}

/** All points of the series from the pages as they came. */
std::vector<Points_t> rawPoints(const Store_t& store, const std::vector<Series_t>& wanted,
                                const ReadingsQuery_t& query) {
    std::vector<Points_t> all(wanted.size());
    store.forEachSnapshot(query.since, query.until, [&](const Snapshot_t& snapshot) {
        const std::vector<Series_t> series = seriesOf(snapshot.enclosure.configuration);
        const std::vector<std::optional<double>> values = valuesOf(snapshot.enclosure);
        for (std::size_t i = 0; i < wanted.size(); ++i) {
            const auto found = std::ranges::find(series, wanted[i].name, &Series_t::name);
            if (found == series.end()) {
                continue;
            }
            const std::optional<double> value = values[static_cast<std::size_t>(found - series.begin())];
            add(all[i], snapshot.time, *query.step,
                value ? std::optional(Mean_t{snapshot.time, *value, *value, *value}) : std::nullopt);
        }
    });
    return all;
}

std::vector<Points_t> meanPoints(const Store_t& store, const std::vector<Series_t>& wanted,
                                 const ReadingsQuery_t& query) {
    std::vector<Points_t> all;
    all.reserve(wanted.size());
    for (const Series_t& series : wanted) {
        Points_t& points = all.emplace_back();
        const Millis_t from = query.since - query.since % STORE_K_MEAN_SPAN;
        for (const Mean_t& mean : store.means(series.name, from, query.until)) {
            add(points, mean.time, *query.step, mean);
        }
    }
    return all;
}

std::vector<Series_t> wantedSeries(const Present_t& present, const std::vector<std::string>& names) {
    if (names.empty()) {
        return present.enclosure ? seriesOf(present.enclosure->configuration) : std::vector<Series_t>{};
    }
    std::vector<Series_t> wanted;
    wanted.reserve(names.size());
    for (const std::string& name : names) {
        wanted.push_back(*seriesNamed(name));
    }
    return wanted;
}

/** Steps that people can read on an axis. */
Millis_t roundStep(Millis_t least) {
    for (const Millis_t step : {0, 10, 20, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 14400, 21600, 43200}) {
        if (step * 1000 >= least) {
            return step * 1000;
        }
    }
    return Millis_t{86400} * 1000;
}

} // namespace

std::string readingsText(const Store_t& store, const Present_t& present, ReadingsQuery_t query, Millis_t now) {
    query.until = query.until == 0 ? now : query.until;
    query.since = query.since == 0 ? query.until - DEFAULT_SPAN : query.since;
    if (!query.step) {
        const Millis_t least = (query.until - query.since) / POINTS;
        query.step = least < 10000 ? 0 : roundStep(least);
    }
    const bool isRaw = *query.step < STORE_K_MEAN_SPAN && query.since >= now - STORE_K_RAW_KEPT;
    if (!isRaw) {
        // Whole means only: each value belongs to one point.
        query.step = std::max<Millis_t>(1, *query.step / STORE_K_MEAN_SPAN) * STORE_K_MEAN_SPAN;
    }
    const std::vector<Series_t> wanted = wantedSeries(present, query.series);
    const std::vector<Points_t> points = isRaw ? rawPoints(store, wanted, query) : meanPoints(store, wanted, query);
    std::string text = R"({"schema":"esamon.readings","version":1,"since":)" + seconds(query.since) +
                       ",\"until\":" + seconds(query.until) + ",\"step\":" + seconds(*query.step) +
                       ",\"source\":" + (isRaw ? "\"raw\"" : "\"five-minute\"") + ",\"series\":[";
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const Json_t head = Json_t::object({{"name", wanted[i].name},
                                            {"element", wanted[i].element},
                                            {"quantity", wanted[i].quantity},
                                            {"unit", wanted[i].unit},
                                            {"limits", limitsOf(wanted[i])}});
        const std::string opened = head.text(-1);
        text +=
            (i == 0 ? "" : ",") + opened.substr(0, opened.size() - 1) + ",\"points\":" + pointsText(points[i]) + "}";
    }
    return text + "]}";
}
