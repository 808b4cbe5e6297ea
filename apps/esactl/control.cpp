#include "control.h"

#include "health.h"
#include "ses_client.h"
#include "ses_mesgs.h"
#include "tool_error.h"

namespace {

constexpr std::size_t RECORD_SIZE = 4;
// The alarm records and their overall word are reported with this bit only; it goes back as it came.
constexpr U8_t ALARM_REPORTED_BITS = 0x20;

/** Offsets of the lists within the page. */
struct Layout {
    std::size_t devices;
    std::size_t supplies;
    std::size_t cooling;
    std::size_t alarms;
    std::size_t end;
};

constexpr std::size_t listSize(std::size_t elements) {
    return RECORD_SIZE * (elements + 1);
}

/*
 * The adapter walks the page with two counts exchanged: it steps over the cooling list by the number of temperature
 * sensors, and over the temperature list by the number of fans. It therefore looks for the cooling list where anybody
 * would put it, and for the alarm list at the same place as ever, since the two steps add up to the same. Only the
 * temperature list moves: with more fans than sensors it lies over the last cooling records, with fewer it starts late
 * and its last records lie over the alarm list. The adapter stores temperature records and never acts on them, and
 * there is nothing in them that could be asked for, so no temperature record is written: whatever bytes of the cooling
 * or alarm list it takes for one do no harm, and those lists stay whole.
 */
Layout layoutOf(const ControlState& controls) {
    Layout layout{};
    layout.devices = sizeof(EncContDiagPageHdr_t);
    layout.supplies = layout.devices + listSize(controls.faultLeds.size());
    layout.cooling = layout.supplies + listSize(controls.supplies.size());
    const std::size_t temperatures = layout.cooling + listSize(controls.sensors);
    layout.alarms = temperatures + listSize(controls.fansOn.size());
    layout.end = layout.alarms + listSize(controls.alarms.size());
    return layout;
}

U8_t* recordAt(std::vector<U8_t>& page, std::size_t list, std::size_t index) {
    return page.data() + list + listSize(index);
}

U8_t selectBit(const std::optional<unsigned>& selected, std::size_t index) {
    return selected == index ? SES_K_CONTROL_SELECT : U8_t{0};
}

void writeOverall(std::vector<U8_t>& page, std::size_t list, const std::optional<unsigned>& selected, U8_t other = 0) {
    page[list + RECORD_SIZE - 1] = static_cast<U8_t>(other | (selected ? SES_K_CONTROL_SELECT : 0));
}

void writeDevices(std::vector<U8_t>& page, std::size_t list, const ControlState& controls) {
    for (std::size_t i = 0; i < controls.faultLeds.size(); ++i) {
        wireAt<DeviceElementCont_t>(recordAt(page, list, i)).rqstFault = controls.faultLeds[i] ? U8_t{1} : U8_t{0};
    }
}

void writeSupplies(std::vector<U8_t>& page, std::size_t list, const ControlState& controls) {
    writeOverall(page, list, controls.selectedSupply);
    for (std::size_t i = 0; i < controls.supplies.size(); ++i) {
        auto& record = wireAt<PowerSupplyElementCont_t>(recordAt(page, list, i));
        record.commonControl = selectBit(controls.selectedSupply, i);
        record.rqstOn = U8_t{controls.supplies[i].on};
        record.rqstFail = U8_t{controls.supplies[i].fail};
    }
}

void writeCooling(std::vector<U8_t>& page, std::size_t list, const ControlState& controls) {
    writeOverall(page, list, controls.selectedFan);
    for (std::size_t i = 0; i < controls.fansOn.size(); ++i) {
        auto& record = wireAt<CoolingElementCont_t>(recordAt(page, list, i));
        record.commonControl = selectBit(controls.selectedFan, i);
        record.rqstOn = controls.fansOn[i] ? U8_t{1} : U8_t{0};
    }
}

void writeAlarms(std::vector<U8_t>& page, std::size_t list, const ControlState& controls) {
    writeOverall(page, list, controls.selectedAlarm, controls.alarmOverall);
    for (std::size_t i = 0; i < controls.alarms.size(); ++i) {
        const AlarmControl& alarm = controls.alarms[i];
        auto& record = wireAt<AudibleAlarmElementCont_t>(recordAt(page, list, i));
        record.commonControl = static_cast<U8_t>(alarm.common | selectBit(controls.selectedAlarm, i));
        record.unrecov = U8_t{alarm.tones.unrecov};
        record.crit = U8_t{alarm.tones.crit};
        record.nonCrit = U8_t{alarm.tones.nonCrit};
        record.info = U8_t{alarm.tones.info};
        record.setRemind = U8_t{alarm.tones.remind};
        record.setMute = U8_t{alarm.tones.requestedMute};
    }
}

} // namespace

ControlState currentControls(const EnclosureStatus& status) {
    ControlState controls;
    controls.generation = status.generation;
    for (const DriveSlot& drive : status.drives) {
        controls.faultLeds.push_back(drive.faultRequested);
    }
    for (const PowerSupply& supply : status.supplies) {
        // A supply that fails by itself reports "fail" whatever was asked for. Then the request is taken as absent: a
        // wrong "absent" is forgotten, a wrong "present" would go on marking the supply when it is well again.
        controls.supplies.push_back({supply.requestedOn, supplyFailRequested(supply)});
    }
    for (const Fan& fan : status.fans) {
        controls.fansOn.push_back(fan.requestedOn);
    }
    controls.sensors = status.sensors.size();
    controls.alarmOverall = status.alarmOverall & ALARM_REPORTED_BITS;
    for (const Alarm& alarm : status.alarms) {
        // Tones that did not arrive go back as silence; in a list that is not selected they are kept, not acted on.
        controls.alarms.push_back(
            {static_cast<U8_t>(alarm.code & ALARM_REPORTED_BITS), alarm.tones.value_or(AlarmTones{})});
    }
    return controls;
}

std::vector<U8_t> encodeControlPage(const ControlState& controls) {
    const Layout layout = layoutOf(controls);
    if (layout.end > SES_K_MAX_CONTROL_PAGE) {
        throw usageError("an enclosure with so many elements has a control page of " + std::to_string(layout.end) +
                         " bytes; a message holds " + std::to_string(SES_K_MAX_CONTROL_PAGE));
    }
    std::vector<U8_t> page(layout.end, 0);
    auto& header = wireAt<EncContDiagPageHdr_t>(page.data());
    header.pageCode = SES_K_ENCLOSURE_CONTROL_DIAGNOSTIC_PAGE;
    header.pageLength = static_cast<U16_t>(layout.end - 4);
    header.generationCode = controls.generation;
    writeDevices(page, layout.devices, controls);
    writeSupplies(page, layout.supplies, controls);
    writeCooling(page, layout.cooling, controls);
    writeAlarms(page, layout.alarms, controls);
    return page;
}
