#include "present.h"

#include "diagnosis.h"

Enclosure_t diagnosed(Enclosure_t enclosure, const Present_t& present, const MonitorOptions_t& options) {
    const AdapterFacts_t facts{.chassis = findChassis(std::string_view(present.chassis)),
                               .isChosen = !options.chassis.empty()};
    diagnose(enclosure, facts);
    return enclosure;
}
