/** accept: conditions that an operator lives with for a while. */
#include <algorithm>

#include "acceptance.h"
#include "commands.h"
#include "errors.h"
#include "output.h"
#include "render_json.h"
#include "session.h"

namespace {

bool isAmong(const std::vector<std::string>& names, const std::string& name) {
    return std::ranges::find(names, name) != names.end();
}

void show(const Options_t& options, const Acceptances_t& acceptances) {
    Json_t document = newDocument("esactl.accepted");
    Json_t all = Json_t::array();
    std::vector<std::string> lines;
    for (const Acceptance_t& acceptance : acceptances) {
        lines.push_back(acceptance.text + ": accepted until " + timeTextOf(acceptance.until));
        all.add(Json_t::object({{"element", acceptance.elements.front()},
                                {"elements", acceptance.elements},
                                {"state", conditionName(acceptance.condition)},
                                {"text", acceptance.text},
                                {"until", timeTextOf(acceptance.until)}}));
    }
    document.set("accepted", all);
    if (options.json()) {
        printJson(document);
    } else if (lines.empty()) {
        printText("nothing is accepted\n");
    } else {
        printLines(lines);
    }
}

Acceptance_t acceptanceOf(const Options_t& options, std::time_t now) {
    if (options.until.empty()) {
        throw usageError("accept needs --until: a date such as 2026-12-01, or a time from now such as 8h, 3d or 2w");
    }
    const std::time_t until = parseUntil(options.until, now);
    SesClient_t client = connectAdapter(options);
    const Health_t health = assessHealth(askEnclosure(client, options));
    const auto found = std::ranges::find_if(
        health.problems, [&](const Problem_t& problem) { return isAmong(elementsOf(problem), options.element); });
    if (found == health.problems.end()) {
        std::string wrong;
        for (const Problem_t& problem : health.problems) {
            wrong += (wrong.empty() ? (health.problems.size() == 1 ? "; wrong is " : "; wrong are ") : ", ") +
                     rangeName(elementsOf(problem));
        }
        throw usageError("nothing is wrong with '" + options.element + "'" +
                         (wrong.empty() ? ", nor with anything else" : wrong));
    }
    return {elementsOf(*found), found->kind, found->measure, found->condition, until, found->text};
}

} // namespace

int acceptCommand(const Options_t& options) {
    const std::time_t now = std::time(nullptr);
    Acceptances_t acceptances = readAcceptances(options.state);
    std::erase_if(acceptances, [&](const Acceptance_t& acceptance) { return acceptance.until <= now; });
    if (options.element.empty()) {
        show(options, acceptances);
        return 0;
    }
    const std::size_t others = std::erase_if(
        acceptances, [&](const Acceptance_t& acceptance) { return isAmong(acceptance.elements, options.element); });
    if (!options.revoke) {
        acceptances.push_back(acceptanceOf(options, now));
    } else if (others == 0) {
        throw usageError("nothing is accepted of '" + options.element + "'; esactl accept lists what is");
    }
    writeAcceptances(options.state, acceptances);
    show(options, acceptances);
    return 0;
}
