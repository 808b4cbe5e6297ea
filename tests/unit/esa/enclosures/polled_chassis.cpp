#include "polled_chassis.h"

#include <cstring>

#include "esamain.h"
#include "fake_platform.h"

namespace {

using Lines = std::vector<std::string>;

/** Types 3 and 5 differ in their supplies only, as far as a poll goes. */
PolledChassis vsc055(int type, const char* name, int supplies) {
    return {.type = type,
            .name = name,
            .registers = {},
            .elements = {{'R', {"R 41 04"}, 0x41, 0x04, 0x80, 0x00, 1},
                         {'F', {"R 41 32"}, 0x41, 0x32, 100, 0x00, 1},
                         {'F', {"R 41 36"}, 0x41, 0x36, 100, 0xFF, 1},
                         {'F', {"R 41 3A"}, 0x41, 0x3A, 100, 0xFF, 1},
                         {'T', {"R 4C 00", "R 4C 00"}, 0x4C, 0x00, 0, 0, 2},
                         {'T', {"R 4B 00", "R 4B 00"}, 0x4B, 0x00, 0, 0, 2},
                         {'T', {"R 4A 00", "R 4A 00"}, 0x4A, 0x00, 0, 0, 2}},
            .supplies = supplies,
            .fans = 3,
            .sensors = 3,
            .powerGood = 3,
            .alarm = 3,
            .sounding = {"W 41 04 58"},
            .silencing = {"W 41 04 50"},
            .loads = {{50, {"W 41 98 2F", "W 41 99 2F", "W 41 9A 2F"}},
                      {75, {"W 41 98 37", "W 41 99 37", "W 41 9A 37"}},
                      {100, {"W 41 98 3F", "W 41 99 3F", "W 41 9A 3F"}}},
            .idleLoad = 50,
            .temperatures = {{"cool", {30, 31, 32}}, {"hot", {55, 60, 66}}, {"overheated", {61, 64, 63}}}};
}

PolledChassis xyratex() {
    PolledChassis chassis = {
        .type = 2,
        .name = "Xyratex",
        .registers = {},
        .elements = {{'V', {"R 63 04"}, 0x63, 0x04, 0x10, 0x00, 1}, {'R', {"R 63 04"}, 0x63, 0x04, 0x20, 0x00, 1}},
        .supplies = 2,
        .fans = 8,
        .sensors = 2,
        .powerGood = 3,
        .alarm = 0,
        .sounding = {},
        .silencing = {},
        .loads = {{25, {"W 63 98 27", "W 63 99 27"}},
                  {50, {"W 63 98 2F", "W 63 99 2F"}},
                  {75, {"W 63 98 37", "W 63 99 37"}},
                  {100, {"W 63 98 3F", "W 63 99 3F"}}},
        .idleLoad = 25,
        .temperatures = {{"cool", {30, 31}}, {"hot", {59, 62}}, {"overheated", {61, 64}}}};
    const char* const fans[] = {"R 63 32", "R 63 36", "R 63 3A", "R 63 3E", "R 63 42", "R 63 46", "R 63 4A", "R 63 4E"};
    for (int fan = 0; fan < 8; ++fan) {
        chassis.elements.push_back({'F', {fans[fan]}, 0x63, 0x32 + 4 * fan, 200, 0xFF, 1});
    }
    chassis.elements.push_back({'T', {"R 4C 00", "R 4C 00"}, 0x4C, 0x00, 0, 0, 2});
    chassis.elements.push_back({'T', {"R 4D 00", "R 4D 00"}, 0x4D, 0x00, 0, 0, 2});
    return chassis;
}

PolledChassis w83782d() {
    return {.type = 6,
            .name = "W83782d",
            .registers = {{{0x28, 0x24}, 197}},
            .elements = {{'V', // +5V is the fourth input
                          {"R 28 20", "R 28 21", "R 28 22", "R 28 23", "R 28 24", "R 28 25", "R 28 26"},
                          0x28,
                          0x23,
                          186,
                          167,
                          4},
                         {'F', {"R 28 28"}, 0x28, 0x28, 100, 0xFF, 1},
                         {'F', {"R 28 29"}, 0x28, 0x29, 100, 0xFF, 1},
                         {'F', {"R 28 2A"}, 0x28, 0x2A, 100, 0xFF, 1},
                         {'T', {"R 28 27"}, 0x28, 0x27, 0, 0, 1}},
            .supplies = 2,
            .fans = 3,
            .sensors = 3,
            .powerGood = 1,
            .alarm = 3,
            .sounding = {"W 28 40 00"},
            .silencing = {"W 28 40 40"},
            .loads = {{25, {"W 28 5B 40", "W 28 5E 40", "W 28 5F 40"}},
                      {50, {"W 28 5B 80", "W 28 5E 80", "W 28 5F 80"}},
                      {75, {"W 28 5B C0", "W 28 5E C0", "W 28 5F C0"}},
                      {100, {"W 28 5B FF", "W 28 5E FF", "W 28 5F FF"}}},
            .idleLoad = 25,
            .temperatures = {{"cool", {30}}, {"hot", {50}}, {"overheated", {61}}}};
}

Lines chenbroVoltages() {
    Lines reads;
    for (const char* chip : {"28", "2A", "2C", "30"}) {
        for (const char* input : {"20", "21", "22", "23", "24", "25", "26"}) {
            reads.push_back(std::string("R ") + chip + " " + input);
        }
    }
    return reads;
}

/** Writes of one duty to the six fans. */
Lines chenbroLoad(const char* duty) {
    Lines writes;
    for (const char* output : {"28 5B", "28 5A", "29 5B", "2A 5B", "2B 5B", "2B 5A"}) {
        writes.push_back(std::string("W ") + output + " " + duty);
    }
    return writes;
}

PolledChassis chenbro() {
    PolledChassis chassis = {
        .type = 4,
        .name = "Chenbro",
        .registers = {{{0x28, 0x40}, 0x01},
                      {{0x2A, 0x40}, 0x02},
                      {{0x2C, 0x40}, 0x03},
                      {{0x30, 0x40}, 0x04},
                      {{0x28, 0x23}, 186},
                      {{0x2A, 0x23}, 186},
                      {{0x30, 0x23}, 186},
                      {{0x28, 0x24}, 197},
                      {{0x2A, 0x24}, 197},
                      {{0x2C, 0x24}, 197},
                      {{0x30, 0x24}, 197}},
        // +5V of the third chip is the eighteenth input
        .elements = {{'V', chenbroVoltages(), 0x2C, 0x23, 186, 205, 18},
                     {'F', {"R 28 28"}, 0x28, 0x28, 100, 0xFF, 1},
                     {'F', {"R 28 29"}, 0x28, 0x29, 100, 0xFF, 1},
                     {'F', {"R 29 28"}, 0x29, 0x28, 100, 0xFF, 1},
                     {'F', {"R 2A 28"}, 0x2A, 0x28, 100, 0xFF, 1},
                     {'F', {"R 2B 28"}, 0x2B, 0x28, 100, 0xFF, 1},
                     {'F', {"R 2B 29"}, 0x2B, 0x29, 100, 0xFF, 1},
                     {'T', {"R 28 27"}, 0x28, 0x27, 0, 0, 1},
                     {'T', {"R 2A 27"}, 0x2A, 0x27, 0, 0, 1},
                     {'T', {"R 2C 27"}, 0x2C, 0x27, 0, 0, 1},
                     {'T', {"R 30 27"}, 0x30, 0x27, 0, 0, 1}},
        .supplies = 3,
        .fans = 6,
        .sensors = 4,
        .powerGood = 1,
        .alarm = 3,
        .sounding = {"W 28 40 01", "W 2A 40 02", "W 2C 40 03", "W 30 40 04"},
        .silencing = {"W 28 40 41", "W 2A 40 42", "W 2C 40 43", "W 30 40 44"},
        .loads = {{25, chenbroLoad("40")}, {50, chenbroLoad("80")}, {75, chenbroLoad("C0")}, {100, chenbroLoad("FF")}},
        .idleLoad = 25,
        .temperatures = {{"cool", {30, 31, 30, 31}}, {"hot", {57, 60, 62, 64}}, {"overheated", {61, 64, 63, 62}}}};
    return chassis;
}

} // namespace

const std::vector<PolledChassis> polledChassis = {xyratex(), vsc055(3, "Quadra", 3), chenbro(), vsc055(5, "Vsc055", 2),
                                                  w83782d()};

void show(const PolledChassis& chassis, const PolledInputs& inputs) {
    fakeBus.values.clear();
    for (const auto& [place, value] : chassis.registers) {
        fakeBus.set(place.first, place.second, value);
    }
    const std::vector<int>& degrees = chassis.temperatures.at(inputs.temperatures);
    std::size_t sensor = 0;
    unsigned fan = 0;
    for (const PolledElement& element : chassis.elements) {
        const bool bad = element.kind == 'F' ? (inputs.stoppedFans >> fan++ & 1) != 0 : inputs.suppliesBad;
        const int value = element.kind == 'T' ? degrees[sensor++] : bad ? element.bad : element.good;
        U8_t& shown = fakeBus.values[{element.address, element.reg}]; // two inputs can share a register
        shown = static_cast<U8_t>(shown | value);
    }
}

void recordAddresses(const PolledChassis& chassis) {
    if (chassis.type == 3 || chassis.type == 5) {
        const U8_t sensors[] = {0x4C, 0x4B, 0x4A};
        esaControl.i2cAddressVsc055 = 0x41;
        std::memcpy(esaControl.i2cAddressLM75, sensors, sizeof(sensors));
    }
}
