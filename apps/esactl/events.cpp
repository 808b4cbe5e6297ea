#include "events.h"

#include <array>

#include "esa_evl.h"
#include "health.h"
#include "names.h"
#include "startup.h"

namespace {

using Describe = void (*)(Event&, const EsaEventData_t&);

struct EventKind {
    const char* name;
    Describe describe;
};

void addNumber(Event& event, const char* name, long value) {
    event.numbers.emplace_back(name, value);
}

std::string join(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : ", ") + word;
    }
    return text;
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

void describeLeds(Event& event, const EsaEventData_t& data) {
    addNumber(event, "drives", data.numberOfDrive);
    addNumber(event, "fault_led_bits", data.driveFaultLedStatus0);
    event.elements = namesOfBits(data.driveFaultLedStatus0, slotName);
    event.text =
        event.elements.empty() ? "all drive fault LEDs are off" : "drive fault LED on: " + join(event.elements);
}

// What each chassis watches: the others' bits of the status word carry nothing there.
constexpr U32_t VOLTAGE_GOOD = 0x1;
constexpr U32_t REDUNDANCY_GOOD = 0x2;
constexpr std::array<U32_t, 7> SUPPLY_BITS{
    0, 0, VOLTAGE_GOOD | REDUNDANCY_GOOD, REDUNDANCY_GOOD, VOLTAGE_GOOD, REDUNDANCY_GOOD, VOLTAGE_GOOD};

void describeSupplies(Event& event, const EsaEventData_t& data) {
    const U32_t status = data.powerSupplyStatus;
    addNumber(event, "power_supplies", data.numberOfPowerSupply);
    addNumber(event, "power_supply_bits", status);
    const U32_t watched = event.chassis < SUPPLY_BITS.size() ? SUPPLY_BITS[event.chassis] : 0U;
    const auto add = [&](U32_t bit, const char* what) {
        if ((watched & bit) != 0) {
            event.text += (event.text.empty() ? "power supplies: " : ", ") + std::string(what) +
                          ((status & bit) != 0 ? " ok" : " lost");
        }
    };
    add(VOLTAGE_GOOD, "voltage");
    add(REDUNDANCY_GOOD, "redundancy");
    if (event.text.empty()) {
        event.text = "power supply status changed";
    }
}

void describeFans(Event& event, const EsaEventData_t& data) {
    addNumber(event, "fans", data.numberOfFan);
    addNumber(event, "fan_fault_bits", data.fanFaultStatus);
    event.elements = namesOfBits(data.fanFaultStatus, fanName);
    event.text = event.elements.empty() ? "all fans are at or over their limit of "
                                        : join(event.elements) + " marked faulty, under the limit of ";
    event.text += std::to_string(HEALTH_K_FAN_MINIMUM_RPM) + " RPM";
}

void describeTemperature(Event& event, const EsaEventData_t& data) {
    constexpr std::array LIMITS{0, 35, 35, 45, 55};
    const U32_t band = data.temperatureStatus;
    const long celsius = static_cast<S16_t>(U16_t{data.temperature});
    addNumber(event, "temperature_sensors", data.numberOfTemperatureSensor);
    addNumber(event, "sensor", data.temperatureSensorPosition);
    addNumber(event, "celsius", celsius);
    addNumber(event, "band", band);
    const std::string sensor = sensorName(data.temperatureSensorPosition);
    event.elements = {sensor};
    event.text = sensor + " at " + std::to_string(celsius) + " C";
    if (band >= ESA_E_EVENT_TEMPERATURE_BELOW_35_DEGREES && band < LIMITS.size()) {
        const bool below = band == ESA_E_EVENT_TEMPERATURE_BELOW_35_DEGREES;
        event.text += (below ? " is back at or under " : " is over ") + std::to_string(LIMITS[band]) + " C";
    }
}

void describeAlarm(Event& event, const EsaEventData_t& data) {
    constexpr std::array STATES{"idle", "fault", "remind", "mute", "critical"};
    const U32_t state = data.alarmState;
    addNumber(event, "alarms", data.numberOfAlarm);
    addNumber(event, "alarm_state", state);
    event.text =
        "alarm state is " + (state < STATES.size() ? STATES[state] : "invalid (" + std::to_string(state) + ")");
}

void describeInformation(Event& event, const EsaEventData_t& data) {
    addNumber(event, "information", data.information);
    if (data.information == ESA_E_EVENT_INFO_REQUEST_ORDERLY_SHUTDOWN) {
        event.text = "average temperature is over 60 C: orderly shutdown requested";
    } else if (data.information == ESA_E_EVENT_INFO_I2C_BUS_FAULT) {
        event.text = "the enclosure's I2C bus or chassis is not usable";
    } else {
        event.text = "information " + std::to_string(data.information);
    }
}

constexpr unsigned FIRST_KIND = ESA_E_ID_ES_ADAPTERMP_DRIVE_FAULT_LED_STATUS;
constexpr std::array<EventKind, 6> KINDS{{
    {"drive-fault-led-status", describeLeds},
    {"power-supply-status", describeSupplies},
    {"fan-fault-status", describeFans},
    {"temperature-sensor-status", describeTemperature},
    {"alarm-status", describeAlarm},
    {"information", describeInformation},
}};

const char* severityName(U8_t type) {
    constexpr std::array NAMES{"unknown", "information", "warning", "error"};
    return type < NAMES.size() ? NAMES[type] : NAMES[0];
}

std::optional<Event> decodeRecord(const Message& message) {
    if (message.size() < sizeof(MMCH_t) + sizeof(EsaEvent_t)) {
        return std::nullopt;
    }
    const auto& record = wireAt<EsaEvent_t>(message.data() + sizeof(MMCH_t));
    Event event;
    event.id = record.evLogHeader.evId;
    event.severity = severityName(record.evLogHeader.evType);
    event.chassis = record.evData.enclosureType;
    event.chassisName = chassisName(event.chassis);
    if (event.id < FIRST_KIND || event.id >= FIRST_KIND + KINDS.size()) {
        event.name = "unknown";
        event.text = "event " + std::to_string(event.id);
        return event;
    }
    const EventKind& kind = KINDS[event.id - FIRST_KIND];
    event.name = kind.name;
    kind.describe(event, record.evData);
    return event;
}

std::optional<Event> decodeStartupRequest(const MMCH_t& header) {
    Event event;
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
        event.text = "tells Startup that the adapter is up";
    } else {
        event.name = "unknown";
        event.text = "request " + std::to_string(event.id) + " to Startup";
    }
    return event;
}

} // namespace

std::optional<Event> decodeEvent(const Message& message) {
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

std::optional<unsigned> RepeatFilter::news(const Event& event, Clock::time_point now) {
    constexpr auto SAME_INCIDENT = std::chrono::seconds(60);
    // Everything else is sent on a change only, even when its text reads the same.
    const bool sentOnEveryPoll = event.name == "information" || event.name == "orderly-shutdown";
    if (!sentOnEveryPoll) {
        return 0U;
    }
    const auto [entry, fresh] = seen_.try_emplace(event.name);
    Seen& seen = entry->second;
    const bool repeat = !fresh && seen.text == event.text && now - seen.last < SAME_INCIDENT;
    seen.last = now;
    if (repeat) {
        ++seen.repeats;
        return std::nullopt;
    }
    seen.text = event.text;
    return std::exchange(seen.repeats, 0U);
}

const char* chassisName(unsigned chassis) {
    constexpr std::array NAMES{"unknown", "none", "xyratex", "quadra", "chenbro", "vsc055", "w83782d"};
    return chassis < NAMES.size() ? NAMES[chassis] : NAMES[0];
}
