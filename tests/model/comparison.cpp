#include "comparison.h"

#include <algorithm>

namespace model {
namespace {

constexpr std::size_t LINES_IN_FRONT = 12;
constexpr std::size_t LINES_BEHIND = 3;
constexpr std::size_t LONGEST_LINE = 600;

bool equal(const Entry_t& a, const Entry_t& b, Functions_e functions) {
    return a.kind == b.kind && a.text == b.text && (functions == Functions_e::IGNORED || a.function == b.function);
}

std::string shortened(std::string line) {
    if (line.size() > LONGEST_LINE) {
        line.resize(LONGEST_LINE);
        line += "...";
    }
    return line + "\n";
}

std::string lines(const std::vector<Entry_t>& stream, std::size_t from, std::size_t to, const char* mark) {
    std::string text;
    for (std::size_t i = from; i < std::min(to, stream.size()); ++i) {
        text += mark + shortened(toText(stream[i]));
    }
    return text;
}

/** Two long lines differ somewhere: the place says more than the lines do. */
std::string placeOf(const Entry_t& a, const Entry_t& b) {
    const auto [atA, atB] = std::mismatch(a.text.begin(), a.text.end(), b.text.begin(), b.text.end());
    const auto at = static_cast<std::size_t>(atA - a.text.begin());
    const std::size_t from = at < 20 ? 0 : at - 20;
    return "at character " + std::to_string(at) + ": '" + a.text.substr(from, 60) + "' and '" +
           b.text.substr(from, 60) + "'\n";
}

} // namespace

std::string toText(const Entry_t& entry) {
    return entry.kind == Entry_t::TRACE ? "trace " + entry.function + ": " + entry.text : entry.text;
}

std::vector<Entry_t> streamOf(const Life_t& life, const Side_t& side) {
    SimulatedWorld_t world(life);
    side(life, world);
    return std::move(world.stream);
}

std::optional<std::string> difference(const std::vector<Entry_t>& expected, const std::vector<Entry_t>& found,
                                      Functions_e functions) {
    const auto [atA, atB] = std::mismatch(expected.begin(), expected.end(), found.begin(), found.end(),
                                          [=](const Entry_t& a, const Entry_t& b) { return equal(a, b, functions); });
    if (atA == expected.end() && atB == found.end()) {
        return std::nullopt;
    }
    const auto at = static_cast<std::size_t>(atA - expected.begin());
    std::string text = "entry " + std::to_string(at) + " differs (= both, - expected, + found)\n";
    text += lines(expected, at < LINES_IN_FRONT ? 0 : at - LINES_IN_FRONT, at, "= ");
    text += at < expected.size() ? lines(expected, at, at + 1 + LINES_BEHIND, "- ") : "- (end)\n";
    text += at < found.size() ? lines(found, at, at + 1 + LINES_BEHIND, "+ ") : "+ (end)\n";
    if (at < expected.size() && at < found.size()) {
        text += placeOf(expected[at], found[at]);
    }
    return text;
}

std::optional<std::string> compare(const Life_t& life, const Side_t& expected, const Side_t& found,
                                   Functions_e functions) {
    return difference(streamOf(life, expected), streamOf(life, found), functions);
}

void countFunctions(const std::vector<Entry_t>& expected, const std::vector<Entry_t>& found, FunctionPairs_t& pairs) {
    for (std::size_t i = 0; i < std::min(expected.size(), found.size()); ++i) {
        if (expected[i].kind == Entry_t::TRACE && found[i].kind == Entry_t::TRACE) {
            ++pairs[{expected[i].function, found[i].function}];
        }
    }
}

} // namespace model
