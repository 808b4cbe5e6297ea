#include "suggest.h"

#include <functional>

#include "errors.h"
#include "names.h"
#include "ses_mesgs.h"
#include "session.h"

namespace {

using Names_t = std::vector<std::string>;

/** What `ask` finds. A person who types is not to be told that it cannot. */
Names_t asked(Options_t& options, const std::function<Names_t(SesClient_t&)>& ask) {
    try {
        options.timeoutSeconds = 1;
        SesClient_t client = connectAdapter(options);
        return ask(client);
    } catch (const std::exception&) {
        return {};
    }
}

Names_t elementNames(Options_t& options, U8_t type, std::string (*name)(unsigned)) {
    return asked(options, [&](SesClient_t& client) {
        Names_t names;
        const unsigned count = fetchConfiguration(client).count(type);
        for (unsigned index = 0; index < count; ++index) {
            names.push_back(name(index));
        }
        return names;
    });
}

Names_t labels(const Options_t& options) {
    try {
        return slotLabels(options).all();
    } catch (const ToolError_t&) {
        return {}; // the command will tell
    }
}

} // namespace

Names_t suggestChassis() {
    Names_t names;
    for (const ChassisFacts_t& chassis : CHASSIS_LIST) {
        names.emplace_back(chassis.name);
    }
    return names;
}

Names_t suggestSlots(Options_t& options) {
    Names_t names{"all"};
    for (const Names_t& more : {elementNames(options, SES_K_ELEMENT_TYPE_DEVICE, slotName), labels(options)}) {
        names.insert(names.end(), more.begin(), more.end());
    }
    return names;
}

Names_t suggestFans(Options_t& options) {
    return elementNames(options, SES_K_ELEMENT_TYPE_COOLING, fanName);
}

Names_t suggestSupplies(Options_t& options) {
    return elementNames(options, SES_K_ELEMENT_TYPE_POWER_SUPPLY, supplyName);
}

Names_t suggestProblems(Options_t& options) {
    return asked(options, [&](SesClient_t& client) {
        Names_t names;
        for (const Problem_t& problem : assessHealth(askEnclosure(client, options)).problems) {
            names.push_back(problem.element);
        }
        return names;
    });
}
