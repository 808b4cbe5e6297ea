#include "traffic.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <thread>

namespace soak {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr unsigned kStartup = 18;
constexpr unsigned kVolumeManager = 20;
constexpr unsigned kOperator = 29;

constexpr std::uint32_t kReceiveDiagnostic = 0x1200001C;
constexpr std::uint32_t kSendDiagnostic = 0x1200001D;
constexpr std::uint32_t kLedDone = 0x0C00000E;

constexpr unsigned kControllerAddress = 0x41;
constexpr unsigned kSensorAddress[] = {0x4C, 0x4B, 0x4A};

// An adapter left alone for a second makes passes of its own, and its polls come where nobody can foretell them.
constexpr auto kStall = 900ms;

void put16(std::vector<std::uint8_t>& bytes, std::size_t offset, std::size_t value) {
    bytes[offset] = static_cast<std::uint8_t>(value >> 8);
    bytes[offset + 1] = static_cast<std::uint8_t>(value);
}

void put32(std::vector<std::uint8_t>& bytes, std::size_t offset, std::uint32_t value) {
    put16(bytes, offset, value >> 16);
    put16(bytes, offset + 2, value & 0xFFFF);
}

std::string chip(unsigned address, bool silent) {
    return "chip " + std::to_string(address) + (silent ? " silent" : " ok");
}

std::string listing(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += "    " + line + "\n";
    }
    return text;
}

/// What of `some` is not in `others`; both sorted.
std::vector<std::string> without(const std::vector<std::string>& some, const std::vector<std::string>& others) {
    std::vector<std::string> rest;
    std::set_difference(some.begin(), some.end(), others.begin(), others.end(), std::back_inserter(rest));
    return rest;
}

[[noreturn]] void differ(std::vector<std::string> came, std::vector<std::string> expected) {
    std::sort(came.begin(), came.end());
    std::sort(expected.begin(), expected.end());
    std::string text = "  came, but was not expected:\n" + listing(without(came, expected)) +
                       "  expected, but did not come:\n" + listing(without(expected, came));
    throw Mismatch(came == expected ? "the messages came in another order\n" : text);
}

} // namespace

Traffic::Traffic(const Chassis& chassis, AdapterSocket& adapter, Simulator& simulator, unsigned seed)
    : adapter_(adapter), simulator_(simulator), supplies_(chassis.supplies), random_(seed), model_(chassis) {
    for (std::size_t i = 0; i < model_.world.celsius.size(); ++i) {
        simulator_.command("sensor " + std::to_string(i) + " set " + std::to_string(model_.world.celsius[i]));
    }
}

void Traffic::begin() {
    adapter_.accept(30s);
    model_.messages = {"started"};
    std::vector<std::string> came = send();
    simulator_.command("transfers reset"); // those of the initialisation
    model_.reads = model_.writes = model_.polls = 0;
    catchUp(std::move(came));
}

void Traffic::round() {
    if (changeEnclosure()) {
        for (unsigned i = 0; i < 34; ++i) { // polls alone, so that it is known which transfers fail
            startupResponse();
        }
    } else {
        for (unsigned left = 34 + upTo(12); left != 0; --left) {
            randomMessage();
        }
    }
    ++counts_.changes;
    const Clock::time_point before = sentAt_;
    std::vector<std::string> came = send();
    if (Clock::now() - before < kStall) {
        compareExactly(came);
    } else {
        ++counts_.stalls;
        catchUp(std::move(came));
    }
    if (model_.world.transfersToFail != 0) {
        throw Mismatch(std::to_string(model_.world.transfersToFail) + " transfers should have failed and did not\n");
    }
}

std::vector<std::string> Traffic::send() {
    if (model_.phase() == 10) { // the request below must not poll: its reply would come before the poll is over
        startupResponse();
    }
    const std::uint32_t last = configurationRequest();
    sentAt_ = Clock::now();
    std::vector<std::string> came = adapter_.exchange(batch_, last);
    batch_.clear();
    return came;
}

void Traffic::compareExactly(const std::vector<std::string>& came) {
    const Transfers now = simulator_.transfers();
    if (came != model_.messages) {
        differ(came, model_.messages);
    }
    if (now.reads != model_.reads || now.writes != model_.writes) {
        throw Mismatch("reads and writes on the bus: " + std::to_string(now.reads) + " and " +
                       std::to_string(now.writes) + ", expected " + std::to_string(model_.reads) + " and " +
                       std::to_string(model_.writes) + "\n");
    }
    for (const std::string& line : came) {
        ++counts_.received[kindOf(line)];
    }
    model_.messages.clear();
}

/// After a time in which the adapter has made passes of its own: finds out how many polls it made, and how far its
/// countdown is. What came must still be what was expected, in whatever order.
void Traffic::catchUp(std::vector<std::string> came) {
    const auto append = [&came](std::vector<std::string> more) {
        came.insert(came.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
    };
    append(adapter_.drain(200ms));
    // Whether a page muted the alarm before or after a poll sounded it is not known either.
    controlPage(kOperator, leds_, true);
    const std::uint64_t before = simulator_.transfers().reads;
    do {
        model_.setPhase(0);
        append(send());
        append(adapter_.drain(100ms));
    } while (simulator_.transfers().reads == before);
    const Transfers now = simulator_.transfers();
    while (model_.reads < now.reads) {
        model_.poll();
    }
    model_.setPhase(0);
    for (auto* lines : {&came, &model_.messages}) {
        for (std::string& line : *lines) {
            if (line.starts_with("event 6 type 1")) { // a recovery that a page finds is reported as a warning
                line[13] = '2';
            }
        }
        std::sort(lines->begin(), lines->end());
    }
    if (model_.reads != now.reads || came != model_.messages) {
        differ(came, model_.messages);
    }
    for (const std::string& line : came) {
        ++counts_.received[kindOf(line)];
    }
    model_.messages.clear();
    model_.writes = now.writes;
}

bool Traffic::changeEnclosure() {
    switch (upTo(10)) {
    case 0:
    case 1:
        changeFan();
        return false;
    case 2:
    case 3:
        changeSupply();
        return false;
    case 4:
        changeSensor();
        return false;
    case 5:
        changeController();
        return false;
    case 6: {
        ++counts_.busFaults;
        model_.world.transfersToFail = 1 + upTo(20);
        simulator_.command("bus fail " + std::to_string(model_.world.transfersToFail));
        return true;
    }
    default:
        changeTemperature();
        return false;
    }
}

void Traffic::changeFan() {
    const unsigned fan = upTo(3);
    bool& stopped = model_.world.fanStopped[fan];
    stopped = !stopped;
    simulator_.command("fan " + std::to_string(fan) + (!stopped ? " ok" : upTo(2) == 0 ? " stall" : " remove"));
}

void Traffic::changeSupply() {
    const unsigned supply = upTo(supplies_);
    bool& bad = model_.world.supplyBad[supply];
    bad = !bad;
    simulator_.command("psu " + std::to_string(supply) + (!bad ? " insert" : upTo(2) == 0 ? " fail" : " pull"));
}

void Traffic::changeTemperature() {
    const unsigned sensor = upTo(3);
    model_.world.celsius[sensor] = static_cast<int>(upTo(96)) - 15;
    simulator_.command("sensor " + std::to_string(sensor) + " set " + std::to_string(model_.world.celsius[sensor]));
}

void Traffic::changeSensor() {
    const unsigned sensor = upTo(3);
    bool& silent = model_.world.sensorSilent[sensor];
    silent = !silent;
    simulator_.command(chip(kSensorAddress[sensor], silent));
}

void Traffic::changeController() {
    model_.world.controllerSilent = !model_.world.controllerSilent;
    simulator_.command(chip(kControllerAddress, model_.world.controllerSilent));
}

void Traffic::fill(std::size_t length, std::uint32_t opcode, unsigned requestor) {
    message_.assign(std::max<std::size_t>(length, 64), 0);
    message_[8] = 14;
    message_[9] = 1;
    put16(message_, 10, length);
    put32(message_, 12, opcode);
    message_[16] = static_cast<std::uint8_t>(requestor);
    put32(message_, 24, 2); // to the adapter
    put32(message_, 40, ++handle_);
    message_.resize(length);
}

void Traffic::put(const char* kind) {
    batch_.insert(batch_.end(), message_.begin(), message_.end());
    ++counts_.messages;
    ++counts_.sent[kind];
    model_.pass();
}

std::uint32_t Traffic::configurationRequest() {
    fill(72, kReceiveDiagnostic, kOperator);
    message_[64] = 28;
    message_[65] = 0x80;
    message_[66] = 1;
    put16(message_, 68, 68);
    const std::uint32_t handle = handle_;
    model_.configurationRequest(handle);
    put("configuration requests");
    return handle;
}

void Traffic::startupResponse() {
    fill(64, kLedDone, kStartup);
    message_[17] = 0x40;
    put32(message_, 36, 1 + upTo(2));
    put("Startup responses");
}

void Traffic::statusRequest() {
    fill(72, kReceiveDiagnostic, kOperator);
    message_[64] = 28;
    message_[65] = 0x80;
    message_[66] = 2;
    put16(message_, 68, 500);
    model_.statusRequest(handle_);
    put("status requests");
}

void Traffic::controlPage(unsigned requestor, std::uint32_t leds, bool mute) {
    const std::size_t supplyRecords = 4 * std::size_t{supplies_};
    const std::size_t alarms = 80 + 4 + 16 * 4 + 4 + supplyRecords + 4 + 12 + 4 + 12;
    fill(alarms + 8, kSendDiagnostic, requestor);
    message_[64] = 29;
    message_[65] = 0x08;
    put16(message_, 68, message_.size() - 72);
    message_[72] = 2;
    leds_ = leds;
    for (std::size_t slot = 0; slot < 16; ++slot) {
        message_[84 + 4 * slot + 3] = (leds >> slot & 1) != 0 ? 0x04 : 0;
    }
    model_.driveLeds(leds);
    if (mute) {
        message_[alarms + 3] = 0x80;
        message_[alarms + 4] = 0x80;
        message_[alarms + 7] = 0x02;
    }
    if (requestor != kVolumeManager) { // who is not answered, and whose page ends behind the drives
        if (mute) {
            model_.muteAlarm();
        }
        model_.controlReply(handle_);
    }
    put("control pages");
}

void Traffic::refusedCommand() {
    fill(72, kSendDiagnostic, kOperator);
    message_[64] = 29;
    message_[65] = 0x08; // a page is announced, and no parameters
    model_.refusal(handle_);
    put("refused commands");
}

/// Commands in order that the adapter does not answer: a page it has not, no room for the answer.
void Traffic::unanswered() {
    fill(72, kReceiveDiagnostic, kOperator);
    message_[64] = 28;
    message_[65] = 0x80;
    message_[66] = static_cast<std::uint8_t>(upTo(2) == 0 ? 1 : 3 + upTo(250));
    put16(message_, 68, message_[66] == 1 ? upTo(68) : 500);
    put("unanswered commands");
}

void Traffic::junk() {
    switch (upTo(5)) {
    case 0: // shorter than a header
        fill(12 + upTo(52), kReceiveDiagnostic, kOperator);
        break;
    case 1: // longer than any message
        fill(4065 + upTo(500), kReceiveDiagnostic, kOperator);
        break;
    case 2: // to somebody else
        fill(72, kReceiveDiagnostic, kOperator);
        put32(message_, 24, 0xFFFFFFFD);
        break;
    case 3: // a protocol the adapter does not speak, and anything behind it
        fill(64 + upTo(4001), 0x13000000 | upTo(0x1000000), upTo(256));
        std::generate(message_.begin() + 64, message_.end(), [this] { return static_cast<std::uint8_t>(upTo(256)); });
        break;
    default: // a command there is not
        fill(64 + upTo(200), 0x12000000 | (30 + upTo(1000)), kOperator);
    }
    put("junk");
}

void Traffic::randomMessage() {
    const unsigned dice = upTo(100);
    if (dice < 62) {
        startupResponse();
    } else if (dice < 76) {
        configurationRequest();
    } else if (dice < 84) {
        statusRequest();
    } else if (dice < 90) {
        controlPage(upTo(2) == 0 ? kVolumeManager : kOperator, upTo(0x10000) & upTo(0x10000), upTo(3) == 0);
    } else if (dice < 92) {
        refusedCommand();
    } else if (dice < 94) {
        unanswered();
    } else {
        junk();
    }
}

} // namespace soak
