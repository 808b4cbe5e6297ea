#include "entries.h"

#include <array>
#include <string_view>

#include "health.h"
#include "json.h"
#include "names.h"
#include "render_json.h"

namespace {

struct ElementState_t {
    std::string name;
    Condition_e condition;
};

std::vector<ElementState_t> statesOf(const EnclosureStatus_t& status) {
    std::vector<ElementState_t> states;
    const auto add = [&](const auto& elements, std::string (*name)(unsigned), auto condition) {
        unsigned index = 0;
        for (const auto& element : elements) {
            states.push_back({name(index++), condition(element)});
        }
    };
    add(status.drives, slotName, driveCondition);
    add(status.supplies, supplyName, supplyCondition);
    add(status.fans, fanName, fanCondition);
    add(status.sensors, sensorName, sensorCondition);
    return states;
}

const char* severityOf(Condition_e condition) {
    return condition == CONDITION_E_FAULT ? "error" : (condition == CONDITION_E_WARNING ? "warning" : "information");
}

std::string changeText(const ElementState_t& now, const Health_t& health) {
    for (const Problem_t& problem : health.problems) {
        if (problem.element == now.name) {
            return problem.text;
        }
    }
    return now.name + (now.condition == CONDITION_E_ABSENT ? " is empty" : " is ok");
}

Entry_t changeEntry(const ElementState_t& before, const ElementState_t& now, const Health_t& health, Millis_t time) {
    Json_t document = newDocument("esamon.change");
    document.set("time", millisText(time));
    document.set("name", "state-change");
    document.set("severity", severityOf(now.condition));
    document.set("elements", std::vector<std::string>{now.name});
    document.set("from", conditionName(before.condition));
    document.set("to", conditionName(now.condition));
    document.set("text", changeText(now, health));
    return {0, time, time, 1, "state-change", {now.name}, document.text(-1)};
}

const char* commandWord(Command_e command) {
    constexpr std::array WORDS{"leds", "alarm", "fans"};
    return WORDS[static_cast<std::size_t>(command)];
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : ", ") + word;
    }
    return text;
}

} // namespace

Entry_t watchEntry(Millis_t time, const char* name, const char* severity, const std::string& text) {
    Json_t document = newDocument("esamon.monitor");
    document.set("time", millisText(time));
    document.set("name", name);
    document.set("severity", severity);
    document.set("elements", std::vector<std::string>{});
    document.set("text", text);
    return {0, time, time, 1, name, {}, document.text(-1)};
}

bool hasAsManyElements(const EnclosureStatus_t& before, const EnclosureStatus_t& now) {
    return statesOf(before).size() == statesOf(now).size();
}

std::vector<Entry_t> changeEntries(const EnclosureStatus_t& before, const EnclosureStatus_t& now, Millis_t time) {
    std::vector<Entry_t> changes;
    const std::vector<ElementState_t> then = statesOf(before);
    const std::vector<ElementState_t> states = statesOf(now);
    const Health_t health = assessHealth(now);
    for (std::size_t i = 0; i < states.size() && i < then.size(); ++i) {
        if (states[i].condition != then[i].condition) {
            changes.push_back(changeEntry(then[i], states[i], health, time));
        }
    }
    return changes;
}

Entry_t actionEntry(const ActionResult_t& result) {
    Json_t document = newDocument("esamon.action");
    const bool isAccepted = result.error.empty();
    const std::string what = commandWord(result.action.command);
    // A request that failed may have named anything.
    const std::vector<std::string> elements = isAccepted ? result.action.elements : std::vector<std::string>{};
    document.set("time", millisText(result.time));
    document.set("name", "action");
    document.set("severity", "information");
    document.set("elements", elements);
    document.set("command", what);
    document.set("request", result.action.request);
    document.set("result", isAccepted ? "accepted" : (result.code == "refused" ? "refused" : "failed"));
    document.set("who", result.action.who);
    document.set("text", result.action.who + " asked for " + what + " " + result.action.request +
                             (elements.empty() ? "" : ": " + joined(elements)) +
                             (isAccepted ? "" : "; " + result.error));
    return {0, result.time, result.time, 1, "action", elements, document.text(-1)};
}

std::string wordsOf(const std::string& document) {
    constexpr std::string_view MEMBER = "\"text\":\"";
    const std::size_t begin = document.rfind(MEMBER);
    return begin == std::string::npos
               ? ""
               : document.substr(begin + MEMBER.size(), document.size() - begin - MEMBER.size() - 2);
}
