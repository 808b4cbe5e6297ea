#include "present.h"

#include "acceptance.h"
#include "diagnosis.h"

Enclosure_t diagnosed(Enclosure_t enclosure, const Present_t& present, const MonitorOptions_t& options) {
    const AdapterFacts_t facts{.chassis = findChassis(std::string_view(present.chassis)),
                               .isChosen = !options.chassis.empty()};
    diagnose(enclosure, facts);
    return enclosure;
}

Health_t judged(const Enclosure_t& enclosure, const MonitorOptions_t& options) {
    return withAcceptances(assessHealth(enclosure), readAcceptances(options.state), std::time(nullptr));
}
