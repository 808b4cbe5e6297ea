#include "policy/supplies.h"

#include <algorithm>

#include "core/operation.h"
#include "policy/chassis.h"
#include "policy/composite_fault.h"
#include "policy/events.h"

namespace {

void manageFault(const SupplyCheck_t& check, bool good) {
    esaManageCompositeFault(check.cause, good ? ESA_E_OK : ESA_E_GENERR);
}

/** Remembers what a check has found; returns whether that has changed. */
bool takeOver(const SupplyCheck_t& check, bool good, const SupplyTexts_t& texts) {
    const bool wasGood = (esaControl.powerSupplyStatus & check.statusBit) != 0;
    if (good == wasGood) {
        ESA_TRACE_TEXT(good ? texts.stillGood : texts.stillBad);
        if (good) {
            check.stillGood();
        }
        return false;
    }
    ESA_TRACE_TEXT(good ? texts.turnedGood : texts.turnedBad);
    esaControl.powerSupplyStatus ^= check.statusBit;
    if (check.show != nullptr) {
        check.show(good);
    }
    return true;
}

void poll(const SupplyCheck_t& check) {
    const ESA_CODE_e result = check.read();
    if (result == ESA_E_GENERR_I2C_UNAVAILABLE && !check.unusableBusIsBad) {
        return;
    }
    const bool good = result == ESA_E_OK;
    manageFault(check, good);
    if (takeOver(check, good, check.pollTexts)) {
        esaSendPowerSupplyEvent(good ? EMP_E_TYPE_INFORMATION : EMP_E_TYPE_WARNING);
    }
}

} // namespace

void esaPollPowerSupplies() {
    std::ranges::for_each(esaChassis().supplyChecks, poll);
}

bool esaFillPowerSupply(PowerSupplyElementStat_t& status, const PowerSupplyElementCont_t& control) {
    bool fail = control.rqstFail != 0;
    bool changed = false;
    status.commonStatus = SES_E_ELEMENT_STATUS_CODE_OK;
    const auto checks = esaChassis().supplyChecks;
    for (auto next = checks.rbegin(); next != checks.rend(); ++next) {
        const SupplyCheck_t& check = *next;
        const bool good = check.read() == ESA_E_OK;
        if (!good && check.isInstallation) {
            status.commonStatus = SES_E_ELEMENT_STATUS_CODE_NOT_INSTALLED;
        }
        if (check.isInput) {
            status.acFail = !good;
        }
        if (check.show == nullptr) {
            manageFault(check, good);
        }
        changed |= takeOver(check, good, check.pageTexts);
        fail |= !good;
    }
    status.fail = fail;
    return changed;
}

void esaIndicatePowerSupply(bool fail) {
    const auto checks = esaChassis().supplyChecks;
    if (checks.empty()) {
        return;
    }
    if (checks.front().show != nullptr) {
        checks.front().show(!fail);
    } else {
        manageFault(checks.front(), !fail);
    }
}
