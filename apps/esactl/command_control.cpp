// led, fan, psu and alarm: each changes one thing and sends everything else back as it was reported.
#include "commands.h"
#include "control.h"
#include "names.h"
#include "output.h"

namespace {

using Names = std::vector<std::string>;

/** Fetches the controls as they are, lets `change` alter them (it returns the changed elements' names), sends them. */
template <typename Change>
int control(const Options& options, const std::string& command, const std::string& what, Change&& change) {
    SesClient client(options.directory, options.timeout());
    ControlState controls = currentControls(fetchEnclosure(client).status);
    const Names elements = change(controls);
    requireGood(client.sendDiagnostic(encodeControlPage(controls)), "the control page");
    if (options.json()) {
        printJson(commandJson(command, elements, options.request));
        return 0;
    }
    Names lines;
    for (const std::string& element : elements) {
        lines.push_back(element + ": " + what + " " + options.request);
    }
    printLines(lines);
    return 0;
}

Names changeLeds(ControlState& controls, const Options& options) {
    const unsigned slots = static_cast<unsigned>(controls.faultLeds.size());
    const bool on = options.request == "on";
    Names elements;
    const bool all = options.element == "all";
    const unsigned first = all ? 0 : parseElement("slot", options.element, slots);
    const unsigned end = all ? slots : first + 1;
    for (unsigned slot = first; slot < end; ++slot) {
        controls.faultLeds[slot] = on;
        elements.push_back(slotName(slot));
    }
    return elements;
}

/** The tones of each request; the mute wins over whatever is asked for beside it. */
AlarmTones alarmTones(const std::string& request, AlarmTones tones) {
    if (request == "mute") {
        tones.requestedMute = true;
        return tones;
    }
    AlarmTones wanted;
    wanted.remind = tones.remind;
    wanted.crit = request == "critical";
    wanted.nonCrit = request == "fault";
    return wanted;
}

} // namespace

int ledCommand(const Options& options) {
    return control(options, "led", "fault LED", [&](ControlState& controls) { return changeLeds(controls, options); });
}

int fanCommand(const Options& options) {
    return control(options, "fan", "switched", [&](ControlState& controls) {
        const unsigned count = static_cast<unsigned>(controls.fansOn.size());
        const unsigned fan = parseElement("fan", options.element, count);
        controls.fansOn[fan] = options.request == "on";
        controls.selectedFan = fan;
        return Names{fanName(fan)};
    });
}

int supplyCommand(const Options& options) {
    return control(options, "psu", "marked", [&](ControlState& controls) {
        const unsigned count = static_cast<unsigned>(controls.supplies.size());
        const unsigned supply = parseElement("psu", options.element, count);
        controls.supplies[supply].fail = options.request == "fail";
        controls.selectedSupply = supply;
        return Names{supplyName(supply)};
    });
}

int alarmCommand(const Options& options) {
    return control(options, "alarm", "set to", [&](ControlState& controls) {
        const unsigned alarm = parseElement("alarm", "0", static_cast<unsigned>(controls.alarms.size()));
        AlarmTones& tones = controls.alarms[alarm].tones;
        tones = alarmTones(options.request, tones);
        controls.selectedAlarm = alarm;
        return Names{alarmName(alarm)};
    });
}
