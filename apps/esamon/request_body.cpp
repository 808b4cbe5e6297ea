#include "request_body.h"

#include <algorithm>

#include "errors.h"
#include "json.h"
#include "listed.h"

namespace {

JsonInput_t parse(const std::string& body, std::initializer_list<const char*> members, const char* example) {
    const std::optional<JsonInput_t> document = JsonInput_t::parse(body);
    const std::vector<std::string> names = document ? document->names() : std::vector<std::string>();
    bool isGood = names.size() == members.size();
    for (const char* member : members) {
        isGood = isGood && std::ranges::find(names, member) != names.end();
    }
    if (!isGood) {
        throw usageError(std::string("the body has to be as ") + example);
    }
    return *document;
}

std::string word(const JsonInput_t& document, const char* member, std::initializer_list<std::string_view> choices) {
    std::string text = document[member].string().value_or("");
    if (std::ranges::find(choices, text) == choices.end()) {
        throw usageError(std::string("\"") + member + "\" has to be one of " + listed(choices));
    }
    return text;
}

std::vector<std::string> slots(const JsonInput_t& value) {
    if (value.string() == "all") {
        return {"all"};
    }
    constexpr std::size_t MOST = 256;
    const std::vector<JsonInput_t> elements = value.elements();
    std::vector<std::string> names;
    for (const JsonInput_t& element : elements) {
        if (const std::optional<std::string> name = element.string(); name && *name != "all") {
            names.push_back(*name);
        }
    }
    if (names.empty() || names.size() > MOST || names.size() != elements.size()) {
        throw usageError("\"slots\" has to be \"all\" or a list of slots, such as [\"slot03\"]");
    }
    return names;
}

} // namespace

std::optional<Command_e> commandNamed(const std::string& name) {
    if (name == "leds") {
        return Command_e::LEDS;
    }
    if (name == "alarm") {
        return Command_e::ALARM;
    }
    return name == "fans" ? std::optional(Command_e::FANS) : std::nullopt;
}

Action_t actionOf(Command_e command, const std::string& body) {
    Action_t action;
    action.command = command;
    if (command == Command_e::LEDS) {
        const JsonInput_t document = parse(body, {"slots", "state"}, R"({"slots":["slot03"],"state":"on"})");
        action.elements = slots(document["slots"]);
        action.request = word(document, "state", {"on", "off"});
    } else if (command == Command_e::ALARM) {
        action.request =
            word(parse(body, {"request"}, R"({"request":"mute"})"), "request", {"mute", "fault", "critical"});
    } else {
        const JsonInput_t document = parse(body, {"fan", "state"}, R"({"fan":"fan1","state":"on"})");
        action.elements = {document["fan"].string().value_or("")};
        action.request = word(document, "state", {"on", "off"});
    }
    return action;
}

std::string simulatorCommandOf(const std::string& body) {
    const JsonInput_t document = parse(body, {"command"}, R"({"command":"heat 1600"})");
    std::string text = document["command"].string().value_or("");
    constexpr std::size_t LONGEST = 200;
    const bool isLine = std::ranges::none_of(text, [](unsigned char c) { return c < 0x20 || c == 0x7F; });
    if (text.empty() || text.size() > LONGEST || !isLine) {
        throw usageError("\"command\" has to be one line, as \"heat 1600\"");
    }
    // The simulator and what it prints belong to whoever started it.
    if (text.starts_with("quit") || text.starts_with("log")) {
        throw usageError("\"" + text + "\" is not for everybody");
    }
    return text;
}
