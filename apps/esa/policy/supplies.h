/** Power supplies: what a poll, a status page and a control page make of a chassis' supply checks. */
#pragma once

#include "core/control_block.h"

/** Lines about the outcome of a check; nullptr: nothing is traced. */
struct SupplyTexts_t {
    const CHAR_t* turnedGood = nullptr;
    const CHAR_t* turnedBad = nullptr;
    const CHAR_t* stillGood = nullptr;
    const CHAR_t* stillBad = nullptr;
};

/** One condition of the supplies; it holds for all of an enclosure's supplies together. */
struct SupplyCheck_t {
    U32_t statusBit;       /**< ESA_K_POWER_...: set while the condition was last found good */
    U32_t cause;           /**< ESA_K_FAULT_... */
    ESA_CODE_e (*read)();  /**< ESA_E_OK: good; ESA_E_GENERR: bad, or not to be read */
    bool unusableBusIsBad; /**< what a poll makes of ESA_E_GENERR_I2C_UNAVAILABLE; otherwise it changes nothing */
    bool isInstallation;   /**< a status page shows a bad supply as not installed */
    bool isInput;          /**< a status page shows it as AC failure */
    /** LED of the condition; where there is one, the pages leave the composite fault alone. */
    void (*show)(bool good) = nullptr;
    /** What else is due when the condition is found good and was so before. */
    void (*stillGood)() = [] {};
    SupplyTexts_t pollTexts = {};
    SupplyTexts_t pageTexts = {};
};

/** Runs the checks: fault causes, LEDs, and an event for each condition that has changed. */
void esaPollPowerSupplies();

/**
 * Runs the checks for one record of the status page: sets `commonStatus`, `acFail` and `fail`, and keeps LEDs and
 * faults in step. Returns whether a condition has changed.
 */
bool esaFillPowerSupply(PowerSupplyElementStat_t& status, const PowerSupplyElementCont_t& control);

/** Shows a supply as failed, or as good, because a control page asks for it: on the first check's LED or fault. */
void esaIndicatePowerSupply(bool fail);

/** The check of an enclosure whose supplies are watched by measuring their voltages. */
consteval SupplyCheck_t esaVoltageCheck(ESA_CODE_e (*read)()) {
    return {
        .statusBit = ESA_K_POWER_VOLTAGE_OK,
        .cause = ESA_K_FAULT_POWER_SUPPLY_VOLTAGE_TOLERANCE,
        .read = read,
        .unusableBusIsBad = true,
        .isInstallation = true,
        .isInput = true,
        .pollTexts = {.turnedGood = "Power Voltage Tolerance Status changed from [NOT OK] to [OK].",
                      .turnedBad = "Power Voltage Tolerance Status changed from [OK] to [NOT OK].",
                      .stillGood = "Power Voltage Tolerance Status already [OK].",
                      .stillBad = "Power Voltage Tolerance Status already [NOT OK]."},
        // Log readers know the page's bad state under the redundancy wording.
        .pageTexts = {.stillGood = "Power Voltage Tolerance Status already [OK].",
                      .stillBad = "Power Redundancy Status already [NOT OK]."},
    };
}
