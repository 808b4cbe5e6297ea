#include "changes.h"

#include <algorithm>

#include "health.h"
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

Entry_t changeEntry(Condition_e before, const ElementState_t& now, const std::string& text, Millis_t time) {
    Json_t document = newDocument("esamon.change");
    document.set("time", millisText(time));
    document.set("name", "state-change");
    document.set("severity", severityOf(now.condition));
    document.set("elements", std::vector<std::string>{now.name});
    document.set("from", conditionName(before));
    document.set("to", conditionName(now.condition));
    document.set("text", text);
    return {0, time, time, 1, "state-change", {now.name}, document.text(-1)};
}

std::string changeText(const ElementState_t& now, const Health_t& health) {
    const auto problem = std::ranges::find(health.problems, now.name, &Problem_t::element);
    if (problem != health.problems.end()) {
        return problem->text;
    }
    const bool isSlot = now.name.starts_with("slot");
    return now.name + (now.condition != CONDITION_E_ABSENT ? " is ok" : isSlot ? " is empty" : " is not there");
}

bool isNews(Condition_e before, Condition_e now) {
    const bool isWell = now == CONDITION_E_OK || now == CONDITION_E_ABSENT;
    return now != before && now != CONDITION_E_UNKNOWN && !(before == CONDITION_E_UNKNOWN && isWell);
}

Condition_e causeCondition(const Enclosure_t& enclosure) {
    return enclosure.cause.empty() ? CONDITION_E_OK : assessHealth(enclosure).overall;
}

} // namespace

bool hasSameElements(const Enclosure_t& before, const Enclosure_t& now) {
    return std::ranges::equal(statesOf(before.status), statesOf(now.status), {}, &ElementState_t::name,
                              &ElementState_t::name);
}

std::vector<Entry_t> causeChange(const Enclosure_t& before, const Enclosure_t& now, Millis_t time) {
    if (before.cause.empty() == now.cause.empty()) {
        return {};
    }
    const ElementState_t enclosure{"enclosure", causeCondition(now)};
    return {
        changeEntry(causeCondition(before), enclosure, now.cause.empty() ? "the enclosure answers" : now.cause, time)};
}

std::vector<Entry_t> changesBetween(const Enclosure_t& before, const Enclosure_t& now, Millis_t time) {
    std::vector<Entry_t> changes = causeChange(before, now, time);
    const std::vector<ElementState_t> statesBefore = statesOf(before.status);
    const std::vector<ElementState_t> states = statesOf(now.status);
    const Health_t health = assessHealth(now);
    for (std::size_t i = 0; i < states.size() && i < statesBefore.size(); ++i) {
        if (isNews(statesBefore[i].condition, states[i].condition)) {
            changes.push_back(changeEntry(statesBefore[i].condition, states[i], changeText(states[i], health), time));
        }
    }
    return changes;
}
