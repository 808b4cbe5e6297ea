#include "session.h"

#include "acceptance.h"
#include "errors.h"

namespace {

constexpr const char* USUAL_SLOTS = "/etc/esa/slots";

std::string knownChassis() {
    std::string names;
    for (const ChassisFacts_t& chassis : CHASSIS_LIST) {
        names += (names.empty() ? "" : ", ") + std::string(chassis.name);
    }
    return names;
}

} // namespace

SesClient_t connectAdapter(const Options_t& options) {
    return {options.directory, options.timeout(), options.door()};
}

void requireKnownChassis(const Options_t& options) {
    if (options.chassis.empty() || findChassis(options.chassis) != nullptr) {
        return;
    }
    throw usageError("no chassis '" + options.chassis + "'; expected one of " + knownChassis());
}

AdapterFacts_t adapterFacts(const Options_t& options) {
    AdapterFacts_t facts = readAdapterFacts(options.directory);
    facts.lastTransfer = lastTransferTime;
    if (!options.chassis.empty()) {
        facts.chassis = findChassis(options.chassis);
        facts.isChosen = true;
    }
    return facts;
}

Enclosure_t askEnclosure(SesClient_t& client, const Options_t& options) {
    const AdapterFacts_t facts = adapterFacts(options);
    Enclosure_t enclosure = fetchEnclosure(client);
    diagnose(enclosure, facts);
    return enclosure;
}

Health_t judgedHealth(const Enclosure_t& enclosure, const Options_t& options) {
    return withAcceptances(assessHealth(enclosure), readAcceptances(options.state), std::time(nullptr));
}

SlotLabels_t slotLabels(const Options_t& options) {
    return {options.slots.empty() ? USUAL_SLOTS : options.slots, !options.slots.empty()};
}

void tellNote(const std::string& text) {
    (void)reportError("esactl", 0, text);
}
