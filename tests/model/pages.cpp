/** The configuration page and the enclosure status page, with what reading the enclosure brings about. */
#include "adapter.h"

#include <algorithm>

#include "outgoing.h"

namespace model {

namespace {

constexpr const char* IN_PAGES = "esaSendStatus";

Bytes_t configurationPage(const State_t& state) {
    const std::size_t types = state.elementTypeMaxNumber;
    const std::uint8_t counts[] = {state.deviceMaxNumber, state.powerSupplyMaxNumber, state.coolingMaxNumber,
                                   state.temperatureSensorMaxNumber, state.audibleAlarmMaxNumber};
    constexpr std::uint8_t TYPES[] = {1, 2, 3, 4, 6};
    Bytes_t page(8 + 40);
    page[0] = 1;
    putHalf(page, 2, 4 * types + 44);
    page[8] = 0x20;
    page[10] = state.elementTypeMaxNumber;
    page[11] = 36;
    for (std::size_t i = 0; i < 5; i++) {
        page.insert(page.end(), {TYPES[i], counts[i], 0, 0});
    }
    return page;
}

/** An element record, or the overall word that each list starts with. */
void append(Bytes_t& page, const Element_t& record) {
    page.insert(page.end(), record.begin(), record.end());
}

void devices(Adapter_t& adapter, Bytes_t& page) {
    const State_t& state = adapter.state;
    append(page, {});
    for (std::uint8_t slot = 0; slot < state.deviceMaxNumber; slot++) {
        const bool missing = state.enclosureType == 2 && adapter.xyratexIsDrivePresent(slot) != OK;
        const auto faultRequested = static_cast<std::uint8_t>(state.deviceElementControl[slot][3] & 0x04);
        append(page, {missing ? std::uint8_t{5} : std::uint8_t{1}, slot, 0, faultRequested});
    }
}

/** What one supply's readings say. */
struct Supply_t {
    bool bad = false;       /**< not installed, as far as the requester is told */
    bool acFail = false;    /**< voltages out of range */
    bool indicated = false; /**< a fault that the enclosure shows */
    bool changed = false;
};

/** True when the bit of `powerSupplyStatus` was not as `good` has it and now is. */
bool remember(State_t& state, std::uint32_t bit, bool good) {
    if (((state.powerSupplyStatus & bit) != 0) == good) {
        return false;
    }
    state.powerSupplyStatus ^= bit;
    return true;
}

void xyratexRedundancy(Adapter_t& adapter, Supply_t& supply) {
    State_t& state = adapter.state;
    const bool wasGood = (state.powerSupplyStatus & 0x2) != 0;
    supply.bad = adapter.xyratexReadPowerRedundancyFailStatus() != OK;
    if (supply.bad == wasGood) {
        adapter.xyratexRedundancyLED(supply.bad);
    } else {
        adapter.trace(IN_PAGES, "Power Redundancy Fail LED already [%s].", onOff(supply.bad));
    }
    if (!supply.bad && wasGood) {
        adapter.xyratexEndReminder();
    }
    supply.changed |= remember(state, 0x2, !supply.bad);
}

void xyratexVoltage(Adapter_t& adapter, Supply_t& supply) {
    State_t& state = adapter.state;
    const bool wasGood = (state.powerSupplyStatus & 0x1) != 0;
    supply.acFail = adapter.xyratexReadPowerVoltageStatus() != OK;
    if (supply.acFail == wasGood) {
        adapter.xyratexSupplyLED(!supply.acFail);
    } else {
        adapter.trace(IN_PAGES, "PSU OK LED already [%s].", onOff(wasGood));
    }
    supply.changed |= remember(state, 0x1, !supply.acFail);
}

/** A supply check whose outcome goes to the composite fault: the same bit is cause and memory. */
void judge(Adapter_t& adapter, Supply_t& supply, std::uint32_t bit, int reading, const char* alreadyGood) {
    supply.bad = reading != OK;
    adapter.esaManageCompositeFault(bit, !supply.bad);
    supply.changed = remember(adapter.state, bit, !supply.bad);
    if (!supply.changed) {
        adapter.trace(IN_PAGES, "%s", supply.bad ? "Power Redundancy Status already [NOT OK]." : alreadyGood);
    }
    supply.indicated = (adapter.state.compositeFaultStatus & bit) != 0;
}

void judgeVoltage(Adapter_t& adapter, Supply_t& supply, int reading) {
    judge(adapter, supply, 0x1, reading, "Power Voltage Tolerance Status already [OK].");
    supply.acFail = supply.bad;
}

Supply_t readSupply(Adapter_t& adapter) {
    Supply_t supply;
    switch (adapter.state.enclosureType) {
    case 2:
        xyratexRedundancy(adapter, supply);
        xyratexVoltage(adapter, supply);
        supply.indicated = (adapter.state.powerSupplyStatus & 0x3) != 0x3;
        break;
    case 3:
    case 5:
        judge(adapter, supply, 0x2, adapter.esaVsc055ReadPowerRedundancyFailStatus(),
              "Power Redundancy Status already [OK].");
        break;
    case 4:
        judgeVoltage(adapter, supply, adapter.chenbroReadPowerVoltageToleranceStatus());
        break;
    case 6:
        judgeVoltage(adapter, supply,
                     adapter.esaW83782dReadPowerVoltageToleranceStatus(adapter.state.i2cAddressW83782d));
        break;
    default:
        break;
    }
    return supply;
}

void powerSupplies(Adapter_t& adapter, Bytes_t& page) {
    const State_t& state = adapter.state;
    bool changed = false;
    append(page, {});
    for (std::size_t i = 0; i < state.powerSupplyMaxNumber; i++) {
        const Supply_t supply = readSupply(adapter);
        const std::uint8_t requested = state.powerSupplyElementControl[i][3];
        const bool fail = supply.indicated || (requested & 0x02) != 0;
        const int flags = (supply.acFail ? 0x40 : 0) | (requested & 0x04) | (fail ? 0x02 : 0) | 0x01;
        append(page, {supply.bad ? std::uint8_t{5} : std::uint8_t{1}, 0, 0, static_cast<std::uint8_t>(flags)});
        changed |= supply.changed;
    }
    if (changed) {
        adapter.sendPowerSupplyEvent(2);
    }
}

void followFanLed(Adapter_t& adapter) {
    const bool wanted = adapter.state.fanFaultStatus != 0;
    if (((adapter.state.vsc055GPD[6] & 0x80) != 0) == wanted) {
        adapter.trace(IN_PAGES, "FAN Fail LED already [%s].", onOff(wanted));
        return;
    }
    adapter.xyratexFanFailLED(wanted);
    adapter.trace(IN_PAGES, "Turn [%s] FAN Fail LED.", onOff(wanted));
}

/** The Xyratex marks fans here as well, 2000 RPM being a fault; true when the fan's mark changed. */
bool markFan(Adapter_t& adapter, std::uint8_t fan, bool slow) {
    const std::uint32_t bit = 1U << fan;
    const bool changed = ((adapter.state.fanFaultStatus & bit) != 0) != slow;
    if (changed) {
        adapter.state.fanFaultStatus ^= bit;
    }
    adapter.trace(IN_PAGES, "%s %s on Fan [%d].", changed ? "Now marking" : "Already marked", slow ? "Fault" : "OK",
                  fan);
    followFanLed(adapter);
    return changed;
}

void cooling(Adapter_t& adapter, Bytes_t& page) {
    const State_t& state = adapter.state;
    bool changed = false;
    append(page, {});
    for (std::uint8_t fan = 0; fan < state.coolingMaxNumber; fan++) {
        Element_t record{};
        std::uint16_t rpm = 0;
        record[3] = 7 << 5;
        if (adapter.readFan(fan, rpm) == OK) {
            adapter.trace(IN_PAGES, "Fan [%d] has RPM [%d] divided by a factor of 10.", fan, rpm);
            record[1] = static_cast<std::uint8_t>((rpm / 2560 & 3) << 6);
            record[2] = static_cast<std::uint8_t>(rpm / 10);
            if (record[1] == 0 && record[2] == 0) {
                record[3] = 0x08;
            }
            if (state.enclosureType == 2) {
                changed |= markFan(adapter, fan, rpm <= 2000);
                record[3] |= rpm <= 2000 ? 0x02 : 0;
            }
        }
        record[3] = static_cast<std::uint8_t>(record[3] | (state.coolingElementControl[fan][3] & 0x04));
        append(page, record);
    }
    if (changed) {
        adapter.sendFanEvent();
    }
}

Element_t temperatureRecord(int degrees) {
    if (degrees == 32767) {
        return {};
    }
    int flags = 0;
    if (degrees > 55) {
        flags = degrees > 60 ? 0x30 : 0x20;
    } else if (degrees < 1) {
        flags = degrees < 0 ? 0xC0 : 0x80;
    }
    return {0, 0, static_cast<std::uint8_t>(degrees + 20), static_cast<std::uint8_t>(flags)};
}

bool muted(Adapter_t& adapter, const Element_t& control) {
    const State_t& state = adapter.state;
    if (state.enclosureType == 2) {
        return adapter.xyratexReadAlarmstate() == 0;
    }
    if (state.enclosureType >= 3 && state.enclosureType <= 6) {
        return state.alarmState == 0;
    }
    return (control[3] & 0x02) != 0;
}

void alarms(Adapter_t& adapter, Bytes_t& page) {
    const State_t& state = adapter.state;
    append(page, {0, 0, 0, static_cast<std::uint8_t>(state.audibleAlarmElementControlOverall & 0x20)});
    for (std::size_t j = 0; j < state.audibleAlarmMaxNumber; j++) {
        const Element_t& control = state.audibleAlarmElementControl[j];
        const int flags = (control[3] & 0xF8) | (muted(adapter, control) ? 0x02 : 0) | ((control[3] & 0x02) >> 1);
        append(page, {static_cast<std::uint8_t>(control[0] & 0x20), 0, 0, static_cast<std::uint8_t>(flags)});
    }
}

Bytes_t statusPage(Adapter_t& adapter) {
    const State_t& state = adapter.state;
    Bytes_t page(8);
    page[0] = 2;
    devices(adapter, page);
    powerSupplies(adapter, page);
    cooling(adapter, page);
    adapter.readTemperatures(IN_PAGES, state.enclosureType == 3 || state.enclosureType == 5);
    append(page, {});
    for (std::size_t k = 0; k < state.temperatureSensorMaxNumber; k++) {
        append(page, temperatureRecord(state.temperatureSensor[k]));
    }
    alarms(adapter, page);
    putHalf(page, 2, page.size() - 4);
    return page;
}

} // namespace

Bytes_t Adapter_t::buildPage(std::uint8_t pageCode, std::uint32_t allocationLength) {
    if (pageCode == 2) {
        return statusPage(*this);
    }
    const std::size_t types = state.elementTypeMaxNumber;
    return allocationLength < 4 * types + 48 ? Bytes_t() : configurationPage(state);
}

} // namespace model
