/**
 * What `esactl decode` makes of hostile logs: any text, and logs of records and dumps whose bodies are the input. Words
 * are printable whatever the bytes are; what is no dump stays as it is; and a message has the same words in both logs.
 */
#include <algorithm>
#include <sstream>
#include <string>

#include "fuzz_input.h"
#include "log_words.h"

namespace {

using Bytes_t = std::vector<std::uint8_t>;
using Lines_t = std::vector<std::string>;
using fuzz::require;

constexpr char DIGITS[] = "0123456789abcdef";
constexpr int HANDLED = 3;

Lines_t words(const std::string& log) {
    std::istringstream file(log);
    return logInWords(file).lines;
}

bool isPrintable(const std::string& text) {
    return std::ranges::all_of(text, [](char c) { return c >= 0x20 && c < 0x7F; });
}

void requirePrintable(const Lines_t& lines) {
    require(std::ranges::all_of(lines, isPrintable));
}

/** What is no dump comes out as it went in, and in its order. */
void requireKept(const std::string& trace, const Lines_t& lines) {
    auto next = lines.begin();
    std::istringstream file(trace);
    for (std::string line; std::getline(file, line);) {
        if (!line.starts_with("0x")) {
            next = std::find(next, lines.end(), line);
            require(next != lines.end());
            ++next;
        }
    }
}

void anyText(fuzz::Input_t& input) {
    const Bytes_t bytes = input.all();
    const std::string text(bytes.begin(), bytes.end());
    const std::size_t begin = std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size());
    const Lines_t lines = words(text);
    if (lines.empty()) {
        return; // no log
    }
    if (text.compare(begin, 1, "{") == 0) {
        requirePrintable(lines);
    } else {
        requireKept(text.substr(begin), lines);
    }
}

std::string hexOf(const Bytes_t& bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += DIGITS[byte >> 4];
        text += DIGITS[byte & 15];
    }
    return text;
}

std::string recordOf(unsigned id, unsigned time, const Bytes_t& body) {
    return R"({"time":)" + std::to_string(time) + R"(,"evId":)" + std::to_string(id) + R"(,"body":")" + hexOf(body) +
           "\"}\n";
}

/** Sixteen bytes a line, in groups of eight. */
std::string dumpOf(const Bytes_t& body) {
    const std::string hex = hexOf(body);
    std::string text;
    for (std::size_t at = 0; at < hex.size(); at += 32) {
        text += "0x00000000: " + hex.substr(at, 16);
        text += hex.size() > at + 16 ? " " + hex.substr(at + 16, 16) + "\n" : "\n";
    }
    return text;
}

/** The lines behind those that tell of a record or a trace line, without what they are indented by. */
Lines_t indented(const Lines_t& lines, std::size_t by) {
    Lines_t found;
    for (const std::string& line : lines) {
        if (line.starts_with(std::string(by, ' '))) {
            found.push_back(line.substr(by));
        }
    }
    return found;
}

/** Messages, the later ones after the earlier: a status page has the words of the configuration before it. */
void messages(fuzz::Input_t& input) {
    std::string log;
    std::string trace = "a trace line\n";
    while (!input.empty()) {
        const Bytes_t body = input.bytes(input.word() % 4096);
        if (!body.empty()) {
            log += recordOf(HANDLED, 1767225600, body);
            trace += dumpOf(body) + "a trace line\n";
        }
    }
    const Lines_t told = words(log);
    requirePrintable(told);
    require(indented(told, 6) == indented(words(trace), 4));
}

void records(fuzz::Input_t& input) {
    std::string log;
    while (!input.empty()) {
        const unsigned id = input.byte() % 8;
        const unsigned time = input.word();
        log += recordOf(id, time << 16, input.bytes(input.word() % 4096));
    }
    const Lines_t lines = words(log);
    requirePrintable(lines);
    const auto heads = std::ranges::count_if(lines, [](const std::string& line) { return line[0] != ' '; });
    require(heads == std::ranges::count(log, '\n'));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input_t input(data, size);
    switch (input.byte() % 4) {
    case 0:
        records(input);
        break;
    case 1:
        messages(input);
        break;
    default:
        anyText(input);
        break;
    }
    return 0;
}
