/** What is wrong with an enclosure, judged from its status page. */
#pragma once

#include <string>
#include <vector>

#include "enclosure.h"

enum Condition_e {
    CONDITION_E_OK,
    CONDITION_E_ABSENT,  /**< an empty drive slot, a sensor that the chassis does not have: nothing is wrong */
    CONDITION_E_UNKNOWN, /**< the adapter cannot know */
    CONDITION_E_WARNING,
    CONDITION_E_FAULT,
};

/** "ok", "absent", "unknown", "warning" or "fault". */
const char* conditionName(Condition_e condition);

Condition_e driveCondition(const DriveSlot_t& drive);
Condition_e supplyCondition(const PowerSupply_t& supply);
/** A fan without a reading is a fault: the adapter itself counts it as stopped. */
Condition_e fanCondition(const Fan_t& fan);
/** A sensor without a reading is a warning. */
Condition_e sensorCondition(const TemperatureSensor_t& sensor);

/**
 * What is wrong with a supply, in words; empty when nothing is. The adapter reports one condition of the enclosure in
 * the supplies' records: what it can be depends on the chassis (nullptr: not known).
 */
std::string supplyFault(const PowerSupply_t& supply, const ChassisFacts_t* chassis);

/** Whether a supply's fault indication was switched on by a command. False too where its own failure hides that. */
bool supplyFailRequested(const PowerSupply_t& supply);

struct Problem_t {
    std::string element; /**< such as "fan1"; of several, the first */
    Condition_e condition;
    std::string text;         /**< with the value and the limit it breaks, such as "fan1 at 1500 RPM is under ..." */
    bool alsoWarning = false; /**< a missing reading or a broken warning limit beside a fault */
    /** What is wrong, apart from how much: what has another kind is another problem. */
    std::string kind = {};
    int measure = 0;                      /**< how much; more is worse */
    std::vector<std::string> others = {}; /**< further elements that report this same condition */
};

/** All elements that report it. */
std::vector<std::string> elementsOf(const Problem_t& problem);

/** "psu0", or "psu0-psu2" of several that follow each other. */
std::string rangeName(const std::vector<std::string>& elements);

/** A problem that an operator lives with; it does not count. */
struct Accepted_t {
    Problem_t problem;
    std::string until; /**< UTC, such as "2026-12-01T00:00:00Z" */
};

struct Health_t {
    Condition_e overall = CONDITION_E_OK;
    std::vector<Problem_t> problems; /**< faults first */
    std::vector<Accepted_t> accepted;
    int exitStatus = 0; /**< ESACTL_K_EXIT_FAULT and ESACTL_K_EXIT_WARNING bits */
};

Health_t assessHealth(const EnclosureStatus_t& status, const ChassisFacts_t* chassis = nullptr);

/** Same; where nothing is known of the enclosure, the one cause is the only problem. */
Health_t assessHealth(const Enclosure_t& enclosure);

/** Health of an enclosure that has these problems, in this order. */
Health_t healthOf(std::vector<Problem_t> problems);
