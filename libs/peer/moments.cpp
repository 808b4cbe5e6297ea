#include "moments.h"

#include <charconv>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace {

constexpr double LATEST_SECONDS = 253402300799.0; // the year 9999

/** A number of seconds, not negative, that takes up the whole text. */
std::optional<double> parseSeconds(std::string_view text) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
    const bool good = error == std::errc() && end == text.data() + text.size() && value >= 0 && value <= LATEST_SECONDS;
    return good ? std::optional(value) : std::nullopt;
}

std::optional<double> unitSeconds(char unit) {
    switch (unit) {
    case 's':
        return 1;
    case 'm':
        return 60;
    case 'h':
        return 3600;
    case 'd':
        return 86400;
    case 'y':
        return 365.0 * 86400;
    default:
        return std::nullopt;
    }
}

std::optional<Millis_t> parseCalendar(const std::string& text) {
    std::tm parts{};
    const char* const used = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
    if (used == nullptr) {
        return std::nullopt;
    }
    std::string rest = used;
    if (rest.empty() || rest.back() != 'Z') {
        return std::nullopt;
    }
    rest.pop_back();
    const std::optional<double> fraction = rest.empty() ? 0.0 : parseSeconds("0" + rest);
    constexpr int EPOCH = 70; // years since 1900
    if (!fraction || *fraction >= 1 || parts.tm_year < EPOCH) {
        return std::nullopt;
    }
    return static_cast<Millis_t>(timegm(&parts)) * 1000 + static_cast<Millis_t>(*fraction * 1000);
}

} // namespace

Millis_t millisNow() {
    return std::chrono::system_clock::now().time_since_epoch() / std::chrono::milliseconds(1);
}

std::string millisText(Millis_t moment) {
    const auto seconds = static_cast<std::time_t>(moment / 1000);
    std::tm parts{};
    char day[32];
    char text[64];
    gmtime_r(&seconds, &parts);
    std::strftime(day, sizeof day, "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(text, sizeof text, "%s.%03dZ", day, static_cast<int>(moment % 1000));
    return text;
}

std::optional<Millis_t> parseMoment(std::string_view text, Millis_t now) {
    if (text.empty()) {
        return std::nullopt;
    }
    if (const std::optional<double> unit = unitSeconds(text.back())) {
        const std::optional<double> count = parseSeconds(text.substr(0, text.size() - 1));
        const double age = count ? *count * *unit * 1000 : -1;
        const bool isSince1970 = age >= 0 && age <= static_cast<double>(now);
        return isSince1970 ? std::optional(now - static_cast<Millis_t>(age)) : std::nullopt;
    }
    if (const std::optional<double> seconds = parseSeconds(text)) {
        return static_cast<Millis_t>(*seconds * 1000);
    }
    return parseCalendar(std::string(text));
}
