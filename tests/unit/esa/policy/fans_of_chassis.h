/** The fans of every chassis as the bus sees them. */
#pragma once

#include <string>
#include <vector>

#include "esa_fixture.h"

/** Where a fan's tachometer is read. */
struct Tachometer {
    int address;
    int reg;
};

struct ChassisFans {
    int type;
    std::vector<Tachometer> tachometers;
    int good;    /**< count of a fan that runs well */
    int goodRpm; /**< its speed */
    int slow;    /**< count of a fan below 2000 RPM */
    int slowRpm; /**< its speed */
    /** Transfer that loads 25, 50, 75 and 100 percent, without the value: one for each fan that the policy drives. */
    std::vector<std::string> loads;
    std::vector<std::string> duties; /**< values of 25, 50, 75 and 100 percent */
};

/** The counts of types 2, 5 and 6 that give less than 2000 RPM do so because a speed has 16 bits. */
inline const std::vector<ChassisFans> FANS_OF_CHASSIS = {
    {2,
     {{0x63, 0x32}, {0x63, 0x36}, {0x63, 0x3A}, {0x63, 0x3E}, {0x63, 0x42}, {0x63, 0x46}, {0x63, 0x4A}, {0x63, 0x4E}},
     200,
     6000,
     18,
     1130,
     {"W 63 98 ", "W 63 99 "},
     {"27", "2F", "37", "3F"}},
    {3,
     {{0x41, 0x32}, {0x41, 0x36}, {0x41, 0x3A}},
     150,
     2000,
     151,
     1986,
     {"W 41 98 ", "W 41 99 ", "W 41 9A "},
     {"27", "2F", "37", "3F"}},
    {4,
     {{0x28, 0x28}, {0x28, 0x29}, {0x29, 0x28}, {0x2A, 0x28}, {0x2B, 0x28}, {0x2B, 0x29}},
     100,
     6750,
     10,
     1964,
     {"W 28 5B ", "W 28 5A ", "W 29 5B ", "W 2A 5B ", "W 2B 5B ", "W 2B 5A "},
     {"40", "80", "C0", "FF"}},
    {5,
     {{0x41, 0x32}, {0x41, 0x36}, {0x41, 0x3A}},
     200,
     3000,
     9,
     1130,
     {"W 41 98 ", "W 41 99 ", "W 41 9A "},
     {"27", "2F", "37", "3F"}},
    {6,
     {{0x28, 0x28}, {0x28, 0x29}, {0x28, 0x2A}},
     100,
     6750,
     10,
     1964,
     {"W 28 5B ", "W 28 5E ", "W 28 5F "},
     {"40", "80", "C0", "FF"}},
};

/** Index of a load in `duties`. */
inline std::size_t dutyIndex(int percent) {
    return static_cast<std::size_t>(percent / 25 - 1);
}
