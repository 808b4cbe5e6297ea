#include "poll_model.h"

#include <cstdio>

namespace {

constexpr int NO_READING = 32767;
constexpr U32_t LED_ON = 0x80000000;

struct Step {
    int percent;
    int upAt;
    int up;
    int downAt;
    int down;
};
constexpr Step FOUR_STEPS[] = {
    {25, 36, 50, -999, 0}, {50, 39, 75, 31, 25}, {75, 41, 100, 33, 50}, {100, 999, 0, 34, 75}};
constexpr Step THREE_STEPS[] = {{50, 45, 75, -999, 0}, {75, 55, 100, 44, 50}, {100, 999, 0, 54, 75}};

int nextLoad(const Step* begin, const Step* end, int percent, int average) {
    for (const Step* step = begin; step != end; ++step) {
        if (step->percent == percent) {
            return average >= step->upAt ? step->up : average <= step->downAt ? step->down : percent;
        }
    }
    return percent;
}

/** " name value", or nothing for a value of 0, as events are told. */
std::string field(const char* name, U32_t value) {
    return value == 0 ? std::string() : std::string(" ") + name + " " + std::to_string(value);
}

std::string hex(const char* format, unsigned value) {
    char text[32];
    std::snprintf(text, sizeof(text), format, value);
    return text;
}

std::string numbers(const char* name, const std::vector<int>& values) {
    std::string text = std::string(" ") + name;
    for (int value : values) {
        text += " " + std::to_string(value);
    }
    return text;
}

int averageOf(const std::vector<int>& degrees) {
    int sum = 0;
    for (int value : degrees) {
        sum += value;
    }
    return sum / static_cast<int>(degrees.size());
}

} // namespace

PollModel::PollModel(const PolledChassis& polled)
    : alarm(polled.alarm), chassis(&polled), isXyratex(polled.type == 2), power(static_cast<U32_t>(polled.powerGood)),
      average(averageOf(polled.temperatures.at("cool"))), degrees(polled.temperatures.at("cool")), bands(4, 0),
      loads(polled.loads.at(100).size(), polled.idleLoad) {
    degrees.resize(static_cast<std::size_t>(polled.sensors), NO_READING); // positions without a sensor
}

void PollModel::poll(const PolledInputs& inputs, const std::set<unsigned>& failingPositions) {
    failing = failingPositions;
    transfers.clear();
    reports.clear();
    alarmAnswers.clear();
    for (const PolledElement& element : chassis->elements) {
        if (element.kind == 'V' || element.kind == 'R') {
            pollSupply(element, !inputs.suppliesBad);
        }
    }
    pollFans(inputs.stoppedFans);
    pollTemperatures(chassis->temperatures.at(inputs.temperatures));
    driveFans();
    reportTemperatures();
    checkOverheat();
    if (isXyratex) {
        pollAlarm();
    }
}

std::string PollModel::state() const {
    return stateText(power, faults, fanFaults, alarm, average, degrees, bands, loads);
}

std::string PollModel::stateText(U32_t power, U32_t faults, U32_t fans, U32_t alarm, int average,
                                 const std::vector<int>& degrees, const std::vector<int>& bands,
                                 const std::vector<int>& loads) {
    return "power " + std::to_string(power) + " faults " + hex("%08X", faults) + " fans " + hex("%02X", fans) +
           " alarm " + std::to_string(alarm) + " average " + std::to_string(average) + numbers("degrees", degrees) +
           numbers("bands", bands) + numbers("loads", loads);
}

bool PollModel::transfer(const std::string& line) {
    const bool fails = failing.count(static_cast<unsigned>(transfers.size())) != 0;
    transfers.push_back(line + (fails ? " !" : ""));
    return !fails;
}

bool PollModel::readElement(const PolledElement& element, bool good) {
    const std::size_t reads = good ? element.reads.size() : element.readsWhenBad;
    for (std::size_t i = 0; i < reads; ++i) {
        if (!transfer(element.reads[i])) {
            return false;
        }
    }
    return good;
}

void PollModel::manageCause(U32_t cause, bool bad) {
    if (bad == ((faults & cause) != 0)) {
        return;
    }
    if (bad) {
        const bool first = faults == 0;
        faults |= cause | LED_ON;
        if (first) {
            reports.emplace_back("led-on");
            if (alarm == 3) {
                setAlarm(1, chassis->sounding);
            }
        }
        reports.emplace_back("email");
        return;
    }
    faults &= ~cause;
    if (faults == LED_ON) {
        faults = 0;
        reports.emplace_back("led-off");
        if (alarm != 3) {
            setAlarm(3, chassis->silencing);
        }
    }
}

/** A write that fails changes nothing of what is remembered. */
void PollModel::setAlarm(unsigned state, const std::vector<std::string>& writes) {
    for (const std::string& write : writes) {
        transfer(write);
    }
    if (!writes.empty()) {
        alarm = state;
    }
}

void PollModel::driveLed(U8_t bits, bool on) {
    if (isXyratex) {
        ledPort = static_cast<U8_t>(on ? ledPort | bits : ledPort & ~bits);
        transfer(hex("W 63 06 %02X", ledPort));
    }
}

/** A supply whose input cannot be read is as bad as one whose input says so. */
void PollModel::pollSupply(const PolledElement& element, bool inputGood) {
    const bool isVoltages = element.kind == 'V';
    const U32_t bit = isVoltages ? 1 : 2; // cause and remembered state alike
    const bool good = readElement(element, inputGood);
    manageCause(bit, !good);
    if (good != ((power & bit) != 0)) {
        power ^= bit;
        isVoltages ? driveLed(0x20, good) : driveLed(0x40, !good);
        reports.push_back("event 6/" + std::to_string(good ? 1 : 2) +
                          field("chassis", static_cast<U32_t>(chassis->type)) +
                          field("supplies", static_cast<U32_t>(chassis->supplies)) + field("power", power));
    } else if (good && !isVoltages && isXyratex) {
        endReminder();
    }
}

void PollModel::endReminder() {
    if (readAlarmBack() != 2) {
        return;
    }
    if (transfer("W 63 05 08")) { // the strobe sets the state
        enclosureAlarm = 0;
        selectedAlarm = 0;
    }
    if (transfer("W 63 05 00")) {
        selectedAlarm = 0;
    }
    if (alarm != 0) {
        alarm = 0;
        reports.emplace_back("event 9/1 chassis 2 alarms 1");
    }
}

/** A bit that cannot be read counts as 0; one whose selection failed shows the bit selected before it. */
unsigned PollModel::readAlarmBack() {
    unsigned state = 0;
    for (unsigned bit = 0; bit < 3; ++bit) {
        if (transfer(hex("W 63 05 %02X", bit))) {
            selectedAlarm = bit;
        }
        if (transfer("R 63 05")) {
            const unsigned shown = enclosureAlarm >> selectedAlarm & 1;
            alarmAnswers.push_back(shown != 0 ? 0x10 : 0x00);
            state |= shown << bit;
        }
    }
    return state;
}

void PollModel::pollFans(unsigned stopped) {
    const U32_t before = fanFaults;
    U32_t bit = 1;
    for (const PolledElement& element : chassis->elements) {
        if (element.kind == 'F') {
            const bool good = readElement(element, (stopped & bit) == 0);
            fanFaults = good ? fanFaults & ~bit : fanFaults | bit;
            bit <<= 1;
        }
    }
    if (fanFaults != before) {
        reports.push_back("event 7/2" + field("chassis", static_cast<U32_t>(chassis->type)) +
                          field("fans", static_cast<U32_t>(chassis->fans)) + field("faults", fanFaults));
    }
    manageCause(4, fanFaults != 0);
    if (const bool isLit = (ledPort & 0x80) != 0; isLit != (fanFaults != 0)) {
        driveLed(0x80, !isLit);
    }
}

void PollModel::pollTemperatures(const std::vector<int>& present) {
    std::size_t sensor = 0;
    for (const PolledElement& element : chassis->elements) {
        if (element.kind == 'T') {
            degrees[sensor] = readElement(element, true) ? present[sensor] : NO_READING;
            ++sensor;
        }
    }
}

void PollModel::driveFans() {
    const bool isVsc055 = chassis->type == 3 || chassis->type == 5;
    const bool isForced = !isVsc055 && fanFaults != 0;
    if (!isForced && !takeAverage()) {
        return;
    }
    for (std::size_t output = 0; output < loads.size(); ++output) {
        const int current = loads[output];
        const int next = isForced   ? 100
                         : isVsc055 ? nextLoad(std::begin(THREE_STEPS), std::end(THREE_STEPS), current, average)
                                    : nextLoad(std::begin(FOUR_STEPS), std::end(FOUR_STEPS), current, average);
        if (next != current) {
            load(output, next);
        }
    }
}

bool PollModel::takeAverage() {
    std::vector<int> readings;
    for (int value : degrees) {
        if (value != NO_READING) {
            readings.push_back(value);
        }
    }
    if (!readings.empty()) {
        average = averageOf(readings);
    }
    return !readings.empty();
}

void PollModel::load(std::size_t output, int percent) {
    transfer(chassis->loads.at(percent)[output]);
    loads[output] = percent;
}

void PollModel::reportTemperatures() {
    for (std::size_t i = 0; i < degrees.size(); ++i) {
        const int value = degrees[i];
        const int band = value <= 35 ? 0 : value <= 45 ? 1 : value <= 55 ? 2 : 4;
        if (value == NO_READING || band == bands[i]) {
            continue;
        }
        bands[i] = band;
        reports.push_back("event 8/" + std::to_string(band < 2 ? 1 : 2) +
                          field("chassis", static_cast<U32_t>(chassis->type)) +
                          field("sensors", static_cast<U32_t>(chassis->sensors)) +
                          field("band", band == 4 ? 4U : static_cast<U32_t>(band) + 1) +
                          field("position", static_cast<U32_t>(i)) + field("degrees", static_cast<U32_t>(value)));
    }
}

void PollModel::checkOverheat() {
    manageCause(8, average > 60);
    if (average > 60) {
        reports.push_back("event 10/3" + field("chassis", static_cast<U32_t>(chassis->type)) + " info 1");
        reports.emplace_back("shutdown");
    }
}

void PollModel::pollAlarm() {
    if (const unsigned state = readAlarmBack(); state != alarm) {
        alarm = state;
        reports.push_back("event 9/" + std::to_string(state == 1 || state == 4 ? 2 : 1) + " chassis 2 alarms 1" +
                          field("alarm", state));
    }
}
