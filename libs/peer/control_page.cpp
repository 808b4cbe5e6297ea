#include "control_page.h"

#include "errors.h"
#include "health.h"
#include "ses_client.h"
#include "ses_mesgs.h"

namespace {

constexpr std::size_t WORD_SIZE = 4;
// The alarm records and their overall word are reported with this bit only; it goes back as it came.
constexpr U8_t ALARM_REPORTED_BITS = 0x20;

/** Offsets of the lists within the page. */
struct Layout_t {
    std::size_t devices;
    std::size_t supplies;
    std::size_t cooling;
    std::size_t alarms;
    std::size_t end;
};

constexpr std::size_t listSize(std::size_t elements) {
    return WORD_SIZE * (elements + 1);
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
Layout_t layoutOf(const ControlPage_t& wanted) {
    Layout_t layout{};
    layout.devices = sizeof(EncContDiagPageHdr_t);
    layout.supplies = layout.devices + listSize(wanted.faultLeds.size());
    layout.cooling = layout.supplies + listSize(wanted.supplies.size());
    const std::size_t temperatures = layout.cooling + listSize(wanted.sensors);
    layout.alarms = temperatures + listSize(wanted.fansOn.size());
    layout.end = layout.alarms + listSize(wanted.alarms.size());
    return layout;
}

U8_t* recordAt(std::vector<U8_t>& page, std::size_t list, std::size_t index) {
    return page.data() + list + listSize(index);
}

U8_t selectBit(const std::optional<unsigned>& selected, std::size_t index) {
    return selected == index ? SES_K_CONTROL_SELECT : U8_t{0};
}

void writeOverall(std::vector<U8_t>& page, std::size_t list, const std::optional<unsigned>& selected, U8_t other = 0) {
    page[list + WORD_SIZE - 1] = static_cast<U8_t>(other | (selected ? SES_K_CONTROL_SELECT : 0));
}

void writeDevices(std::vector<U8_t>& page, std::size_t list, const ControlPage_t& wanted) {
    for (std::size_t i = 0; i < wanted.faultLeds.size(); ++i) {
        wireAt<DeviceElementCont_t>(recordAt(page, list, i)).rqstFault = wanted.faultLeds[i] ? U8_t{1} : U8_t{0};
    }
}

void writeSupplies(std::vector<U8_t>& page, std::size_t list, const ControlPage_t& wanted) {
    writeOverall(page, list, wanted.selectedSupply);
    for (std::size_t i = 0; i < wanted.supplies.size(); ++i) {
        auto& record = wireAt<PowerSupplyElementCont_t>(recordAt(page, list, i));
        record.commonControl = selectBit(wanted.selectedSupply, i);
        record.rqstOn = U8_t{wanted.supplies[i].on};
        record.rqstFail = U8_t{wanted.supplies[i].fail};
    }
}

void writeCooling(std::vector<U8_t>& page, std::size_t list, const ControlPage_t& wanted) {
    writeOverall(page, list, wanted.selectedFan);
    for (std::size_t i = 0; i < wanted.fansOn.size(); ++i) {
        auto& record = wireAt<CoolingElementCont_t>(recordAt(page, list, i));
        record.commonControl = selectBit(wanted.selectedFan, i);
        record.rqstOn = wanted.fansOn[i] ? U8_t{1} : U8_t{0};
    }
}

void writeAlarms(std::vector<U8_t>& page, std::size_t list, const ControlPage_t& wanted) {
    writeOverall(page, list, wanted.selectedAlarm, wanted.alarmOverall);
    for (std::size_t i = 0; i < wanted.alarms.size(); ++i) {
        const AlarmRequest_t& alarm = wanted.alarms[i];
        auto& record = wireAt<AudibleAlarmElementCont_t>(recordAt(page, list, i));
        record.commonControl = static_cast<U8_t>(alarm.common | selectBit(wanted.selectedAlarm, i));
        record.unrecov = U8_t{alarm.tones.unrecov};
        record.crit = U8_t{alarm.tones.crit};
        record.nonCrit = U8_t{alarm.tones.nonCrit};
        record.info = U8_t{alarm.tones.info};
        record.setRemind = U8_t{alarm.tones.remind};
        record.setMute = U8_t{alarm.tones.requestedMute};
    }
}

} // namespace

ControlPage_t controlPageOf(const EnclosureStatus_t& status) {
    ControlPage_t wanted;
    wanted.generation = status.generation;
    for (const DriveSlot_t& drive : status.drives) {
        wanted.faultLeds.push_back(drive.faultRequested);
    }
    for (const PowerSupply_t& supply : status.supplies) {
        // A supply that fails by itself reports "fail" whatever was asked for. Then the request is taken as absent: a
        // wrong "absent" is forgotten, a wrong "present" would go on marking the supply when it is well again.
        wanted.supplies.push_back({supply.requestedOn, supplyFailRequested(supply)});
    }
    for (const Fan_t& fan : status.fans) {
        wanted.fansOn.push_back(fan.requestedOn);
    }
    wanted.sensors = status.sensors.size();
    wanted.alarmOverall = status.alarmOverall & ALARM_REPORTED_BITS;
    for (const Alarm_t& alarm : status.alarms) {
        // Tones that did not arrive go back as silence; in a list that is not selected they are kept, not acted on.
        wanted.alarms.push_back(
            {static_cast<U8_t>(alarm.code & ALARM_REPORTED_BITS), alarm.tones.value_or(AlarmTones_t{})});
    }
    return wanted;
}

std::vector<U8_t> encodeControlPage(const ControlPage_t& wanted) {
    const Layout_t layout = layoutOf(wanted);
    if (layout.end > SES_K_MAX_CONTROL_PAGE) {
        throw usageError("an enclosure with so many elements has a control page of " + std::to_string(layout.end) +
                         " bytes; a message holds " + std::to_string(SES_K_MAX_CONTROL_PAGE));
    }
    std::vector<U8_t> page(layout.end, 0);
    auto& header = wireAt<EncContDiagPageHdr_t>(page.data());
    header.pageCode = SES_K_ENCLOSURE_CONTROL_DIAGNOSTIC_PAGE;
    header.pageLength = static_cast<U16_t>(layout.end - 4);
    header.generationCode = wanted.generation;
    writeDevices(page, layout.devices, wanted);
    writeSupplies(page, layout.supplies, wanted);
    writeCooling(page, layout.cooling, wanted);
    writeAlarms(page, layout.alarms, wanted);
    return page;
}
