/** led, fan, psu and alarm: each changes one thing and sends everything else back as it was reported. */
#include <utility>

#include "commands.h"
#include "control_page.h"
#include "names.h"
#include "output.h"
#include "render_json.h"

namespace {

using Names_t = std::vector<std::string>;

/** Fetches what the enclosure reports, lets `change` alter them (it returns the changed elements' names), sends them.
 */
template <typename Change>
int applyChange(const Options_t& options, const std::string& command, const std::string& what, Change&& change) {
    SesClient_t client(options.directory, options.timeout());
    ControlPage_t wanted = controlPageOf(fetchEnclosure(client).status);
    const Names_t elements = change(wanted);
    requireGood(client.sendDiagnostic(encodeControlPage(wanted)), "the control page");
    if (options.json()) {
        printJson(commandJson(command, elements, options.request));
        return 0;
    }
    Names_t lines;
    for (const std::string& element : elements) {
        std::string line = element;
        line.append(": ").append(what).append(" ").append(options.request);
        lines.push_back(std::move(line));
    }
    printLines(lines);
    return 0;
}

Names_t changeLeds(ControlPage_t& wanted, const Options_t& options) {
    const unsigned slots = static_cast<unsigned>(wanted.faultLeds.size());
    const bool on = options.request == "on";
    Names_t elements;
    const bool all = options.element == "all";
    const unsigned first = all ? 0 : parseElement("slot", options.element, slots);
    const unsigned end = all ? slots : first + 1;
    for (unsigned slot = first; slot < end; ++slot) {
        wanted.faultLeds[slot] = on;
        elements.push_back(slotName(slot));
    }
    return elements;
}

/** The adapter touches only LEDs that are, by what it remembers, to change. */
void askForTheOpposite(const Options_t& options) {
    Options_t opposite = options;
    opposite.request = options.request == "on" ? "off" : "on";
    SesClient_t client(options.directory, options.timeout());
    ControlPage_t wanted = controlPageOf(fetchEnclosure(client).status);
    (void)changeLeds(wanted, opposite);
    requireGood(client.sendDiagnostic(encodeControlPage(wanted)), "the control page");
}

/** The tones of each request; the mute wins over whatever is asked for beside it. */
AlarmTones_t alarmTones(const std::string& request, AlarmTones_t tones) {
    if (request == "mute") {
        tones.requestedMute = true;
        return tones;
    }
    AlarmTones_t wanted;
    wanted.remind = tones.remind;
    wanted.crit = request == "critical";
    wanted.nonCrit = request == "fault";
    return wanted;
}

} // namespace

int ledCommand(const Options_t& options) {
    if (options.force) {
        askForTheOpposite(options);
    }
    return applyChange(options, "led", "fault LED", [&](ControlPage_t& wanted) { return changeLeds(wanted, options); });
}

int fanCommand(const Options_t& options) {
    return applyChange(options, "fan", "switched", [&](ControlPage_t& wanted) {
        const unsigned count = static_cast<unsigned>(wanted.fansOn.size());
        const unsigned fan = parseElement("fan", options.element, count);
        wanted.fansOn[fan] = options.request == "on";
        wanted.selectedFan = fan;
        return Names_t{fanName(fan)};
    });
}

int supplyCommand(const Options_t& options) {
    return applyChange(options, "psu", "marked", [&](ControlPage_t& wanted) {
        const unsigned count = static_cast<unsigned>(wanted.supplies.size());
        const unsigned supply = parseElement("psu", options.element, count);
        wanted.supplies[supply].fail = options.request == "fail";
        wanted.selectedSupply = supply;
        return Names_t{supplyName(supply)};
    });
}

int alarmCommand(const Options_t& options) {
    return applyChange(options, "alarm", "set to", [&](ControlPage_t& wanted) {
        const unsigned alarm = parseElement("alarm", "0", static_cast<unsigned>(wanted.alarms.size()));
        AlarmTones_t& tones = wanted.alarms[alarm].tones;
        tones = alarmTones(options.request, tones);
        wanted.selectedAlarm = alarm;
        return Names_t{alarmName(alarm)};
    });
}
