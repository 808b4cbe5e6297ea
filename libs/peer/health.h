/** What is wrong with an enclosure, judged from its status page. */
#pragma once

#include <string>
#include <vector>

#include "pages.h"

/** The limits that the adapter judges by; a value is healthy on the limit itself. */
inline constexpr unsigned HEALTH_K_FAN_MINIMUM_RPM = 2000;
inline constexpr int HEALTH_K_LOW_FAILURE_CELSIUS = 0;
inline constexpr int HEALTH_K_LOW_WARNING_CELSIUS = 1;
inline constexpr int HEALTH_K_HIGH_WARNING_CELSIUS = 55;
inline constexpr int HEALTH_K_HIGH_FAILURE_CELSIUS = 60;

enum Condition_e {
    CONDITION_E_OK,
    CONDITION_E_ABSENT, /**< an empty drive slot: nothing is wrong */
    CONDITION_E_WARNING,
    CONDITION_E_FAULT,
};

/** "ok", "absent", "warning" or "fault". */
const char* conditionName(Condition_e condition);

Condition_e driveCondition(const DriveSlot_t& drive);
Condition_e supplyCondition(const PowerSupply_t& supply);
/** A fan without a reading is a fault: the adapter itself counts it as stopped. */
Condition_e fanCondition(const Fan_t& fan);
/** A sensor without a reading is a warning. */
Condition_e sensorCondition(const TemperatureSensor_t& sensor);

/** Whether a supply's fault indication was switched on by a command. False too where its own failure hides that. */
bool supplyFailRequested(const PowerSupply_t& supply);

struct Problem_t {
    std::string element; /**< such as "fan1" */
    Condition_e condition;
    std::string text; /**< with the value and the limit it breaks, such as "fan1 at 1500 RPM is under ..." */
};

struct Health_t {
    Condition_e overall = CONDITION_E_OK;
    std::vector<Problem_t> problems; /**< faults first */
    int exitStatus = 0;              /**< ESACTL_K_EXIT_FAULT and ESACTL_K_EXIT_WARNING bits */
};

Health_t assessHealth(const EnclosureStatus_t& status);
