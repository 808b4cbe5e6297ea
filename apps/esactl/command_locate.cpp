/** locate and slots: finding the drive in the rack. */
#include <algorithm>

#include "commands.h"
#include "control_page.h"
#include "interrupt.h"
#include "names.h"
#include "output.h"
#include "render_json.h"
#include "session.h"
#include "stop_signal.h"

namespace {

/** Some slots' LEDs, which blink until the object ends and are then as they were. */
class Blinker_t {
public:
    Blinker_t(const Options_t& options) : options_(options), client_(connectAdapter(options)) {
        const Enclosure_t enclosure = askEnclosure(client_, options_);
        requireLeds(enclosure);
        if (!enclosure.cause.empty()) {
            tellNote(enclosure.cause + "; the adapter takes the requests, and nothing may blink");
        }
        labels_ = slotLabels(options_);
        slots_ = labels_.parse(options_.element, static_cast<unsigned>(enclosure.status.drives.size()));
        for (const unsigned slot : slots_) {
            before_.push_back(enclosure.status.drives[slot].faultRequested);
        }
    }

    std::string names() const {
        std::string text;
        for (const unsigned slot : slots_) {
            text += (text.empty() ? "" : ", ") + labels_.describe(slot);
        }
        return text;
    }

    void show(bool on) { send(client_, std::vector<bool>(slots_.size(), on)); }

    /** The connection may be the reason why the blinking has ended. */
    void restore() {
        try {
            send(client_, before_);
        } catch (const ToolError_t&) {
            SesClient_t again = connectAdapter(options_);
            send(again, before_);
        }
    }

private:
    /** The other slots are asked for as they are by now: others may have switched them meanwhile. */
    void send(SesClient_t& client, const std::vector<bool>& lit) const {
        ControlPage_t wanted = controlPageOf(fetchEnclosure(client).status);
        for (std::size_t i = 0; i < slots_.size(); ++i) {
            if (slots_[i] < wanted.faultLeds.size()) {
                wanted.faultLeds[slots_[i]] = lit[i];
            }
        }
        requireGood(client.sendDiagnostic(encodeControlPage(wanted)), "the control page");
    }

    const Options_t& options_;
    SesClient_t client_;
    SlotLabels_t labels_{"", false};
    std::vector<unsigned> slots_;
    std::vector<bool> before_;
};

void blinkUntilStopped(Blinker_t& blinker, const Options_t& options) {
    const auto half = std::chrono::milliseconds(static_cast<long long>(options.blinkSeconds * 1000.0));
    for (unsigned changes = 0; options.count == 0 || changes < 2 * options.count; ++changes) {
        const Deadline_t next = Clock_t::now() + half;
        blinker.show(changes % 2 == 0);
        while (Clock_t::now() < next) {
            waitReadable({}, next);
        }
    }
}

} // namespace

int locateCommand(const Options_t& options) {
    stopSignalInstall();
    Blinker_t blinker(options);
    const std::string howLong = options.count == 0   ? "until Ctrl-C"
                                : options.count == 1 ? "once"
                                                     : std::to_string(options.count) + " times";
    tellNote(blinker.names() + ": blinks " + howLong + ", then is as it was; every change is an event");
    try {
        blinkUntilStopped(blinker, options);
    } catch (const Interrupted_t&) {
        stopSignalForget(); // a second one ends the program, unless it was started to ignore them
    } catch (const ToolError_t&) {
        blinker.restore();
        throw;
    }
    blinker.restore();
    return 0;
}

int slotsCommand(const Options_t& options) {
    SesClient_t client = connectAdapter(options);
    const Enclosure_t enclosure = askEnclosure(client, options);
    const SlotLabels_t labels = slotLabels(options);
    Json_t document = newDocument("esactl.slots");
    Json_t all = Json_t::array();
    std::vector<std::string> lines;
    for (unsigned slot = 0; slot < enclosure.status.drives.size(); ++slot) {
        const DriveSlot_t& drive = enclosure.status.drives[slot];
        const char* const state = conditionName(driveCondition(drive));
        std::string line = slotName(slot) + " " + state +
                           std::string(8 - std::min<std::size_t>(7, std::string(state).size()), ' ') +
                           (drive.faultRequested ? "LED " : "    ");
        for (const std::string& label : labels.of(slot)) {
            line += " " + label;
        }
        line.erase(line.find_last_not_of(' ') + 1);
        lines.push_back(line);
        all.add(Json_t::object({{"name", slotName(slot)},
                                {"slot", slot},
                                {"state", state},
                                {"fault_led", drive.faultRequested},
                                {"labels", labels.of(slot)}}));
    }
    document.set("slots", all);
    if (options.json()) {
        printJson(document);
    } else {
        printLines(lines);
    }
    return 0;
}
