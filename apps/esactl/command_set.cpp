/** led, fan, psu and alarm: each changes one thing and sends everything else back as it was reported. */
#include <algorithm>
#include <utility>

#include "commands.h"
#include "control_page.h"
#include "errors.h"
#include "interrupt.h"
#include "names.h"
#include "outlook.h"
#include "output.h"
#include "render_json.h"
#include "render_text.h"
#include "session.h"
#include "stop_signal.h"

namespace {

using Names_t = std::vector<std::string>;

/** What a command has asked for, and of which elements. */
struct Change_t {
    std::string command;
    std::string what;   /**< before the request in the line of an element */
    Names_t elements;   /**< by their names */
    Names_t shown = {}; /**< as people know them; empty: by their names */
    std::string outlook = {};
};

/** Waits for the adapter's next poll and says what has come of the change. */
void reportReached(SesClient_t& client, const Options_t& options, const Change_t& change) {
    const Deadline_t poll =
        Clock_t::now() + std::chrono::milliseconds(static_cast<long long>(options.afterSeconds * 1e3));
    while (Clock_t::now() < poll) {
        waitReadable({}, poll);
    }
    const Enclosure_t enclosure = askEnclosure(client, options);
    if (options.json()) {
        printJson(statusJson(enclosure, judgedHealth(enclosure, options), timeText()));
        return;
    }
    for (const std::string& element : change.elements) {
        printText(element + " now: " + elementText(enclosure, element) + "\n");
    }
}

void report(const Options_t& options, const Change_t& change) {
    if (options.json()) {
        printJson(commandJson(change.command, change.elements, options.request, change.outlook));
        return;
    }
    Names_t lines;
    for (const std::string& element : change.shown.empty() ? change.elements : change.shown) {
        std::string line = element;
        line.append(": ").append(change.what).append(" ").append(options.request);
        lines.push_back(std::move(line));
    }
    printLines(lines);
    if (!change.outlook.empty()) {
        tellNote(change.outlook);
    }
}

/** Fetches what the enclosure reports, lets `make` alter the requests for it, and sends them. */
template <typename Make>
int applyChange(const Options_t& options, Make&& make) {
    stopSignalInstall();
    SesClient_t client = connectAdapter(options);
    const Enclosure_t enclosure = askEnclosure(client, options);
    ControlPage_t wanted = controlPageOf(enclosure.status);
    const Change_t change = make(enclosure, wanted);
    if (!enclosure.cause.empty()) {
        tellNote(enclosure.cause + "; the adapter takes the request, and nothing may move");
    }
    requireGood(client.sendDiagnostic(encodeControlPage(wanted)), "the control page");
    report(options, change);
    if (options.wait) {
        reportReached(client, options, change);
    }
    return 0;
}

Change_t changeLeds(const Options_t& options, const Enclosure_t& enclosure, ControlPage_t& wanted) {
    requireLeds(enclosure);
    const SlotLabels_t labels = slotLabels(options);
    Change_t change{"led", "fault LED", {}};
    for (const unsigned slot : labels.parse(options.element, static_cast<unsigned>(wanted.faultLeds.size()))) {
        wanted.faultLeds[slot] = options.request == "on";
        change.elements.push_back(slotName(slot));
        change.shown.push_back(labels.describe(slot));
    }
    return change;
}

void requireFullSpeed(const Options_t& options, const Enclosure_t& enclosure, const std::string& fan) {
    if (options.request != "on" || options.force || !mayBeRawFan(enclosure)) {
        return;
    }
    const std::string where = enclosure.chassis != nullptr ? "on this enclosure"
                                                           : "if this is a " + std::string(rawFanChassis().name) +
                                                                 " enclosure (--chassis tells),";
    throw usageError(where + " 'on' drives " + fan +
                     " at 39 percent (100 of 255), which slows a fan that turns faster; leave it to the adapter, which "
                     "drives every fan fully over 41 C and when one has failed, or say --force");
}

Change_t changeFan(const Options_t& options, const Enclosure_t& enclosure, ControlPage_t& wanted) {
    const unsigned count = static_cast<unsigned>(wanted.fansOn.size());
    const unsigned fan = parseElement("fan", options.element, count);
    requireFullSpeed(options, enclosure, fanName(fan));
    const bool on = options.request == "on";
    const unsigned bank = enclosure.chassis == nullptr ? 1 : enclosure.chassis->fansPerBank;
    Change_t change{"fan", "switched", {}};
    for (unsigned each = fan / bank * bank; each < std::min(count, (fan / bank + 1) * bank); ++each) {
        wanted.fansOn[each] = on;
        change.elements.push_back(fanName(each));
    }
    wanted.selectedFan = fan;
    change.outlook = fanOutlook(enclosure, fanName(fan), on);
    return change;
}

Change_t changeSupply(const Options_t& options, const Enclosure_t& enclosure, ControlPage_t& wanted) {
    const unsigned count = static_cast<unsigned>(wanted.supplies.size());
    const unsigned supply = parseElement("psu", options.element, count);
    wanted.supplies[supply].fail = options.request == "fail";
    wanted.selectedSupply = supply;
    return {"psu", "marked", {supplyName(supply)}, {}, supplyOutlook(enclosure, options.request == "fail")};
}

/** The adapter touches only LEDs that are, by what it remembers, to change. */
void askForTheOpposite(const Options_t& options) {
    Options_t opposite = options;
    opposite.request = options.request == "on" ? "off" : "on";
    SesClient_t client = connectAdapter(options);
    const Enclosure_t enclosure = askEnclosure(client, options);
    ControlPage_t wanted = controlPageOf(enclosure.status);
    (void)changeLeds(opposite, enclosure, wanted);
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

Change_t changeAlarm(const Options_t& options, ControlPage_t& wanted) {
    const unsigned alarm = parseElement("alarm", "0", static_cast<unsigned>(wanted.alarms.size()));
    AlarmTones_t& tones = wanted.alarms[alarm].tones;
    tones = alarmTones(options.request, tones);
    wanted.selectedAlarm = alarm;
    return {"alarm", "set to", {alarmName(alarm)}};
}

std::string chassisWithLeds() {
    std::string names;
    for (const ChassisFacts_t& chassis : CHASSIS_LIST) {
        if (chassis.type != VORAN_E_CHASSIS_NONE && chassis.hasDriveLeds) {
            names += (names.empty() ? "" : ", ") + std::string(chassis.name);
        }
    }
    return names;
}

} // namespace

void requireLeds(const Enclosure_t& enclosure) {
    if (enclosure.chassis != nullptr && !enclosure.chassis->hasDriveLeds) {
        throw usageError(std::string("a ") + enclosure.chassis->name +
                         " enclosure has no drive fault LEDs: nothing would light; these have: " + chassisWithLeds());
    }
}

int ledCommand(const Options_t& options) {
    if (options.force) {
        askForTheOpposite(options);
    }
    return applyChange(options, [&](const Enclosure_t& enclosure, ControlPage_t& wanted) {
        return changeLeds(options, enclosure, wanted);
    });
}

int fanCommand(const Options_t& options) {
    return applyChange(options, [&](const Enclosure_t& enclosure, ControlPage_t& wanted) {
        return changeFan(options, enclosure, wanted);
    });
}

int supplyCommand(const Options_t& options) {
    return applyChange(options, [&](const Enclosure_t& enclosure, ControlPage_t& wanted) {
        return changeSupply(options, enclosure, wanted);
    });
}

int alarmCommand(const Options_t& options) {
    return applyChange(
        options, [&](const Enclosure_t& /*enclosure*/, ControlPage_t& wanted) { return changeAlarm(options, wanted); });
}
