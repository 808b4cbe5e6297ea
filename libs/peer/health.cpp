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

std::string supplyProblem(const PowerSupply_t& supply) {
    std::string text;
    const auto add = [&](bool present, const char* what) {
        if (present) {
            text += (text.empty() ? "" : ", ") + std::string(what);
        }
    };
    add(supply.code == SES_E_ELEMENT_STATUS_CODE_NOT_INSTALLED, "redundancy lost or voltage out of tolerance");
    add(supply.acFail, "input or voltage failed");
    add(supply.dcFail, "output failed");
    add(supply.off, "switched off");
    add(supplyFailRequested(supply), "fault indication switched on by command");
    return text.empty() ? "marked faulty" : text;
}

std::string fanProblem(const Fan_t& fan) {
    const std::string limit = std::to_string(HEALTH_K_FAN_MINIMUM_RPM) + " RPM";
    if (!fan.rpm) {
        return "gives no speed reading and counts as stopped (limit " + limit + ")";
    }
    const std::string speed = std::to_string(*fan.rpm) + " RPM";
    if (*fan.rpm == 0) {
        return "stands still (limit " + limit + ")";
    }
    if (*fan.rpm < HEALTH_K_FAN_MINIMUM_RPM) {
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
        return breaks("over", "failure", HEALTH_K_HIGH_FAILURE_CELSIUS);
    }
    if (sensor.underFailure) {
        return breaks("under", "failure", HEALTH_K_LOW_FAILURE_CELSIUS);
    }
    if (sensor.overWarning) {
        return breaks("over", "warning", HEALTH_K_HIGH_WARNING_CELSIUS);
    }
    if (sensor.underWarning) {
        return breaks("under", "warning", HEALTH_K_LOW_WARNING_CELSIUS);
    }
    return std::string("reports status ") + elementStatusName(sensor.code);
}

/** Notes one element's problem, if it has one. `alsoWarning`: a missing reading or a broken warning limit beside it. */
void note(Health_t& health, const std::string& element, Condition_e condition, const std::string& text,
          bool alsoWarning = false) {
    if (condition != CONDITION_E_WARNING && condition != CONDITION_E_FAULT) {
        return;
    }
    health.problems.push_back({element, condition, element + " " + text});
    health.overall = std::max(health.overall, condition);
    if (condition == CONDITION_E_FAULT) {
        health.exitStatus |= ESACTL_K_EXIT_FAULT;
    }
    if (condition == CONDITION_E_WARNING || alsoWarning) {
        health.exitStatus |= ESACTL_K_EXIT_WARNING;
    }
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
    constexpr std::array NAMES{"ok", "absent", "warning", "fault"};
    return NAMES[condition];
}

Condition_e driveCondition(const DriveSlot_t& drive) {
    if (drive.code == SES_E_ELEMENT_STATUS_CODE_NOT_INSTALLED) {
        return CONDITION_E_ABSENT;
    }
    return drive.faultSensed ? CONDITION_E_FAULT : codeCondition(drive.code);
}

Condition_e supplyCondition(const PowerSupply_t& supply) {
    const bool bad = supply.fail || supply.acFail || supply.dcFail || supply.off ||
                     supply.code == SES_E_ELEMENT_STATUS_CODE_NOT_INSTALLED;
    return bad ? CONDITION_E_FAULT : codeCondition(supply.code);
}

Condition_e fanCondition(const Fan_t& fan) {
    const bool bad = fan.fail || !fan.rpm || *fan.rpm < HEALTH_K_FAN_MINIMUM_RPM;
    return bad ? CONDITION_E_FAULT : codeCondition(fan.code);
}

Condition_e sensorCondition(const TemperatureSensor_t& sensor) {
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

Health_t assessHealth(const EnclosureStatus_t& status) {
    Health_t health;
    forEach(status.drives, [&](unsigned i, const DriveSlot_t& drive) {
        note(health, slotName(i), driveCondition(drive), "reports a drive fault");
    });
    forEach(status.supplies, [&](unsigned i, const PowerSupply_t& supply) {
        note(health, supplyName(i), supplyCondition(supply), supplyProblem(supply));
    });
    forEach(status.fans, [&](unsigned i, const Fan_t& fan) {
        note(health, fanName(i), fanCondition(fan), fanProblem(fan), !fan.rpm);
    });
    forEach(status.sensors, [&](unsigned i, const TemperatureSensor_t& sensor) {
        note(health, sensorName(i), sensorCondition(sensor), sensorProblem(sensor),
             sensor.overWarning || sensor.underWarning);
    });
    std::stable_sort(health.problems.begin(), health.problems.end(),
                     [](const Problem_t& a, const Problem_t& b) { return a.condition > b.condition; });
    return health;
}
