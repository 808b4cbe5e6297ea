#include "health.h"

#include <algorithm>

#include "errors.h"
#include "names.h"
#include "ses_mesgs.h"

namespace {

Condition_e codeCondition(U8_t code) {
    switch (code) {
    case SES_E_ELEMENT_STATUS_CODE_CRITICAL:
    case SES_E_ELEMENT_STATUS_CODE_UNRECOVERABLE:
        return CONDITION_E_FAULT;
    case SES_E_ELEMENT_STATUS_CODE_NONCRITICAL:
        return CONDITION_E_WARNING;
    default:
        return CONDITION_E_OK;
    }
}

const char* notInstalledText(const PowerSupply_t& supply, const ChassisFacts_t* chassis) {
    if (chassis == nullptr) {
        return supply.acFail ? "redundancy may be lost" : "redundancy lost or voltage out of tolerance";
    }
    return chassis->watchesRedundancy ? "redundancy lost" : "voltage out of tolerance";
}

std::string fanProblem(const Fan_t& fan) {
    const std::string limit = std::to_string(SES_K_FAN_FAULT_RPM_LIMIT) + " RPM";
    if (!fan.rpm) {
        return "gives no speed reading and counts as stopped (limit " + limit + ")";
    }
    const std::string speed = std::to_string(*fan.rpm) + " RPM";
    if (*fan.rpm == 0) {
        return "stands still (limit " + limit + ")";
    }
    if (*fan.rpm < SES_K_FAN_FAULT_RPM_LIMIT) {
        return "at " + speed + " is under its limit of " + limit;
    }
    return "at " + speed + " is marked faulty (limit " + limit + ")";
}

std::string sensorProblem(const TemperatureSensor_t& sensor) {
    if (!sensor.celsius) {
        return "gives no reading";
    }
    const auto breaks = [&](const char* side, const char* kind, int limit) {
        return "at " + std::to_string(*sensor.celsius) + " C is " + side + " its " + kind + " limit of " +
               std::to_string(limit) + " C";
    };
    if (sensor.overFailure) {
        return breaks("over", "failure", SES_K_OVER_TEMPERATURE_FAILURE);
    }
    if (sensor.underFailure) {
        return breaks("under", "failure", SES_K_UNDER_TEMPERATURE_FAILURE);
    }
    if (sensor.overWarning) {
        return breaks("over", "warning", SES_K_OVER_TEMPERATURE_WARNING);
    }
    if (sensor.underWarning) {
        return breaks("under", "warning", SES_K_UNDER_TEMPERATURE_WARNING);
    }
    return std::string("reports status ") + elementStatusName(sensor.code);
}

/** Notes one element's problem, if it has one. */
void note(std::vector<Problem_t>& problems, Condition_e condition, Problem_t problem) {
    if (condition == CONDITION_E_WARNING || condition == CONDITION_E_FAULT) {
        problem.condition = condition;
        problem.text =
            rangeName(elementsOf(problem)) + (problem.others.empty() ? " " : " together report ") + problem.text;
        problems.push_back(std::move(problem));
    }
}

/** One condition of the enclosure stands in every supply's record: told by all, it is one problem. */
void noteSupplies(std::vector<Problem_t>& problems, const std::vector<PowerSupply_t>& supplies,
                  const ChassisFacts_t* chassis) {
    const auto isAsTheFirst = [&](const PowerSupply_t& supply) {
        return supplyCondition(supply) == supplyCondition(supplies.front()) &&
               supplyFault(supply, chassis) == supplyFault(supplies.front(), chassis);
    };
    const bool areOne = supplies.size() > 1 && std::ranges::all_of(supplies, isAsTheFirst);
    for (unsigned i = 0; i < (areOne ? 1 : supplies.size()); ++i) {
        // What is accepted must not depend on whether the chassis was known.
        Problem_t problem{supplyName(i), CONDITION_E_OK, supplyFault(supplies[i], chassis), false,
                          supplyFault(supplies[i], nullptr)};
        for (unsigned other = 1; areOne && other < supplies.size(); ++other) {
            problem.others.push_back(supplyName(other));
        }
        note(problems, supplyCondition(supplies[i]), problem);
    }
}

/** By how many steps that can be told apart a fan is too slow. */
int slowness(const Fan_t& fan) {
    constexpr unsigned STEP_RPM = 100;
    const unsigned rpm = fan.rpm.value_or(0);
    return rpm >= SES_K_FAN_FAULT_RPM_LIMIT ? 0 : static_cast<int>((SES_K_FAN_FAULT_RPM_LIMIT - rpm) / STEP_RPM) + 1;
}

Problem_t sensorProblemOf(const std::string& element, const TemperatureSensor_t& sensor) {
    Problem_t problem{element, CONDITION_E_OK, sensorProblem(sensor), sensor.overWarning || sensor.underWarning};
    const int celsius = sensor.celsius.value_or(0);
    problem.kind = !sensor.celsius ? "no-reading" : sensor.underWarning ? "cold" : sensor.overWarning ? "hot" : "other";
    problem.measure = problem.kind == "hot" ? celsius : problem.kind == "cold" ? -celsius : 0;
    return problem;
}

template <typename Elements, typename Note>
void forEach(const Elements& elements, Note&& noteElement) {
    unsigned index = 0;
    for (const auto& element : elements) {
        noteElement(index++, element);
    }
}

} // namespace

const char* conditionName(Condition_e condition) {
    constexpr std::array NAMES{"ok", "absent", "unknown", "warning", "fault"};
    return NAMES[condition];
}

Condition_e driveCondition(const DriveSlot_t& drive) {
    if (!drive.known) {
        return CONDITION_E_UNKNOWN;
    }
    if (drive.code == SES_E_ELEMENT_STATUS_CODE_NOT_INSTALLED) {
        return CONDITION_E_ABSENT;
    }
    return drive.faultSensed ? CONDITION_E_FAULT : codeCondition(drive.code);
}

Condition_e supplyCondition(const PowerSupply_t& supply) {
    if (!supply.known) {
        return CONDITION_E_UNKNOWN;
    }
    const bool bad = supply.fail || supply.acFail || supply.dcFail || supply.off ||
                     supply.code == SES_E_ELEMENT_STATUS_CODE_NOT_INSTALLED;
    return bad ? CONDITION_E_FAULT : codeCondition(supply.code);
}

Condition_e fanCondition(const Fan_t& fan) {
    if (!fan.known) {
        return CONDITION_E_UNKNOWN;
    }
    const bool bad = fan.fail || !fan.rpm || *fan.rpm < SES_K_FAN_FAULT_RPM_LIMIT;
    return bad ? CONDITION_E_FAULT : codeCondition(fan.code);
}

Condition_e sensorCondition(const TemperatureSensor_t& sensor) {
    if (!sensor.known || !sensor.fitted) {
        return sensor.fitted ? CONDITION_E_UNKNOWN : CONDITION_E_ABSENT;
    }
    if (sensor.overFailure || sensor.underFailure) {
        return CONDITION_E_FAULT;
    }
    if (sensor.overWarning || sensor.underWarning || !sensor.celsius) {
        return CONDITION_E_WARNING;
    }
    return codeCondition(sensor.code);
}

bool supplyFailRequested(const PowerSupply_t& supply) {
    return supply.fail && supply.code == SES_E_ELEMENT_STATUS_CODE_OK && !supply.acFail;
}

std::string supplyFault(const PowerSupply_t& supply, const ChassisFacts_t* chassis) {
    std::string text;
    const auto add = [&](bool present, const char* what) {
        if (present && text != what) {
            text += (text.empty() ? "" : ", ") + std::string(what);
        }
    };
    const bool isVoltageAlone = chassis != nullptr && !chassis->watchesRedundancy;
    add(supply.code == SES_E_ELEMENT_STATUS_CODE_NOT_INSTALLED, notInstalledText(supply, chassis));
    add(supply.acFail, isVoltageAlone ? "voltage out of tolerance" : "input or voltage failed");
    add(supply.dcFail, "output failed");
    add(supply.off, "switched off");
    add(supplyFailRequested(supply), "fault indication switched on by command");
    const Condition_e condition = supplyCondition(supply);
    const bool isWrong = condition == CONDITION_E_WARNING || condition == CONDITION_E_FAULT;
    if (!text.empty() || !isWrong) {
        return text;
    }
    return codeCondition(supply.code) == CONDITION_E_OK
               ? "marked faulty"
               : std::string("reports status ") + elementStatusName(supply.code);
}

std::vector<std::string> elementsOf(const Problem_t& problem) {
    std::vector<std::string> all{problem.element};
    all.insert(all.end(), problem.others.begin(), problem.others.end());
    return all;
}

std::string rangeName(const std::vector<std::string>& elements) {
    return elements.size() < 2 ? elements.front() : elements.front() + "-" + elements.back();
}

Health_t assessHealth(const EnclosureStatus_t& status, const ChassisFacts_t* chassis) {
    std::vector<Problem_t> problems;
    forEach(status.drives, [&](unsigned i, const DriveSlot_t& drive) {
        note(problems, driveCondition(drive), {slotName(i), CONDITION_E_OK, "reports a drive fault", false, "fault"});
    });
    noteSupplies(problems, status.supplies, chassis);
    forEach(status.fans, [&](unsigned i, const Fan_t& fan) {
        note(problems, fanCondition(fan),
             {fanName(i), CONDITION_E_OK, fanProblem(fan), !fan.rpm, fan.rpm ? "slow" : "no-reading", slowness(fan)});
    });
    forEach(status.sensors, [&](unsigned i, const TemperatureSensor_t& sensor) {
        note(problems, sensorCondition(sensor), sensorProblemOf(sensorName(i), sensor));
    });
    std::stable_sort(problems.begin(), problems.end(),
                     [](const Problem_t& a, const Problem_t& b) { return a.condition > b.condition; });
    return healthOf(std::move(problems));
}

Health_t assessHealth(const Enclosure_t& enclosure) {
    if (enclosure.cause.empty()) {
        return assessHealth(enclosure.status, enclosure.chassis);
    }
    const Condition_e condition = enclosure.causeIsMeant ? CONDITION_E_WARNING : CONDITION_E_FAULT;
    return healthOf({{"enclosure", condition, enclosure.cause, false, enclosure.causeIsMeant ? "none" : "no-answer"}});
}

Health_t healthOf(std::vector<Problem_t> problems) {
    Health_t health;
    for (const Problem_t& problem : problems) {
        health.overall = std::max(health.overall, problem.condition);
        if (problem.condition == CONDITION_E_FAULT) {
            health.exitStatus |= ESACTL_K_EXIT_FAULT;
        }
        if (problem.condition == CONDITION_E_WARNING || problem.alsoWarning) {
            health.exitStatus |= ESACTL_K_EXIT_WARNING;
        }
    }
    health.problems = std::move(problems);
    return health;
}
