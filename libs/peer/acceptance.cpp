#include "acceptance.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <sstream>
#include <sys/stat.h>

#include "errors.h"
#include "replace_file.h"

namespace {

constexpr mode_t EVERYBODY_READS = 0644;

std::string fileIn(const std::string& directory) {
    return directory + "/accepted";
}

std::string joinedNames(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : ",") + name;
    }
    return text;
}

std::vector<std::string> splitNames(const std::string& text) {
    std::vector<std::string> names;
    std::istringstream words(text);
    for (std::string name; std::getline(words, name, ',');) {
        names.push_back(name);
    }
    return names;
}

std::string lineOf(const Acceptance_t& acceptance) {
    std::ostringstream line;
    line << joinedNames(acceptance.elements) << '\t' << acceptance.kind << '\t' << acceptance.measure << '\t'
         << static_cast<int>(acceptance.condition) << '\t' << acceptance.until << '\t' << acceptance.text << '\n';
    return line.str();
}

template <typename T>
bool readNumber(const std::string& text, T& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

bool readLine(const std::string& line, Acceptance_t& acceptance) {
    std::istringstream fields(line);
    std::string elements;
    std::string measure;
    std::string condition;
    std::string until;
    int conditionNumber = 0;
    long long seconds = 0;
    const bool whole = std::getline(fields, elements, '\t') && std::getline(fields, acceptance.kind, '\t') &&
                       std::getline(fields, measure, '\t') && std::getline(fields, condition, '\t') &&
                       std::getline(fields, until, '\t') && std::getline(fields, acceptance.text);
    if (!whole || !readNumber(measure, acceptance.measure) || !readNumber(condition, conditionNumber) ||
        !readNumber(until, seconds)) {
        return false;
    }
    acceptance.condition = conditionNumber == CONDITION_E_FAULT ? CONDITION_E_FAULT : CONDITION_E_WARNING;
    acceptance.elements = splitNames(elements);
    if (acceptance.elements.empty()) {
        return false;
    }
    acceptance.until = static_cast<std::time_t>(seconds);
    return true;
}

bool covers(const Acceptance_t& acceptance, const Problem_t& problem, std::time_t now) {
    const auto isAccepted = [&](const std::string& element) {
        return std::ranges::find(acceptance.elements, element) != acceptance.elements.end();
    };
    return std::ranges::all_of(elementsOf(problem), isAccepted) && acceptance.kind == problem.kind &&
           now < acceptance.until && problem.condition <= acceptance.condition && problem.measure <= acceptance.measure;
}

bool readDate(const std::string& text, std::time_t& moment) {
    for (const char* const format :
         {"%Y-%m-%dT%H:%M:%SZ", "%Y-%m-%dT%H:%M:%S", "%Y-%m-%dT%H:%MZ", "%Y-%m-%dT%H:%M", "%Y-%m-%d"}) {
        std::tm parts{};
        const char* const end = strptime(text.c_str(), format, &parts);
        if (end != nullptr && *end == '\0') {
            moment = timegm(&parts);
            return true;
        }
    }
    return false;
}

bool readDuration(const std::string& text, std::time_t now, std::time_t& moment) {
    constexpr std::string_view UNITS = "mhdw";
    constexpr std::time_t SECONDS[] = {60, 3600, 86400, 7 * 86400};
    const std::size_t unit = text.empty() ? std::string_view::npos : UNITS.find(text.back());
    unsigned number = 0;
    constexpr unsigned MOST = 100000;
    if (unit == std::string_view::npos || !readNumber(text.substr(0, text.size() - 1), number) || number > MOST) {
        return false;
    }
    moment = now + static_cast<std::time_t>(number) * SECONDS[unit];
    return true;
}

} // namespace

Acceptances_t readAcceptances(const std::string& directory) {
    Acceptances_t acceptances;
    std::ifstream file(fileIn(directory));
    for (std::string line; std::getline(file, line);) {
        Acceptance_t acceptance;
        if (readLine(line, acceptance)) {
            acceptances.push_back(acceptance);
        }
    }
    return acceptances;
}

void writeAcceptances(const std::string& directory, const Acceptances_t& acceptances) {
    const std::string path = fileIn(directory);
    std::string text;
    for (const Acceptance_t& acceptance : acceptances) {
        text += lineOf(acceptance);
    }
    const std::string reason = replaceFile(path, text, EVERYBODY_READS);
    if (!reason.empty()) {
        throw outputError("cannot write '" + path + "': " + reason +
                          "; name another directory with --state, or join the group that may write there");
    }
}

Health_t withAcceptances(const Health_t& health, const Acceptances_t& acceptances, std::time_t now) {
    std::vector<Problem_t> left;
    std::vector<Accepted_t> accepted;
    for (const Problem_t& problem : health.problems) {
        const auto found = std::ranges::find_if(
            acceptances, [&](const Acceptance_t& acceptance) { return covers(acceptance, problem, now); });
        if (found == acceptances.end()) {
            left.push_back(problem);
        } else {
            accepted.push_back({problem, timeTextOf(found->until)});
        }
    }
    Health_t rest = healthOf(std::move(left));
    rest.accepted = std::move(accepted);
    return rest;
}

std::time_t parseUntil(const std::string& text, std::time_t now) {
    std::time_t moment = 0;
    if (!readDuration(text, now, moment) && !readDate(text, moment)) {
        throw usageError("'" + text +
                         "' names no moment; expected a date such as 2026-12-01 or 2026-12-01T18:30 (UTC), or a time "
                         "from now such as 8h, 3d or 2w");
    }
    if (moment <= now) {
        throw usageError("'" + text + "' is over; expected a moment after " + timeTextOf(now));
    }
    return moment;
}

std::string timeTextOf(std::time_t time) {
    std::tm parts{};
    char text[32];
    gmtime_r(&time, &parts);
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}
