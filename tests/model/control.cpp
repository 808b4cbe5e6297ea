/** The enclosure control page of a SEND DIAGNOSTIC: every record is remembered, some are acted on. */
#include "adapter.h"

#include <algorithm>

#include "outgoing.h"

namespace model {

namespace {

constexpr const char* IN_CONTROL_PAGE = "esaProcEncContPage";
constexpr int FIRST_LIST = 80;
constexpr std::uint8_t VOLUME_MANAGER = 20;

/** Where a list starts after one that starts at `list` and is stepped over with `count` records. */
std::size_t after(std::size_t list, std::size_t count) {
    return list + 4 * count + 4;
}

/** Takes over the overall word and `count` records of the list at `list` of the message. */
void takeOver(const State_t& state, std::size_t list, std::size_t count, std::uint32_t& overall,
              std::span<Element_t> records) {
    overall = wordAt(state.esaInMsg, list);
    for (std::size_t i = 0; i < count; i++) {
        std::copy_n(state.esaInMsg.begin() + static_cast<std::ptrdiff_t>(after(list, i)), 4, records[i].begin());
    }
}

/** Whether the list asks for action, and this record of it too. */
bool selected(std::uint32_t overall, const Element_t& record) {
    return (overall & 0x80) != 0 && (record[0] & 0x80) != 0;
}

void devices(Adapter_t& adapter) {
    State_t& state = adapter.state;
    bool changed = false;
    state.deviceElementControlOverall = wordAt(state.esaInMsg, FIRST_LIST);
    for (int drive = 0; drive < state.deviceMaxNumber; drive++) {
        const auto slot = static_cast<std::size_t>(drive);
        Element_t& record = state.deviceElementControl[slot];
        std::copy_n(state.esaInMsg.begin() + FIRST_LIST + 4 + 4 * drive, 4, record.begin());
        const bool on = (record[3] & 0x04) != 0;
        const std::uint32_t bit = 1U << drive;
        if (((state.driveFaultLedStatus0 & bit) != 0) == on) {
            adapter.trace(IN_CONTROL_PAGE, "Drive Fault LED already %s Drive [%d].", onOff(on), drive);
            continue;
        }
        adapter.trace(IN_CONTROL_PAGE, "Turn %s Fault LED on Drive [%d].", on ? "On" : "Off", drive);
        if (state.enclosureType == 2) {
            adapter.xyratexDriveFaultLED(drive, on);
        } else if (state.enclosureType == 3 || state.enclosureType == 5) {
            adapter.esaVsc055DriveFaultLED(drive, on);
        }
        state.driveFaultLedStatus0 ^= bit;
        changed = true;
    }
    if (changed) {
        adapter.sendEvent(5, 2, {{4, state.deviceMaxNumber}, {24, state.driveFaultLedStatus0}});
    }
}

void indicateSupplyFault(Adapter_t& adapter, bool fault) {
    switch (adapter.state.enclosureType) {
    case 2:
        adapter.xyratexSupplyLED(!fault);
        break;
    case 3:
    case 5:
        adapter.esaManageCompositeFault(0x2, !fault);
        break;
    case 4:
    case 6:
        adapter.esaManageCompositeFault(0x1, !fault);
        break;
    default:
        break;
    }
}

void powerSupplies(Adapter_t& adapter, std::size_t list) {
    State_t& state = adapter.state;
    bool changed = false;
    takeOver(state, list, state.powerSupplyMaxNumber, state.powerSupplyElementControlOverall,
             state.powerSupplyElementControl);
    for (std::size_t i = 0; i < state.powerSupplyMaxNumber; i++) {
        const Element_t& record = state.powerSupplyElementControl[i];
        if (!selected(state.powerSupplyElementControlOverall, record)) {
            continue;
        }
        const bool fault = (record[3] & 0x02) != 0;
        const bool dark = (state.powerSupplyStatus & 0x4) != 0;
        if (fault != dark) {
            adapter.trace(IN_CONTROL_PAGE, "Fault LED already [%s] for Power Supply.", onOff(fault));
            continue;
        }
        adapter.trace(IN_CONTROL_PAGE, "Turn %s Fault LED for Power Supply.", fault ? "On" : "Off");
        indicateSupplyFault(adapter, fault);
        state.powerSupplyStatus ^= 0x4;
        changed = true;
    }
    if (changed) {
        adapter.sendPowerSupplyEvent(2);
    }
}

/** The Xyratex has two groups of four; what is no enclosure of ours is left alone. */
void switchFan(Adapter_t& adapter, std::uint8_t fan, bool on) {
    State_t& state = adapter.state;
    const std::uint8_t load = on ? 100 : 0;
    const bool grouped = state.enclosureType == 2;
    if (state.enclosureType < 2) {
        return;
    }
    adapter.loadFan(grouped ? fan / 4 : fan, load, load);
    const std::size_t first = grouped ? fan / 4 * 4 : fan;
    for (std::size_t i = first; i < first + (grouped ? 4 : 1); i++) {
        state.fanPwmLoad[i] = load;
        state.coolingElementOnOff[i] = on ? 2 : 1;
    }
}

void cooling(Adapter_t& adapter, std::size_t list) {
    State_t& state = adapter.state;
    takeOver(state, list, state.coolingMaxNumber, state.coolingElementControlOverall, state.coolingElementControl);
    for (std::uint8_t fan = 0; fan < state.coolingMaxNumber; fan++) {
        const Element_t& record = state.coolingElementControl[fan];
        if (!selected(state.coolingElementControlOverall, record)) {
            continue;
        }
        const bool on = (record[3] & 0x04) != 0;
        adapter.trace(IN_CONTROL_PAGE, "Turn %s Fan [%d].", on ? "On" : "Off", fan);
        switchFan(adapter, fan, on);
    }
}

void mute(Adapter_t& adapter) {
    if (adapter.state.enclosureType == 2) {
        adapter.xyratexSetAlarmState(3);
        adapter.state.alarmState = 3;
    } else if (adapter.setAlarm(3) && (adapter.state.enclosureType == 3 || adapter.state.enclosureType == 5)) {
        adapter.esaVsc055ClearAlarmStatePowerSupply();
    }
}

/** Only the Xyratex has a critical tone of its own. */
void sound(Adapter_t& adapter, bool critical) {
    if (adapter.state.enclosureType == 2) {
        adapter.state.alarmState = critical ? 4 : 1;
        adapter.xyratexSetAlarmState(adapter.state.alarmState);
    } else {
        (void)adapter.setAlarm(1);
    }
}

void alarms(Adapter_t& adapter, std::size_t list) {
    State_t& state = adapter.state;
    takeOver(state, list, state.audibleAlarmMaxNumber, state.audibleAlarmElementControlOverall,
             state.audibleAlarmElementControl);
    for (std::size_t i = 0; i < state.audibleAlarmMaxNumber; i++) {
        const Element_t& record = state.audibleAlarmElementControl[i];
        if (!selected(state.audibleAlarmElementControlOverall, record)) {
            continue;
        }
        if ((record[3] & 0x02) != 0) {
            mute(adapter);
        } else if ((record[3] & 0xC0) != 0) {
            sound(adapter, true);
        } else if ((record[3] & 0x30) != 0) {
            sound(adapter, false);
        }
    }
}

} // namespace

void Adapter_t::esaProcEncContPage() {
    devices(*this);
    if (state.esaInMsg[16] == VOLUME_MANAGER) {
        trace(IN_CONTROL_PAGE, "Rx Drive Fault LED SES msg from VM. No further processing.");
        return;
    }
    const std::size_t supplyList = after(FIRST_LIST, state.deviceMaxNumber);
    const std::size_t coolingList = after(supplyList, state.powerSupplyMaxNumber);
    // Each of the next two lists is stepped over with the other's count; peers lay their pages out for that.
    const std::size_t temperatureList = after(coolingList, state.temperatureSensorMaxNumber);
    const std::size_t alarmList = after(temperatureList, state.coolingMaxNumber);
    powerSupplies(*this, supplyList);
    cooling(*this, coolingList);
    takeOver(state, temperatureList, state.temperatureSensorMaxNumber, state.temperatureSensorElementControlOverall,
             state.temperatureSensorElementControl);
    alarms(*this, alarmList);
}

} // namespace model
