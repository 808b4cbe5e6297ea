#include "life.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string_view>
#include <utility>

namespace model {
namespace {

constexpr std::size_t LONGEST_PLAIN_RUN = 8;

constexpr std::array<const char*, 9> CALLS = {"socket", "connect", "open",  "select", "recv",
                                              "send",   "read",    "write", "i2c"};
constexpr std::array<const char*, 4> ATTACHES = {"ok", "absent", "unmappable", "version"};

std::string hex(std::uint32_t value) {
    char text[16];
    (void)std::snprintf(text, sizeof(text), "%x", value);
    return text;
}

std::string hex2(std::uint32_t value) {
    return (value < 0x10 ? "0" : "") + hex(value);
}

std::string toText(const Outcome_t& outcome) {
    if (!outcome.fromAsked) {
        return std::to_string(outcome.value);
    }
    return outcome.value < 0 ? "asked" + std::to_string(outcome.value) : "asked+" + std::to_string(outcome.value);
}

std::string place(const Step_t& step) {
    return hex2(step.address) + (step.reg ? " " + hex2(*step.reg) : "");
}

/** One line of the text form, word by word; `good` is false once a word was not what it had to be. */
class Words_t {
public:
    explicit Words_t(const std::string& line) : stream_(line) {}

    std::string word() {
        std::string text;
        good &= static_cast<bool>(stream_ >> text);
        return text;
    }
    bool more() { return !(stream_ >> std::ws).eof(); }

    template <typename Number>
    void number(Number& number, int base = 10) {
        number = static_cast<Number>(parsed(word(), base));
    }
    void hex(std::uint32_t& value) { number(value, 16); }

    Outcome_t outcome() {
        const std::string text = word();
        if (text.starts_with("asked")) {
            return {true, text.size() == 5 ? 0 : static_cast<long>(parsed(text.substr(5), 10))};
        }
        return {false, static_cast<long>(parsed(text, 10))};
    }

    template <typename Value, typename Names>
    void oneOf(Value& value, const Names& names) {
        const auto found = std::ranges::find(names, word());
        good &= found != names.end();
        value = static_cast<Value>(good ? found - names.begin() : 0);
    }

    Bytes_t bytes() {
        Bytes_t all;
        while (more()) {
            const std::string text = word();
            const std::size_t star = text.find('*');
            if (star != std::string::npos) {
                const auto byte = static_cast<std::uint8_t>(parsed(text.substr(0, star), 16));
                const auto count = static_cast<std::size_t>(parsed(text.substr(star + 1), 10));
                good &= count <= 0x20000;
                all.insert(all.end(), good ? count : 0, byte);
                continue;
            }
            good &= text.size() % 2 == 0;
            for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
                all.push_back(static_cast<std::uint8_t>(parsed(text.substr(i, 2), 16)));
            }
        }
        return all;
    }

    bool good = true;

private:
    std::int64_t parsed(const std::string& text, int base) {
        char* end = nullptr;
        const std::int64_t value = std::strtoll(text.c_str(), &end, base);
        good &= !text.empty() && *end == '\0';
        return value;
    }

    std::istringstream stream_;
};

using ReadSetting_t = void (*)(Words_t&, Life_t&);
const std::map<std::string, ReadSetting_t> SETTINGS = {
    {"arguments",
     [](Words_t& words, Life_t& life) {
         life.arguments.clear();
         while (words.more()) {
             life.arguments.push_back(words.word());
         }
     }},
    {"attach", [](Words_t& words, Life_t& life) { words.oneOf(life.attach, ATTACHES); }},
    {"chassis", [](Words_t& words, Life_t& life) { words.number(life.chassis); }},
    {"start-flags", [](Words_t& words, Life_t& life) { words.hex(life.flags); }},
    {"rcp", [](Words_t& words, Life_t& life) { words.number(life.rcp); }},
    {"socket", [](Words_t& words, Life_t& life) { words.number(life.socketFd); }},
    {"device", [](Words_t& words, Life_t& life) { words.number(life.deviceFd); }},
    {"directory", [](Words_t& words, Life_t& life) { life.directory = words.more() ? words.word() : ""; }},
    {"bug-check",
     [](Words_t& words, Life_t& life) {
         words.oneOf(life.bugCheckEnds, std::array{"returns", "ends"});
     }},
};

const std::map<std::string, Step_t::Kind_e> KINDS = {
    {"pass", Step_t::PASS},          {"put", Step_t::PUT},   {"close", Step_t::CLOSE},
    {"register", Step_t::REGISTER},  {"fail", Step_t::FAIL}, {"dead", Step_t::DEAD},
    {"dead-register", Step_t::DEAD}, {"heal", Step_t::HEAL}, {"flags", Step_t::FLAGS}};

bool readStep(const std::string& name, Words_t& words, Step_t& step) {
    const auto kind = KINDS.find(name);
    if (kind == KINDS.end()) {
        return false;
    }
    step.kind = kind->second;
    if (step.kind == Step_t::PASS && words.more()) {
        words.number(step.count);
    } else if (step.kind == Step_t::PUT) {
        step.bytes = words.bytes();
    } else if (step.kind == Step_t::FAIL) {
        words.oneOf(step.call, CALLS);
        words.number(step.count);
    } else if (step.kind == Step_t::REGISTER || step.kind == Step_t::DEAD) {
        words.number(step.address, 16);
        if (name != "dead") {
            words.hex(step.reg.emplace());
        }
    }
    if (step.kind == Step_t::REGISTER || step.kind == Step_t::FLAGS) {
        words.hex(step.value);
    } else if (step.kind == Step_t::FAIL || step.kind == Step_t::DEAD) {
        step.outcome = words.outcome();
    }
    return words.good && !words.more();
}

} // namespace

std::string toHex(const Bytes_t& bytes) {
    std::string text;
    for (std::size_t at = 0; at < bytes.size();) {
        std::size_t end = at + 1;
        while (end < bytes.size() && bytes[end] == bytes[at]) {
            ++end;
        }
        if (end - at > LONGEST_PLAIN_RUN) {
            text += (text.empty() || text.back() == ' ' ? "" : " ") + hex2(bytes[at]) + "*" + std::to_string(end - at) +
                    " ";
            at = end;
        } else {
            text += hex2(bytes[at++]);
        }
    }
    if (!text.empty() && text.back() == ' ') {
        text.pop_back();
    }
    return text;
}

std::string toText(const Step_t& step) {
    switch (step.kind) {
    case Step_t::PASS:
        return step.count == 1 ? "pass" : "pass " + std::to_string(step.count);
    case Step_t::PUT:
        return "put " + toHex(step.bytes);
    case Step_t::CLOSE:
        return "close";
    case Step_t::REGISTER:
        return "register " + place(step) + " " + hex2(step.value);
    case Step_t::FAIL:
        return std::string("fail ") + CALLS.at(static_cast<std::size_t>(step.call)) + " " + std::to_string(step.count) +
               " " + toText(step.outcome);
    case Step_t::DEAD:
        return (step.reg ? "dead-register " : "dead ") + place(step) + " " + toText(step.outcome);
    case Step_t::HEAL:
        return "heal";
    case Step_t::FLAGS:
        return "flags " + hex(step.value);
    }
    return "";
}

std::string toText(const Life_t& life) {
    const Life_t usual;
    std::string text = "chassis " + std::to_string(life.chassis) + "\nstart-flags " + hex(life.flags) + "\n";
    if (life.arguments != usual.arguments) {
        text += "arguments";
        for (const std::string& argument : life.arguments) {
            text += " " + argument;
        }
        text += "\n";
    }
    const auto setting = [&text](const char* name, const std::string& value, bool isUsual) {
        text += isUsual ? "" : std::string(name) + " " + value + "\n";
    };
    setting("attach", ATTACHES.at(static_cast<std::size_t>(life.attach)), life.attach == usual.attach);
    setting("rcp", std::to_string(life.rcp), life.rcp == usual.rcp);
    setting("socket", std::to_string(life.socketFd), life.socketFd == usual.socketFd);
    setting("device", std::to_string(life.deviceFd), life.deviceFd == usual.deviceFd);
    setting("directory", life.directory, life.directory == usual.directory);
    setting("bug-check", "ends", !life.bugCheckEnds);
    for (const Step_t& step : life.steps) {
        text += toText(step) + "\n";
    }
    return text;
}

std::optional<Life_t> lifeFromText(const std::string& text, std::string& error) {
    Life_t life;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        Words_t words(line.substr(0, line.find('#')));
        if (!words.more()) {
            continue;
        }
        const std::string name = words.word();
        Step_t step;
        if (readStep(name, words, step)) {
            life.steps.push_back(std::move(step));
        } else if (const auto setting = SETTINGS.find(name); words.good && setting != SETTINGS.end()) {
            setting->second(words, life);
        }
        if (!words.good || words.more() || (!KINDS.contains(name) && !SETTINGS.contains(name))) {
            error = line;
            return std::nullopt;
        }
    }
    return life;
}

std::optional<Life_t> lifeFromFile(const std::string& path, std::string& error) {
    std::ifstream file(path);
    if (!file) {
        error = "cannot be read";
        return std::nullopt;
    }
    return lifeFromText({std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()}, error);
}

} // namespace model
