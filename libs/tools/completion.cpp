#include "completion.h"

#include <algorithm>
#include <utility>

namespace {

using Words_t = std::vector<std::string>;
using OptionList_t = std::vector<const CliOption_t*>;

bool isOption(std::string_view word) {
    return word.size() > 1 && word.front() == '-' && word != "--";
}

/** The names of "-k,--key". */
Words_t namesOf(const CliOption_t& option) {
    const std::string name = option.name;
    const std::size_t comma = name.find(',');
    return comma == std::string::npos ? Words_t{name} : Words_t{name.substr(0, comma), name.substr(comma + 1)};
}

bool takesValue(const CliOption_t& option) {
    return !std::holds_alternative<bool*>(option.target);
}

OptionList_t optionsAt(const CliProgram_t& program, const CliCommand_t* command) {
    OptionList_t all;
    const auto add = [&](const std::vector<CliOption_t>& options) {
        for (const CliOption_t& option : options) {
            all.push_back(&option);
        }
    };
    add(command == nullptr ? program.options : command->options);
    if (command != nullptr && command->choice) {
        add(command->choice->options);
    }
    return all;
}

/** The option of a word without its value: "-k100" is "-k". */
std::string optionOf(const std::string& word) {
    return word.starts_with("--") ? word.substr(0, word.find('=')) : word.substr(0, 2);
}

const CliOption_t* findOption(const OptionList_t& options, const std::string& name) {
    for (const CliOption_t* option : options) {
        const Words_t names = namesOf(*option);
        if (isOption(option->name) && std::ranges::find(names, name) != names.end()) {
            return option;
        }
    }
    return nullptr;
}

void store(const CliOption_t& option, const std::string& value) {
    if (const auto* target = std::get_if<std::string*>(&option.target)) {
        **target = value;
    }
}

void takeOption(const CliProgram_t& program, CliPlace_t& place, const std::string& word) {
    const bool isHelp = word == "-h" || word == "--help" || (word == "--version" && place.command == nullptr);
    place.isHelp = place.isHelp || isHelp;
    const std::string name = optionOf(word);
    const CliOption_t* const option = findOption(optionsAt(program, place.command), name);
    if (option == nullptr && !isHelp && place.unknownOption.empty()) {
        place.unknownOption = name;
        place.isBeforeCommand = place.command == nullptr && !program.commands.empty();
    }
    if (option == nullptr || !takesValue(*option)) {
        return;
    }
    if (name.size() == word.size()) {
        place.waiting = option;
    } else {
        store(*option, word.substr(name.size() + (word[name.size()] == '=' ? 1 : 0)));
    }
}

void takeWord(const CliProgram_t& program, CliPlace_t& place, const std::string& word) {
    if (program.commands.empty() || place.command != nullptr) {
        ++place.arguments;
        return;
    }
    const auto found = std::ranges::find(program.commands, word, &CliCommand_t::name);
    if (found != program.commands.end()) {
        place.command = &*found;
    } else if (place.unknown.empty()) {
        place.unknown = word;
    }
}

/** "--format", "=", "json" as one word again. */
Words_t joined(const Words_t& words) {
    Words_t whole;
    bool open = false;
    for (const std::string& word : words) {
        if (!whole.empty() && word == "=" && whole.back().starts_with("--")) {
            whole.back() += word;
            open = true;
        } else if (open) {
            whole.back() += word;
            open = false;
        } else {
            whole.push_back(word);
        }
    }
    return whole;
}

class Offer_t {
public:
    Offer_t(std::string current) : current_(std::move(current)) {}

    void word(const std::string& word, const std::string& meaning = {}) {
        if (word.starts_with(current_)) {
            lines.push_back(word + (meaning.empty() ? "" : "\t" + meaning));
        }
    }

    /** What `option` may be; `before` stands in front of it in the same word. */
    void value(const CliOption_t& option, std::string before) {
        const std::size_t comma = current_.rfind(',');
        if (option.isList && comma != std::string::npos) {
            before = current_.substr(0, comma + 1);
        }
        for (const char* choice : option.choices) {
            word(before + choice);
        }
        if (option.suggest) {
            for (const std::string& suggestion : option.suggest()) {
                word(before + suggestion);
            }
        }
        const std::string_view type = option.type == nullptr ? "" : option.type;
        if (type == "FILE" || type == "DIR") {
            lines.emplace_back(type == "FILE" ? ":files" : ":directories");
        }
    }

    Words_t lines;

private:
    std::string current_;
};

void offerOptions(const CliProgram_t& program, const CliPlace_t& place, Offer_t& offer) {
    for (const CliOption_t* option : optionsAt(program, place.command)) {
        if (isOption(option->name)) {
            offer.word(namesOf(*option).back(), option->description);
        }
    }
    offer.word("--help", "Print this help message and exit");
    if (place.command == nullptr) {
        offer.word("--version", "Print the version");
    }
}

void offerArgument(const CliProgram_t& program, const CliPlace_t& place, Offer_t& offer) {
    if (place.command == nullptr && !program.commands.empty()) {
        for (const CliCommand_t& command : program.commands) {
            offer.word(command.name, command.description);
        }
        return;
    }
    OptionList_t arguments = optionsAt(program, place.command);
    std::erase_if(arguments, [](const CliOption_t* option) { return isOption(option->name); });
    if (place.arguments < arguments.size()) {
        offer.value(*arguments[place.arguments], "");
    }
}

} // namespace

std::vector<std::string> optionNames(const CliProgram_t& program, const CliCommand_t* command) {
    Words_t names;
    for (const CliOption_t* option : optionsAt(program, command)) {
        if (isOption(option->name)) {
            names.push_back(namesOf(*option).back());
        }
    }
    names.emplace_back("--help");
    if (command == nullptr) {
        names.emplace_back("--version");
    }
    return names;
}

CliPlace_t findPlace(const CliProgram_t& program, const std::vector<std::string>& words) {
    CliPlace_t place;
    for (const std::string& word : words) {
        if (place.waiting != nullptr) {
            store(*std::exchange(place.waiting, nullptr), word);
        } else if (isOption(word)) {
            takeOption(program, place, word);
        } else {
            takeWord(program, place, word);
        }
    }
    return place;
}

std::vector<std::string> completionsOf(const CliProgram_t& program, std::vector<std::string> words) {
    words = joined(words);
    const std::string current = words.empty() ? "" : words.back();
    words.resize(words.empty() ? 0 : words.size() - 1);
    const CliPlace_t place = findPlace(program, words);
    Offer_t offer(current);
    const std::size_t equals = current.find('=');
    if (!place.unknown.empty()) {
        return {};
    }
    if (place.waiting != nullptr) {
        offer.value(*place.waiting, "");
    } else if (current.starts_with("--") && equals != std::string::npos) {
        const CliOption_t* const option = findOption(optionsAt(program, place.command), current.substr(0, equals));
        if (option != nullptr && takesValue(*option)) {
            offer.value(*option, current.substr(0, equals + 1));
        }
    } else if (current.starts_with('-')) {
        offerOptions(program, place, offer);
    } else {
        offerArgument(program, place, offer);
    }
    return offer.lines;
}
