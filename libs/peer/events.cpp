#include "events.h"

#include <algorithm>
#include <array>

#include "chassis_list.h"
#include "esa_evl.h"
#include "health.h"
#include "listed.h"
#include "names.h"
#include "startup.h"
#include "words.h"

namespace {

using Describe_t = void (*)(Event_t&, const EsaEventData_t&);

void addNumber(Event_t& event, const char* name, long value) {
    event.numbers.emplace_back(name, value);
}

std::vector<std::string> namesOfBits(U32_t word, std::string (*name)(unsigned)) {
    std::vector<std::string> names;
    for (unsigned bit = 0; bit < 32; ++bit) {
        if ((word >> bit & 1U) != 0) {
            names.push_back(name(bit));
        }
    }
    return names;
}

void describeLeds(Event_t& event, const EsaEventData_t& data) {
    addNumber(event, "drives", data.numberOfDrive);
    addNumber(event, "fault_led_bits", data.driveFaultLedStatus0);
    event.elements = namesOfBits(data.driveFaultLedStatus0, slotName);
    event.text =
        event.elements.empty() ? "all drive fault LEDs are off" : "drive fault LED on: " + listed(event.elements);
}

constexpr U32_t VOLTAGE_GOOD = 0x1;
constexpr U32_t REDUNDANCY_GOOD = 0x2;
constexpr U32_t INDICATION_OFF = 0x4; // clear as well until the first command

void describeSupplies(Event_t& event, const EsaEventData_t& data) {
    const U32_t status = data.powerSupplyStatus;
    addNumber(event, "power_supplies", data.numberOfPowerSupply);
    addNumber(event, "power_supply_bits", status);
    // The bits that a chassis does not watch carry nothing there.
    const auto add = [&](bool watched, U32_t bit, const char* good, const char* bad) {
        if (watched) {
            event.text +=
                (event.text.empty() ? "power supplies: " : ", ") + std::string((status & bit) != 0 ? good : bad);
        }
    };
    const ChassisFacts_t* const chassis = findChassis(event.chassis);
    add(chassis != nullptr && chassis->watchesVoltage, VOLTAGE_GOOD, "voltage ok", "voltage out of tolerance");
    add(chassis != nullptr && chassis->watchesRedundancy, REDUNDANCY_GOOD, "redundancy ok",
        "redundancy lost (a supply has failed, is without input or was taken out)");
    if (event.text.empty()) {
        event.text = "power supply status changed";
    }
    event.text += (status & INDICATION_OFF) != 0 ? ", fault indication off" : "";
}

void describeFans(Event_t& event, const EsaEventData_t& data) {
    addNumber(event, "fans", data.numberOfFan);
    addNumber(event, "fan_fault_bits", data.fanFaultStatus);
    event.elements = namesOfBits(data.fanFaultStatus, fanName);
    event.text = event.elements.empty() ? "all fans are at or over their limit of "
                                        : listed(event.elements) + " marked faulty, under the limit of ";
    event.text += std::to_string(SES_K_FAN_FAULT_RPM_LIMIT) + " RPM";
}

void describeTemperature(Event_t& event, const EsaEventData_t& data) {
    const U32_t band = data.temperatureStatus;
    const long celsius = static_cast<S16_t>(U16_t{data.temperature});
    addNumber(event, "temperature_sensors", data.numberOfTemperatureSensor);
    addNumber(event, "sensor", data.temperatureSensorPosition);
    addNumber(event, "celsius", celsius);
    addNumber(event, "band", band);
    const std::string sensor = sensorName(data.temperatureSensorPosition);
    event.elements = {sensor};
    event.text = sensor + " at " + std::to_string(celsius) + " C";
    if (const TemperatureBand_t* const limit = findTemperatureBand(band)) {
        event.text += (limit->below ? " is back at or under " : " is over ") + std::to_string(limit->celsius) + " C";
    }
}

void describeAlarm(Event_t& event, const EsaEventData_t& data) {
    const U32_t state = data.alarmState;
    addNumber(event, "alarms", data.numberOfAlarm);
    addNumber(event, "alarm_state", state);
    event.text =
        "alarm state is " + (isAlarmState(state) ? alarmStateName(state) : "invalid (" + std::to_string(state) + ")");
}

void describeInformation(Event_t& event, const EsaEventData_t& data) {
    addNumber(event, "information", data.information);
    if (data.information == ESA_E_EVENT_INFO_REQUEST_ORDERLY_SHUTDOWN) {
        event.text = "average temperature is over 60 C: orderly shutdown requested";
    } else if (data.information == ESA_E_EVENT_INFO_I2C_BUS_FAULT) {
        event.text = "the enclosure's I2C bus or chassis is not usable";
    } else {
        event.text = "information " + std::to_string(data.information);
    }
}

/** The events that report on the enclosure, by id from this one on. */
constexpr unsigned FIRST_DESCRIBED = ESA_E_ID_ES_ADAPTERMP_DRIVE_FAULT_LED_STATUS;
constexpr std::array<Describe_t, 6> DESCRIPTIONS{describeLeds,        describeSupplies, describeFans,
                                                 describeTemperature, describeAlarm,    describeInformation};

std::optional<Event_t> decodeRecord(const Message_t& message) {
    if (message.size() < sizeof(MMCH_t) + sizeof(EsaEvent_t)) {
        return std::nullopt;
    }
    const auto& record = wireAt<EsaEvent_t>(message.data() + sizeof(MMCH_t));
    Event_t event;
    event.id = record.evLogHeader.evId;
    const U8_t type = record.evLogHeader.evType;
    event.severity = isEventType(type) ? eventTypeName(type) : "unknown";
    event.chassis = record.evData.enclosureType;
    event.chassisName = chassisName(event.chassis);
    if (event.id < FIRST_DESCRIBED || event.id >= FIRST_DESCRIBED + DESCRIPTIONS.size()) {
        event.name = "unknown";
        event.text = "event " + std::to_string(event.id);
        return event;
    }
    event.name = stableName(eventName(record.evLogHeader.evId));
    DESCRIPTIONS[event.id - FIRST_DESCRIBED](event, record.evData);
    return event;
}

std::optional<Event_t> decodeStartupRequest(const MMCH_t& header) {
    Event_t event;
    event.startup = true;
    event.id = header.opcode.request.type;
    event.severity = "information";
    const U8_t protocol = header.opcode.request.protocol;
    if (protocol == MMSG_E_PROTOCOL_SHUTDOWN && event.id == SHUTDOWN_K_MMSG_ORDERLY) {
        event.name = "orderly-shutdown";
        event.severity = "error";
        event.text = "asks Startup for an orderly shutdown: average temperature is over 60 C";
        addNumber(event, "reason", header.general_use2);
    } else if (protocol == MMSG_E_PROTOCOL_SHUTDOWN) {
        return std::nullopt;
    } else if (event.id == SUS_E_MMSG_CHANGE_LED_COLOR) {
        const bool on = header.general_use2 == SUS_K_LED_ON;
        event.name = "composite-fault-led";
        event.severity = on ? "warning" : "information";
        event.text = on ? "asks Startup to switch the composite fault LED on"
                        : "asks Startup to switch the composite fault LED off";
        addNumber(event, "led", header.general_use1);
        addNumber(event, "on", on ? 1 : 0);
    } else if (event.id == SUS_E_MMSG_SEND_EMAIL_NOTIFICATION) {
        event.name = "email-notification";
        event.text = "asks Startup to send its notification e-mail: a new fault has arisen";
    } else if (event.id == SUS_E_MMSG_NOTIFY_INIT_COMPLETE) {
        event.name = "init-complete";
        event.text = "tells Startup that the adapter is up: no fault cause is known to it, whatever was told before";
    } else {
        event.name = "unknown";
        event.text = "request " + std::to_string(event.id) + " to Startup";
    }
    return event;
}

} // namespace

std::optional<Event_t> decodeEvent(const Message_t& message) {
    if (message.size() < sizeof(MMCH_t)) {
        return std::nullopt;
    }
    const MMCH_t& header = messageHeader(message);
    if ((header.mmsg_cont & MMCH_K_CONT_RESPONSE) != 0) {
        return std::nullopt;
    }
    switch (header.opcode.request.protocol) {
    case MMSG_E_PROTOCOL_EVENTMGR:
        return header.opcode.request.type == EMP_E_MSGS_LOG ? decodeRecord(message) : std::nullopt;
    case MMSG_E_PROTOCOL_STARTUP:
    case MMSG_E_PROTOCOL_SHUTDOWN:
        return decodeStartupRequest(header);
    default:
        return std::nullopt;
    }
}

std::optional<unsigned> RepeatFilter_t::news(const Event_t& event, Clock_t::time_point now) {
    constexpr auto SAME_INCIDENT = std::chrono::seconds(60);
    // Everything else is sent on a change only, even when its text reads the same.
    const bool sentOnEveryPoll = event.name == "information" || event.name == "orderly-shutdown";
    if (!sentOnEveryPoll) {
        return 0U;
    }
    const auto [entry, fresh] = seen_.try_emplace(event.name);
    Seen_t& seen = entry->second;
    const bool repeat = !fresh && seen.text == event.text && now - seen.last < SAME_INCIDENT;
    seen.last = now;
    if (repeat) {
        ++seen.repeats;
        return std::nullopt;
    }
    seen.text = event.text;
    return std::exchange(seen.repeats, 0U);
}

void SupplyMemory_t::tell(Event_t& event) {
    const auto bits = std::ranges::find(event.numbers, "power_supply_bits", &std::pair<std::string, long>::first);
    if (bits == event.numbers.end()) {
        return;
    }
    // A command alone switches the indication on; nothing else in the event says that it was one.
    if (known_ && (static_cast<U32_t>(last_) & INDICATION_OFF) != 0 &&
        (static_cast<U32_t>(bits->second) & INDICATION_OFF) == 0) {
        event.text += ", fault indication switched on by command";
    }
    known_ = true;
    last_ = bits->second;
}

const char* chassisName(unsigned chassis) {
    const ChassisFacts_t* const facts = findChassis(chassis);
    return facts != nullptr ? facts->name : "unknown";
}
