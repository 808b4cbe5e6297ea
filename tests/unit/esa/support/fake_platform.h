/**
 * The platform as a unit test of the adapter sees it: an I2C bus that answers from a register map, records every
 * transfer in order and fails the ones it is told to; an event log that keeps its records; sleeps that take no time.
 * It takes the place of the platform library and of the library's sleep at link time.
 */
#pragma once

#include <cerrno>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "basetypes.h"

struct FakeBus_t {
    /** Value that reads of a register give, until it is set anew; writes do not change it. Unset registers read 0. */
    void set(int address, int reg, int value) { values[{address, reg}] = static_cast<U8_t>(value); }
    /** Values that the next reads of a register give, one a read; then the set value again. */
    void queue(int address, int reg, const std::vector<int>& answers);
    /** Makes the n-th transfer from now (0: the next) fail. */
    void failTransfer(unsigned n) { failing.insert(count + n); }
    /** Makes every transfer of a register fail, or lets a whole device be missing: nobody acknowledges. */
    void failRegister(int address, int reg) { deadRegisters.insert({address, reg}); }
    void failDevice(int address) { deadDevices.insert(address); }
    void heal();
    /** Transfers since the last call, such as "R 41 10" and "W 41 04 50"; failed ones end with " !". All hex. */
    std::vector<std::string> takeTransfers();

    std::vector<std::string> transfers;
    unsigned count = 0; /**< transfers ever made */
    std::map<std::pair<int, int>, U8_t> values;
    std::map<std::pair<int, int>, std::deque<U8_t>> queues;
    std::set<unsigned> failing;
    std::set<std::pair<int, int>> deadRegisters;
    std::set<int> deadDevices;
    int refusal = ENXIO; /**< errno of a device that is missing: bus adapters differ */
};
extern FakeBus_t fakeBus;

/** Records that were handed to the event log: header and body. */
extern std::vector<std::vector<U8_t>> fakeEventLog;

/** Called for every sleep, of seconds or microseconds, when it is set. */
extern std::function<void()> onFakeSleep;
