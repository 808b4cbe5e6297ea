#include "life.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string_view>
#include <utility>

namespace model {
namespace {

constexpr std::size_t LONGEST_PLAIN_RUN = 8;

constexpr std::array<const char*, 9> CALLS = {"socket", "connect", "open",  "select", "recv",
                                              "send",   "read",    "write", "i2c"};
constexpr std::array<const char*, 4> ATTACHES = {"ok", "absent", "unmappable", "version"};

std::string hex(std::uint32_t value, const char* format = "%x") {
    char text[16];
    // The format is one of this file's own.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    (void)std::snprintf(text, sizeof(text), format, value);
#pragma GCC diagnostic pop
    return text;
}

std::string toText(const Outcome_t& outcome) {
    if (!outcome.fromAsked) {
        return std::to_string(outcome.value);
    }
    return outcome.value < 0 ? "asked" + std::to_string(outcome.value) : "asked+" + std::to_string(outcome.value);
}

std::string place(const Step_t& step) {
    return hex(step.address, "%02x") + (step.reg ? " " + hex(*step.reg, "%02x") : "");
}

/** One line of the text form, word by word; `good` is false once a word was not what it had to be. */
class Words_t {
public:
    explicit Words_t(const std::string& line) : stream(line) {}

    std::string word() {
        std::string text;
        good &= static_cast<bool>(stream >> text);
        return text;
    }
    bool more() { return !(stream >> std::ws).eof(); }

    std::int64_t number(int base) { return parsed(word(), base); }

    Outcome_t outcome() {
        const std::string text = word();
        if (text.starts_with("asked")) {
            return {true, text.size() == 5 ? 0 : static_cast<long>(parsed(text.substr(5), 10))};
        }
        return {false, static_cast<long>(parsed(text, 10))};
    }

    template <typename Names>
    std::size_t oneOf(const Names& names) {
        const std::string text = word();
        for (std::size_t i = 0; i < names.size(); ++i) {
            if (text == names[i]) {
                return i;
            }
        }
        good = false;
        return 0;
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

    std::istringstream stream;
};

bool readSetting(const std::string& name, Words_t& words, Life_t& life) {
    if (name == "arguments") {
        life.arguments.clear();
        while (words.more()) {
            life.arguments.push_back(words.word());
        }
    } else if (name == "attach") {
        life.attach = static_cast<Attach_e>(words.oneOf(ATTACHES));
    } else if (name == "chassis") {
        life.chassis = static_cast<std::uint8_t>(words.number(10));
    } else if (name == "start-flags") {
        life.flags = static_cast<std::uint32_t>(words.number(16));
    } else if (name == "rcp") {
        life.rcp = static_cast<unsigned>(words.number(10));
    } else if (name == "socket") {
        life.socketFd = static_cast<int>(words.number(10));
    } else if (name == "device") {
        life.deviceFd = static_cast<int>(words.number(10));
    } else if (name == "directory") {
        life.directory = words.more() ? words.word() : "";
    } else if (name == "bug-check") {
        life.bugCheckEnds = words.oneOf(std::array{"returns", "ends"}) == 1;
    } else {
        return false;
    }
    return words.good && !words.more();
}

void readPlace(Words_t& words, Step_t& step, bool registerIsNeeded) {
    step.address = static_cast<std::uint8_t>(words.number(16));
    if (registerIsNeeded) {
        step.reg = static_cast<unsigned>(words.number(16));
    }
}

bool readStep(const std::string& name, Words_t& words, Step_t& step) {
    if (name == "pass") {
        step.kind = Step_t::PASS;
        step.count = words.more() ? static_cast<unsigned>(words.number(10)) : 1;
    } else if (name == "put") {
        step.kind = Step_t::PUT;
        step.bytes = words.bytes();
    } else if (name == "close") {
        step.kind = Step_t::CLOSE;
    } else if (name == "register") {
        step.kind = Step_t::REGISTER;
        readPlace(words, step, true);
        step.value = static_cast<std::uint32_t>(words.number(16));
    } else if (name == "fail") {
        step.kind = Step_t::FAIL;
        step.call = static_cast<Call_e>(words.oneOf(CALLS));
        step.count = static_cast<unsigned>(words.number(10));
        step.outcome = words.outcome();
    } else if (name == "dead" || name == "dead-register") {
        step.kind = Step_t::DEAD;
        readPlace(words, step, name != "dead");
        step.outcome = words.outcome();
    } else if (name == "heal") {
        step.kind = Step_t::HEAL;
    } else if (name == "flags") {
        step.kind = Step_t::FLAGS;
        step.value = static_cast<std::uint32_t>(words.number(16));
    } else {
        return false;
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
            text += (text.empty() || text.back() == ' ' ? "" : " ") + hex(bytes[at], "%02x") + "*" +
                    std::to_string(end - at) + " ";
            at = end;
        } else {
            text += hex(bytes[at++], "%02x");
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
        return "register " + place(step) + " " + hex(step.value, "%02x");
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
        } else if (!words.good || !readSetting(name, words, life)) {
            error = line;
            return std::nullopt;
        }
    }
    return life;
}

Step_t pass(unsigned count) {
    Step_t step;
    step.count = count;
    return step;
}

Step_t put(Bytes_t bytes) {
    Step_t step;
    step.kind = Step_t::PUT;
    step.bytes = std::move(bytes);
    return step;
}

Step_t setRegister(std::uint8_t address, unsigned reg, std::uint32_t value) {
    Step_t step;
    step.kind = Step_t::REGISTER;
    step.address = address;
    step.reg = reg;
    step.value = value;
    return step;
}

Step_t fail(Call_e call, unsigned after, Outcome_t outcome) {
    Step_t step;
    step.kind = Step_t::FAIL;
    step.call = call;
    step.count = after;
    step.outcome = outcome;
    return step;
}

} // namespace model
