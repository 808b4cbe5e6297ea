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

/** Elements that have changed in the same way, by the same cause. */
struct StateChange_t {
    std::vector<std::string> names;
    Condition_e before;
    Condition_e now;
    const Problem_t* problem; /**< nullptr: nothing is wrong */
};

Entry_t changeEntry(const StateChange_t& change, const std::string& text, Millis_t time) {
    Json_t document = newDocument("esamon.change");
    document.set("time", millisText(time));
    document.set("name", "state-change");
    document.set("severity", severityOf(change.now));
    document.set("elements", change.names);
    document.set("from", conditionName(change.before));
    document.set("to", conditionName(change.now));
    document.set("text", text);
    return {0, time, time, 1, "state-change", change.names, document.text(-1)};
}

std::string changeText(const StateChange_t& change) {
    if (change.problem != nullptr) {
        return change.problem->text;
    }
    const bool isSlot = change.names.front().starts_with("slot");
    return rangeName(change.names) + (change.names.size() > 1            ? " are ok"
                                      : change.now != CONDITION_E_ABSENT ? " is ok"
                                      : isSlot                           ? " is empty"
                                                                         : " is not there");
}

bool isSupply(const StateChange_t& change) {
    return change.names.front().starts_with("psu");
}

/** The enclosure tells of its supplies together, of good ones too. */
bool isOneCause(const StateChange_t& change, const StateChange_t& last) {
    return isSupply(change) && isSupply(last) && last.before == change.before && last.now == change.now &&
           last.problem == change.problem;
}

const Problem_t* problemOf(const std::string& name, const Health_t& health) {
    const auto found = std::ranges::find_if(health.problems, [&](const Problem_t& problem) {
        const std::vector<std::string> elements = elementsOf(problem);
        return std::ranges::find(elements, name) != elements.end();
    });
    return found == health.problems.end() ? nullptr : &*found;
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
    const StateChange_t change{{"enclosure"}, causeCondition(before), causeCondition(now), nullptr};
    return {changeEntry(change, now.cause.empty() ? "the enclosure answers" : now.cause, time)};
}

std::vector<Entry_t> changesBetween(const Enclosure_t& before, const Enclosure_t& now, Millis_t time) {
    std::vector<Entry_t> entries = causeChange(before, now, time);
    const std::vector<ElementState_t> statesBefore = statesOf(before.status);
    const std::vector<ElementState_t> states = statesOf(now.status);
    const Health_t health = assessHealth(now);
    std::vector<StateChange_t> changes;
    for (std::size_t i = 0; i < states.size() && i < statesBefore.size(); ++i) {
        const auto& [name, condition] = states[i];
        if (!isNews(statesBefore[i].condition, condition)) {
            continue;
        }
        StateChange_t change{{name}, statesBefore[i].condition, condition, problemOf(name, health)};
        if (!changes.empty() && isOneCause(change, changes.back())) {
            changes.back().names.push_back(name);
        } else {
            changes.push_back(std::move(change));
        }
    }
    for (const StateChange_t& change : changes) {
        entries.push_back(changeEntry(change, changeText(change), time));
    }
    return entries;
}
