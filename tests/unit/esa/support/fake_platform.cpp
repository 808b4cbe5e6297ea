#include "fake_platform.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "osdep.h"
#include "platform.h"

FakeBus_t fakeBus;
std::vector<std::vector<U8_t>> fakeEventLog;
std::function<void()> onFakeSleep;

namespace {

std::string hex2(int value) {
    char text[8];
    std::snprintf(text, sizeof(text), " %02X", static_cast<unsigned>(value) & 0xFFU);
    return text;
}

/** Records the transfer; false when it is to fail. */
bool record(std::string line, int address, int reg) {
    const bool fails = fakeBus.failing.count(fakeBus.count) != 0 || fakeBus.deadDevices.count(address) != 0 ||
                       fakeBus.deadRegisters.count({address, reg}) != 0;
    ++fakeBus.count;
    errno = fakeBus.deadDevices.count(address) != 0 ? fakeBus.refusal : ETIMEDOUT; // looked at after a failure only
    fakeBus.transfers.push_back(line + (fails ? " !" : ""));
    return !fails;
}

U8_t answer(int address, int reg) {
    auto queued = fakeBus.queues.find({address, reg});
    if (queued != fakeBus.queues.end() && !queued->second.empty()) {
        const U8_t value = queued->second.front();
        queued->second.pop_front();
        return value;
    }
    auto set = fakeBus.values.find({address, reg});
    return set == fakeBus.values.end() ? U8_t{0} : set->second;
}

void keepEvent(const EmpEvLogHeader_t* event) {
    const auto* bytes = reinterpret_cast<const U8_t*>(event);
    fakeEventLog.emplace_back(bytes, bytes + sizeof(*event) + event->evStructLength);
}

void sleepNoTime() {
    if (onFakeSleep) {
        onFakeSleep();
    }
}

} // namespace

void FakeBus_t::queue(int address, int reg, const std::vector<int>& answers) {
    for (int value : answers) {
        queues[{address, reg}].push_back(static_cast<U8_t>(value));
    }
}

void FakeBus_t::heal() {
    failing.clear();
    deadRegisters.clear();
    deadDevices.clear();
}

std::vector<std::string> FakeBus_t::takeTransfers() {
    return std::exchange(transfers, {});
}

int read_i2c_data(int, U8_t i2cAddr, U8_t regAddr, U8_t* data, int length) {
    const std::string size = length == 1 ? "" : " x" + std::to_string(length);
    if (!record("R" + hex2(i2cAddr) + hex2(regAddr) + size, i2cAddr, regAddr)) {
        return -1;
    }
    for (int i = 0; i < length; ++i) {
        data[i] = answer(i2cAddr, regAddr + i);
    }
    return length;
}

int write_i2c_data(int, U8_t i2cAddr, U8_t regAddr, const U8_t* data, int length) {
    std::string line = "W" + hex2(i2cAddr) + hex2(regAddr);
    for (int i = 0; i < length; ++i) {
        line += hex2(data[i]);
    }
    return record(line, i2cAddr, regAddr) ? length : -1;
}

void altEventLogM(const EmpEvLogHeader_t* record, const MPU_PARAMS_t*) {
    keepEvent(record);
}

void altEventLog(const EmpEvLogHeader_t* record, const MPU_PARAMS_t*, S32_t) {
    keepEvent(record);
}

void MPU_sleep(U32_t) {
    sleepNoTime();
}

void MPU_usleep(U32_t) {
    sleepNoTime();
}
