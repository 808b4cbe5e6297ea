#include "model.h"

namespace soak {
namespace {

constexpr int kNoReading = 32767;
constexpr unsigned kPassesPerPoll = 11;

std::string text(std::uint64_t value) {
    return std::to_string(value);
}

unsigned bandOf(int celsius) {
    return celsius <= 35 ? 1 : celsius <= 45 ? 2 : celsius <= 55 ? 3 : 4;
}

} // namespace

void Model::pass() {
    if (++phase_ == kPassesPerPoll) {
        phase_ = 0;
        poll();
    }
}

void Model::poll() {
    ++polls;
    pollSupplies();
    pollFans();
    readTemperatures();
    averageTemperatures();
    reportBands();
    checkOverheat();
}

bool Model::transfer(bool answers) {
    if (world.transfersToFail != 0) {
        --world.transfersToFail;
        return false;
    }
    return answers;
}

bool Model::readSupplies() {
    ++reads;
    if (!transfer(!world.controllerSilent)) {
        return false;
    }
    return !(world.supplyBad[0] || world.supplyBad[1] || world.supplyBad[2]);
}

void Model::setAlarm(bool sounding) {
    ++writes;
    (void)transfer(true);
    alarmMuted_ = !sounding;
}

void Model::manageFault(unsigned cause, bool present) {
    const unsigned before = causes_;
    causes_ = present ? causes_ | cause : causes_ & ~cause;
    if (before == causes_) {
        return;
    }
    if (before == 0) {
        messages.push_back("led 2");
        if (alarmMuted_) {
            setAlarm(true);
        }
    }
    if (present) {
        messages.push_back("email");
    }
    if (causes_ == 0) {
        messages.push_back("led 1");
        if (!alarmMuted_) {
            setAlarm(false);
        }
    }
}

void Model::sendEvent(unsigned id, unsigned type, const std::string& data) {
    messages.push_back("event " + text(id) + " type " + text(type) + " chassis " + text(chassis_.type) + data);
}

void Model::sendSupplyEvent(unsigned type) {
    sendEvent(6, type, " supplies " + text(chassis_.supplies) + " status " + text(supplyStatus_));
}

void Model::pollSupplies() {
    const bool good = readSupplies();
    manageFault(0x2, !good);
    if (good != ((supplyStatus_ & 0x2) != 0)) {
        supplyStatus_ ^= 0x2;
        sendSupplyEvent(good ? 1 : 2);
    }
}

void Model::pollFans() {
    unsigned faults = 0;
    for (unsigned i = 0; i < 3; ++i) {
        ++reads;
        if (!transfer(!world.controllerSilent) || world.fanStopped[i]) {
            faults |= 1u << i;
        }
    }
    if (faults != fanFaults_) {
        fanFaults_ = faults;
        sendEvent(7, 2, " fans 3 faults " + text(faults));
    }
    manageFault(0x4, faults != 0);
}

void Model::readTemperatures() {
    for (unsigned i = 0; i < 3; ++i) {
        ++reads;
        bool read = transfer(!world.sensorSilent[i]);
        if (read) { // one byte a read: the half degree, then the whole ones
            ++reads;
            read = transfer(true);
        }
        temperatures_[i] = read ? world.celsius[i] : kNoReading;
    }
}

void Model::averageTemperatures() {
    int sum = 0;
    int count = 0;
    for (const int celsius : temperatures_) {
        if (celsius != kNoReading) {
            sum += celsius;
            ++count;
        }
    }
    if (count != 0) {
        average_ = sum / count;
        setFanLoads();
    }
}

void Model::setFanLoads() {
    for (unsigned& load : loads_) {
        const unsigned before = load;
        if (load == 50) {
            load = average_ >= 45 ? 75 : 50;
        } else if (load == 75) {
            load = average_ >= 55 ? 100 : average_ <= 44 ? 50 : 75;
        } else {
            load = average_ <= 54 ? 75 : 100;
        }
        if (load != before) {
            ++writes;
            (void)transfer(true);
        }
    }
}

void Model::reportBands() {
    for (unsigned i = 0; i < 3; ++i) {
        const int celsius = temperatures_[i];
        const unsigned band = bandOf(celsius);
        if (celsius == kNoReading || band == bands_[i] || (band == 1 && bands_[i] == 0)) {
            continue;
        }
        bands_[i] = band == 1 ? 0 : band;
        sendEvent(8, band >= 3 ? 2 : 1,
                  " sensors 3 band " + text(band) + " sensor " + text(i) + " celsius " + std::to_string(celsius));
    }
}

void Model::checkOverheat() {
    manageFault(0x8, average_ > 60);
    if (average_ > 60) {
        sendEvent(10, 3, " information 1");
        messages.push_back("shutdown");
    }
}

void Model::configurationRequest(std::uint32_t handle) {
    messages.push_back("reply 28 handle " + text(handle) + " length 132 status 0 page 1");
}

void Model::statusRequest(std::uint32_t handle) {
    std::string page = " status 0 page 2 supplies";
    bool changed = false;
    for (unsigned i = 0; i < chassis_.supplies; ++i) {
        const bool good = readSupplies();
        page += good ? " 1" : " 5";
        manageFault(0x2, !good);
        if (good != ((supplyStatus_ & 0x2) != 0)) {
            supplyStatus_ ^= 0x2;
            changed = true;
        }
    }
    if (changed) {
        sendSupplyEvent(2);
    }
    for (unsigned i = 0; i < 3; ++i) {
        ++reads;
        (void)transfer(true);
    }
    readTemperatures();
    page += " temperatures";
    for (const int celsius : temperatures_) {
        page += " " + text(celsius == kNoReading ? 0 : static_cast<unsigned>(celsius + 20) & 0xFF);
    }
    const unsigned length = 4 * (16 + chassis_.supplies + 3 + 3 + 1) + 92;
    messages.push_back("reply 28 handle " + text(handle) + " length " + text(length) + page);
}

void Model::driveLeds(std::uint32_t leds) {
    for (std::uint32_t changed = leds ^ driveLeds_; changed != 0; changed &= changed - 1) {
        ++writes;
        (void)transfer(true);
    }
    if (leds != driveLeds_) {
        driveLeds_ = leds;
        sendEvent(5, 2, " drives 16 leds " + text(leds));
    }
}

void Model::muteAlarm() {
    setAlarm(false);
    writes += 2; // the pulse that silences the supplies' own beepers
    (void)transfer(true);
    (void)transfer(true);
}

void Model::controlReply(std::uint32_t handle) {
    messages.push_back("reply 29 handle " + text(handle) + " length 68 status 0");
}

void Model::refusal(std::uint32_t handle) {
    messages.push_back("reply 29 handle " + text(handle) + " length 92 status 2 page 224");
}

} // namespace soak
