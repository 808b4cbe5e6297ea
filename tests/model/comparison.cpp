#include "comparison.h"

#include <algorithm>

namespace model {
namespace {

constexpr std::size_t LINES_IN_FRONT = 12;
constexpr std::size_t LINES_BEHIND = 3;
constexpr std::size_t LONGEST_LINE = 600;

bool equal(const Entry& a, const Entry& b, Functions functions) {
    return a.kind == b.kind && a.text == b.text && (functions == Functions::IGNORED || a.function == b.function);
}

std::string shortened(std::string line) {
    if (line.size() > LONGEST_LINE) {
        line.resize(LONGEST_LINE);
        line += "...";
    }
    return line + "\n";
}

std::string lines(const std::vector<Entry>& stream, std::size_t from, std::size_t to, const char* mark) {
    std::string text;
    for (std::size_t i = from; i < std::min(to, stream.size()); ++i) {
        text += mark + shortened(toText(stream[i]));
    }
    return text;
}

/** Two long lines differ somewhere: the place says more than the lines do. */
std::string placeOf(const Entry& a, const Entry& b) {
    const auto [atA, atB] = std::mismatch(a.text.begin(), a.text.end(), b.text.begin(), b.text.end());
    const auto at = static_cast<std::size_t>(atA - a.text.begin());
    const std::size_t from = at < 20 ? 0 : at - 20;
    return "at character " + std::to_string(at) + ": '" + a.text.substr(from, 60) + "' and '" +
           b.text.substr(from, 60) + "'\n";
}

} // namespace

std::string toText(const Entry& entry) {
    return entry.kind == Entry::TRACE ? "trace " + entry.function + ": " + entry.text : entry.text;
}

std::vector<Entry> streamOf(const Life& life, const Side& side) {
    SimulatedWorld world(life);
    side(life, world);
    return std::move(world.stream);
}

std::optional<std::string> difference(const std::vector<Entry>& expected, const std::vector<Entry>& found,
                                      Functions functions) {
    const auto [atA, atB] = std::mismatch(expected.begin(), expected.end(), found.begin(), found.end(),
                                          [=](const Entry& a, const Entry& b) { return equal(a, b, functions); });
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

std::optional<std::string> compare(const Life& life, const Side& expected, const Side& found, Functions functions) {
    return difference(streamOf(life, expected), streamOf(life, found), functions);
}

void countFunctions(const std::vector<Entry>& expected, const std::vector<Entry>& found, FunctionPairs& pairs) {
    for (std::size_t i = 0; i < std::min(expected.size(), found.size()); ++i) {
        if (expected[i].kind == Entry::TRACE && found[i].kind == Entry::TRACE) {
            ++pairs[{expected[i].function, found[i].function}];
        }
    }
}

} // namespace model
