#include "request_body.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "errors.h"

using nlohmann::json;

namespace {

json parse(const std::string& body, std::initializer_list<const char*> members, const char* example) {
    json document = json::parse(body, nullptr, false);
    bool isGood = document.is_object() && document.size() == members.size();
    for (const char* member : members) {
        isGood = isGood && document.contains(member);
    }
    if (!isGood) {
        throw usageError(std::string("the body has to be as ") + example);
    }
    return document;
}

std::string word(const json& document, const char* member, std::initializer_list<std::string_view> choices) {
    const json& value = document[member];
    std::string text = value.is_string() ? value.get<std::string>() : "";
    if (std::ranges::find(choices, text) == choices.end()) {
        std::string known;
        for (const std::string_view choice : choices) {
            known.append(known.empty() ? "" : ", ").append(choice);
        }
        throw usageError(std::string("\"") + member + "\" has to be one of " + known);
    }
    return text;
}

std::vector<std::string> slots(const json& value) {
    if (value == "all") {
        return {"all"};
    }
    std::vector<std::string> names;
    constexpr std::size_t MOST = 256;
    if (value.is_array() && !value.empty() && value.size() <= MOST) {
        for (const json& name : value) {
            if (name.is_string()) {
                names.push_back(name.get<std::string>());
            }
        }
    }
    if (names.empty() || names.size() != value.size() || std::ranges::find(names, "all") != names.end()) {
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
        const json document = parse(body, {"slots", "state"}, R"({"slots":["slot03"],"state":"on"})");
        action.elements = slots(document["slots"]);
        action.request = word(document, "state", {"on", "off"});
    } else if (command == Command_e::ALARM) {
        action.request =
            word(parse(body, {"request"}, R"({"request":"mute"})"), "request", {"mute", "fault", "critical"});
    } else {
        const json document = parse(body, {"fan", "state"}, R"({"fan":"fan1","state":"on"})");
        action.elements = {document["fan"].is_string() ? document["fan"].get<std::string>() : ""};
        action.request = word(document, "state", {"on", "off"});
    }
    return action;
}

std::string simulatorCommandOf(const std::string& body) {
    const json document = parse(body, {"command"}, R"({"command":"heat 1600"})");
    const json& command = document["command"];
    std::string text = command.is_string() ? command.get<std::string>() : "";
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
