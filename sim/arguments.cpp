#include "arguments.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <sstream>

namespace {

std::string plain(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

} // namespace

std::string inQuotes(std::string_view word) {
    constexpr std::size_t SHOWN = 40;
    std::string text = "\"";
    for (const char c : word.substr(0, SHOWN)) {
        text += c >= ' ' && c <= '~' ? c : '?';
    }
    return text + "\"";
}

Arguments_t::Arguments_t(std::string_view line) {
    std::istringstream words{std::string(line)};
    words >> command_;
    for (std::string word; words >> word;) {
        words_.push_back(word);
    }
}

const std::string& Arguments_t::word(std::size_t at) const {
    static const std::string none;
    return at < words_.size() ? words_[at] : none;
}

void Arguments_t::expect(std::size_t least, std::size_t most, const char* usage) const {
    if (words_.size() < least || words_.size() > most) {
        throw Refused_t("expected \"" + std::string(usage) + "\"");
    }
}

double Arguments_t::number(std::size_t at, const char* what, double least, double most) const {
    const std::string& text = word(at);
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || !(value >= least && value <= most)) {
        throw Refused_t(std::string(what) + " is " + inQuotes(text) + "; it must be a number from " + plain(least) +
                        " to " + plain(most));
    }
    return value;
}

unsigned Arguments_t::whole(std::size_t at, const char* what, unsigned least, unsigned most) const {
    const std::string& text = word(at);
    const bool hex = text.starts_with("0x") || text.starts_with("0X");
    const char* const begin = text.data() + (hex ? 2 : 0);
    const char* const stop = text.data() + text.size();
    unsigned value = 0;
    const auto [end, error] = std::from_chars(begin, stop, value, hex ? 16 : 10);
    if (error != std::errc{} || end != stop || value < least || value > most) {
        throw Refused_t(std::string(what) + " is " + inQuotes(text) + "; it must be a whole number from " +
                        std::to_string(least) + " to " + std::to_string(most) + ", decimal or with 0x");
    }
    return value;
}

std::size_t Arguments_t::index(std::size_t at, const char* what, std::size_t count) const {
    if (count == 0) {
        throw Refused_t("this chassis has no " + std::string(what));
    }
    return whole(at, what, 0, static_cast<unsigned>(count - 1));
}

bool Arguments_t::either(std::size_t at, const char* yes, const char* no) const {
    if (word(at) != yes && word(at) != no) {
        throw Refused_t(inQuotes(word(at)) + " must be \"" + yes + "\" or \"" + no + "\"");
    }
    return word(at) == yes;
}
