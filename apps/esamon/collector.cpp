#include "collector.h"

#include <algorithm>
#include <array>
#include <csignal>

#include "control_page.h"
#include "enclosure.h"
#include "errors.h"
#include "events.h"
#include "interrupt.h"
#include "names.h"

using namespace std::chrono_literals;

namespace {

constexpr auto FIRST_PAUSE = 500ms;
constexpr auto LONGEST_PAUSE = 10s;
/** A report is worth a look at the enclosure at once, but not more often than this. */
constexpr auto LEAST_POLL_INTERVAL = 1s;

AlarmTones_t tonesOf(const std::string& request, const AlarmTones_t& now) {
    AlarmTones_t wanted = request == "mute" ? now : AlarmTones_t{};
    wanted.remind = now.remind;
    wanted.requestedMute = request == "mute";
    wanted.crit = request == "critical" || (request == "mute" && now.crit);
    wanted.nonCrit = request == "fault" || (request == "mute" && now.nonCrit);
    return wanted;
}

void wantLeds(ControlPage_t& page, Action_t& action) {
    const auto slots = static_cast<unsigned>(page.faultLeds.size());
    std::vector<std::string> names = action.elements;
    if (names == std::vector<std::string>{"all"}) {
        names.clear();
        for (unsigned slot = 0; slot < slots; ++slot) {
            names.push_back(slotName(slot));
        }
    }
    action.elements.clear();
    for (const std::string& name : names) {
        const unsigned slot = parseElement("slot", name, slots);
        page.faultLeds[slot] = action.request == "on";
        action.elements.push_back(slotName(slot));
    }
}

void want(ControlPage_t& page, Action_t& action) {
    switch (action.command) {
    case Command_e::LEDS:
        wantLeds(page, action);
        break;
    case Command_e::ALARM: {
        const unsigned alarm = parseElement("alarm", "0", static_cast<unsigned>(page.alarms.size()));
        page.alarms[alarm].tones = tonesOf(action.request, page.alarms[alarm].tones);
        page.selectedAlarm = alarm;
        action.elements = {alarmName(alarm)};
        break;
    }
    case Command_e::FANS: {
        const unsigned fan = parseElement("fan", action.elements.at(0), static_cast<unsigned>(page.fansOn.size()));
        page.fansOn[fan] = action.request == "on";
        page.selectedFan = fan;
        action.elements = {fanName(fan)};
        break;
    }
    }
}

/** A lasting overheat is reported anew with every look at the enclosure, so such a report must not be followed by one.
 */
bool isWorthALook(const Message_t& message) {
    const std::optional<Event_t> event = decodeEvent(message);
    return event && !event->startup && event->name != "information";
}

} // namespace

Collector_t::Collector_t(const MonitorOptions_t& options, Inbox_t<Observation_t>& findings)
    : options_(options), findings_(findings) {
    // Signals end the program by way of the other thread.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before);
    thread_ = std::thread([this] { run(); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

Collector_t::~Collector_t() {
    stop_ = true;
    actions_.wake();
    thread_.join();
}

void Collector_t::run() {
    Clock_t::duration pause = FIRST_PAUSE;
    while (!stop_) {
        try {
            try {
                collect();
                pause = FIRST_PAUSE;
            } catch (const ToolError_t& error) {
                failed(error);
                client_.reset();
                ears_.clear();
                const Deadline_t until = Clock_t::now() + pause;
                pause = std::min<Clock_t::duration>(pause * 2, LONGEST_PAUSE);
                while (!stop_ && Clock_t::now() < until) {
                    wait(until);
                    actAll();
                }
            }
        } catch (const Interrupted_t&) {
            return;
        }
    }
}

/** One round: whatever is due, then a wait. Throws ToolError_t when the connections are no good any more. */
void Collector_t::collect() {
    if (!client_) {
        connect();
    }
    hear();
    actAll();
    if (Clock_t::now() >= nextPoll_) {
        poll();
        return;
    }
    wait(nextPoll_);
}

void Collector_t::connect() {
    client_ = std::make_unique<SesClient_t>(options_.directory, options_.timeout());
    client_->whileWaiting = [this] {
        hear();
        requireAdapter();
    };
    note_.reset();
    ears_.clear();
    knowPresence(std::nullopt);
    const Deadline_t deadline = Clock_t::now() + options_.timeout();
    if (options_.eventManager) {
        ears_.push_back(std::make_unique<SwitchConnection_t>(options_.directory, "eventlog", deadline));
        ears_.push_back(std::make_unique<SwitchConnection_t>(options_.directory, "startup", deadline));
    } else {
        try {
            ears_.push_back(std::make_unique<SwitchConnection_t>(options_.directory, "listen", deadline));
        } catch (const ToolError_t&) {
            // Another switch than ours may not have it: then there is what polls tell.
        }
    }
    nextPoll_ = Clock_t::now();
}

void Collector_t::wait(Deadline_t until) {
    std::vector<int> fds{actions_.fd()};
    for (const auto& ear : ears_) {
        fds.push_back(ear->fd());
    }
    waitReadable(fds, until);
}

void Collector_t::hear() {
    for (const auto& ear : ears_) {
        while (const std::optional<Message_t> message = ear->receiveQueued()) {
            heard(*message);
        }
    }
}

void Collector_t::heard(const Message_t& message) {
    const MMCH_t& header = messageHeader(message);
    if (!options_.eventManager && !note_) {
        note_ = header;
        return;
    }
    if (note_ && header.requestor == MMSG_E_EPID_MSMMP) {
        note_.reset();
        knowPresence(header.general_use1 != 0U);
        return;
    }
    Report_t report{millisNow(), 0, 0, message};
    if (note_) {
        const std::uint64_t micros = std::uint64_t{note_->timestamp.high} << 32 | U32_t{note_->timestamp.low};
        report.arrival = static_cast<Millis_t>(micros / 1000);
        report.run = note_->general_use1;
        report.number = note_->handle;
        note_.reset();
    }
    if (isWorthALook(message)) {
        nextPoll_ = std::min(nextPoll_, std::max(lastPoll_ + LEAST_POLL_INTERVAL, Clock_t::now()));
    }
    findings_.push(std::move(report));
}

void Collector_t::knowPresence(std::optional<bool> isThere) {
    if (isThere == true && adapterThere_ == false) {
        nextPoll_ = Clock_t::now();
    }
    adapterThere_ = isThere;
    findings_.push(Presence_t{millisNow(), isThere});
}

/** The switch keeps questions for an adapter that is away: when it comes it would have to answer all of them. */
void Collector_t::requireAdapter() const {
    if (adapterThere_ == false) {
        throw noAnswerError(NO_ADAPTER);
    }
}

void Collector_t::poll() {
    lastPoll_ = Clock_t::now();
    nextPoll_ = lastPoll_ + options_.poll();
    try {
        requireAdapter();
        const SesReply_t configuration = client_->receiveDiagnostic(1);
        requireGood(configuration, "the request for page 1");
        const SesReply_t status = client_->receiveDiagnostic(2);
        requireGood(status, "the request for page 2");
        findings_.push(Pages_t{millisNow(), configuration.payload, status.payload});
    } catch (const ToolError_t& error) {
        if (std::string_view(error.code()) == "no-switch") {
            throw;
        }
        failed(error);
    }
}

void Collector_t::actAll() {
    while (std::optional<Action_t> action = actions_.take()) {
        findings_.push(carryOut(std::move(*action)));
        nextPoll_ = std::min(nextPoll_, Clock_t::now());
    }
}

ActionResult_t Collector_t::carryOut(Action_t action) {
    try {
        if (!client_) {
            throw noSwitchError("there is no connection to the switch now; try again");
        }
        requireAdapter();
        ControlPage_t page = controlPageOf(fetchEnclosure(*client_).status);
        want(page, action);
        requireGood(client_->sendDiagnostic(encodeControlPage(page)), "the control page");
        return {millisNow(), std::move(action), {}, {}};
    } catch (const ToolError_t& error) {
        return {millisNow(), std::move(action), error.code(), error.what()};
    }
}

void Collector_t::failed(const ToolError_t& error) {
    findings_.push(Failure_t{millisNow(), std::string_view(error.code()) != "no-switch", error.what()});
}
