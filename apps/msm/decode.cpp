#include "decode.h"

#include <cinttypes>
#include <cstdarg>
#include <cstdio>

#include "emp_mesgs.h"
#include "esa_evl.h"
#include "ses_mesgs.h"
#include "startup.h"
#include "words.h"

namespace {

constexpr U32_t NO_READING = 32767;

using Payload_t = std::span<const U8_t>;

[[gnu::format(printf, 1, 2)]] std::string format(const char* text, ...) {
    char buffer[256];
    va_list arguments;
    va_start(arguments, text);
    (void)std::vsnprintf(buffer, sizeof buffer, text, arguments);
    va_end(arguments);
    return buffer;
}

/** "3 fans", "1 fan". */
std::string counted(U32_t number, const char* what) {
    return format("%" PRIu32 " %s%s", number, what, number == 1 ? "" : "s");
}

/** "0, 3, 11": the numbers of the bits that are set; "none". */
std::string bitList(U32_t bits) {
    std::string list;
    for (U32_t bit = 0; bit < 32; ++bit) {
        if (((bits >> bit) & 1U) != 0) {
            list.append(list.empty() ? "" : ", ").append(std::to_string(bit));
        }
    }
    return list.empty() ? "none" : list;
}

std::string temperatureText(const EsaEventData_t& data) {
    const auto degrees = static_cast<S16_t>(U16_t{data.temperature});
    const std::string reading = degrees == NO_READING ? "no reading" : format("%d degrees Celsius", degrees);
    return format("sensor %" PRIu32 " of %" PRIu32 ", ", U32_t{data.temperatureSensorPosition},
                  U32_t{data.numberOfTemperatureSensor}) +
           reading + ", " + temperatureStateName(data.temperatureStatus);
}

/** The fields that belong to an event; empty for an event that has none here. */
std::string eventFields(U16_t eventId, const EsaEventData_t& data) {
    switch (eventId) {
    case ESA_E_ID_ES_ADAPTERMP_DRIVE_FAULT_LED_STATUS:
        return counted(data.numberOfDrive, "drive") + ", fault LEDs on: " + bitList(data.driveFaultLedStatus0);
    case ESA_E_ID_ES_ADAPTERMP_POWER_SUPPLY_STATUS:
        return counted(data.numberOfPowerSupply, "power supply unit") +
               format(", status 0x%" PRIx32, U32_t{data.powerSupplyStatus});
    case ESA_E_ID_ES_ADAPTERMP_FAN_FAULT_STATUS:
        return counted(data.numberOfFan, "fan") + ", faulty: " + bitList(data.fanFaultStatus);
    case ESA_E_ID_ES_ADAPTERMP_TEMPERATURE_SENSOR_STATUS:
        return temperatureText(data);
    case ESA_E_ID_ES_ADAPTERMP_ALARM_STATUS:
        return counted(data.numberOfAlarm, "alarm") + ", state " + alarmStateName(data.alarmState);
    case ESA_E_ID_ES_ADAPTERMP_INFORMATION:
        return informationName(data.information);
    default:
        return {};
    }
}

std::string eventText(Payload_t payload) {
    if (payload.size() < sizeof(EsaEvent_t)) {
        return format("event record cut short, %zu of %zu bytes", payload.size(), sizeof(EsaEvent_t));
    }
    const EsaEvent_t& event = wireAt<EsaEvent_t>(payload.data());
    const U16_t eventId = event.evLogHeader.evId;
    std::string text = eventName(eventId) + format(" (event %u), ", unsigned{eventId}) +
                       eventTypeName(event.evLogHeader.evType) + ", chassis " +
                       chassisTitle(event.evData.enclosureType);
    const std::string fields = eventFields(eventId, event.evData);
    return fields.empty() ? text : text + ": " + fields;
}

std::string ledText(const MMCH_t& header) {
    const U32_t led = header.general_use1;
    const U32_t state = header.general_use2;
    const std::string name = led == SUS_K_LED_COMPOSITE_FAULT ? "composite fault LED" : format("LED %" PRIu32, led);
    switch (state) {
    case SUS_K_LED_ON:
        return name + " on";
    case SUS_K_LED_OFF:
        return name + " off";
    default:
        return name + format(" state %" PRIu32, state);
    }
}

std::string startupText(const MMCH_t& header) {
    switch (U32_t{header.opcode.request.type}) {
    case SUS_E_MMSG_NOTIFY_INIT_COMPLETE:
        return "initialisation complete, earlier causes are void";
    case SUS_E_MMSG_CHANGE_LED_COLOR:
        return ledText(header);
    case SUS_E_MMSG_SEND_EMAIL_NOTIFICATION:
        return "send e-mail notification";
    default:
        return {};
    }
}

std::string startupResponseText(const MMCH_t& header) {
    switch (U32_t{header.return_code}) {
    case SUS_E_MMSG_RESP_OK:
        return "OK";
    case SUS_E_MMSG_RESP_REJECTED:
        return "rejected";
    default:
        return format("return code %" PRIu32, U32_t{header.return_code});
    }
}

std::string receiveRequestText(const RcvDiagResCommand_t& command) {
    return "page " + statusPageName(command.pageCode) + (command.pcv != 0 ? "" : ", page code not valid") +
           format(", at most %u bytes", unsigned{command.allocationLength});
}

std::string sendRequestText(const SndDiagCommand_t& command, Payload_t parameters) {
    const std::string page = parameters.empty() ? "no page" : "page " + controlPageName(parameters[0]);
    return page + (command.pf != 0 ? "" : ", page format not set") +
           format(", %u bytes of parameters", unsigned{command.parameterListLength});
}

std::string sesRequestText(U32_t type, Payload_t payload) {
    static_assert(sizeof(RcvDiagResCommand_t) == sizeof(SndDiagCommand_t));
    if (payload.size() < sizeof(SndDiagCommand_t)) {
        return format("command cut short, %zu of %zu bytes", payload.size(), sizeof(SndDiagCommand_t));
    }
    switch (type) {
    case SES_K_RECEIVE_DIAGNOSTIC_RESULTS_COMMAND:
        return receiveRequestText(wireAt<RcvDiagResCommand_t>(payload.data()));
    case SES_K_SEND_DIAGNOSTIC_COMMAND:
        return sendRequestText(wireAt<SndDiagCommand_t>(payload.data()), payload.subspan(sizeof(SndDiagCommand_t)));
    default:
        return {};
    }
}

std::string senseText(Payload_t bytes) {
    if (bytes.size() < sizeof(SenseData_t)) {
        return "CHECK CONDITION, no sense data";
    }
    const SenseData_t& sense = wireAt<SenseData_t>(bytes.data());
    return "CHECK CONDITION, " + senseKeyName(sense.senseKey) +
           format(", ASC 0x%02x, ASCQ 0x%02x", unsigned{sense.additionalSenseCode},
                  unsigned{sense.additionalSenseCodeQualifier});
}

/** Configuration and status page start alike; of the other pages only the code is known. */
std::string goodText(U32_t type, Payload_t bytes) {
    constexpr U32_t BYTES_BEFORE_COUNT = offsetof(EncStatDiagPageHdr_t, pageLength) + sizeof(be16_t);
    if (type != SES_K_RECEIVE_DIAGNOSTIC_RESULTS_COMMAND || bytes.size() < sizeof(EncStatDiagPageHdr_t)) {
        return "GOOD";
    }
    const EncStatDiagPageHdr_t& page = wireAt<EncStatDiagPageHdr_t>(bytes.data());
    return "GOOD, page " + statusPageName(page.pageCode) +
           format(", %" PRIu32 " bytes", page.pageLength + BYTES_BEFORE_COUNT);
}

std::string sesResponseText(U32_t type, Payload_t payload) {
    if (payload.empty()) {
        return "no status";
    }
    const Payload_t content = payload.subspan(offsetof(SesStatus_t, payloadList));
    switch (payload[0]) {
    case SES_K_SCSI_STATUS_CODE_GOOD:
        return goodText(type, content);
    case SES_K_SCSI_STATUS_CODE_CHECK_CONDITION:
        return senseText(content);
    default:
        return format("status 0x%02x", unsigned{payload[0]});
    }
}

/** What the payload says, in words; empty where nothing is known of it. */
std::string payloadText(const MMCH_t& header, Payload_t payload) {
    const U32_t type = header.opcode.request.type;
    const bool response = (header.mmsg_cont & MMCH_K_CONT_RESPONSE) != 0;
    switch (header.opcode.request.protocol) {
    case MMSG_E_PROTOCOL_STARTUP:
        return response ? startupResponseText(header) : startupText(header);
    case MMSG_E_PROTOCOL_SHUTDOWN:
        return !response && type == SHUTDOWN_K_MMSG_ORDERLY ? "orderly shutdown" : "";
    case MMSG_E_PROTOCOL_EVENTMGR:
        return !response && type == EMP_E_MSGS_LOG ? eventText(payload) : "";
    case MMSG_E_PROTOCOL_SES:
        return response ? sesResponseText(type, payload) : sesRequestText(type, payload);
    default:
        return {};
    }
}

std::string recipientList(const Routing_t& routing) {
    std::string list;
    for (EndpointSet_t rest = routing.named; rest != 0; rest &= rest - 1) {
        const U8_t endpoint = firstEndpoint(rest);
        list.append(list.empty() ? "" : ", ").append(endpointName(endpoint));
        if ((routing.queued & endpointSet(endpoint)) != 0) {
            list.append(" queued");
        } else if ((routing.dropped & endpointSet(endpoint)) != 0) {
            list.append(" dropped");
        }
    }
    return list.empty() ? "nobody, dropped" : list;
}

} // namespace

std::string describeContent(std::span<const U8_t> message) {
    const MMCH_t& header = wireAt<MMCH_t>(message.data());
    std::string text;
    if (header.message_type != MSG_E_TYPE_MMSG) {
        text.append(format("message type %u, ", unsigned{header.message_type}));
    }
    const U8_t protocol = header.opcode.request.protocol;
    text.append(protocolName(protocol)).append("/").append(typeName(protocol, header.opcode.request.type));
    if ((header.mmsg_cont & MMCH_K_CONT_RESPONSE) != 0) {
        text.append(" response");
    }
    if (protocol == MMSG_E_PROTOCOL_SES) {
        text.append(format(" handle 0x%08" PRIx32, U32_t{header.handle}));
    }
    const std::string payload = payloadText(header, message.subspan(sizeof(MMCH_t)));
    return payload.empty() ? text : text + ": " + payload;
}

std::string describeMessage(std::span<const U8_t> message, U8_t sender, const Routing_t& routing) {
    const MMCH_t& header = wireAt<MMCH_t>(message.data());
    std::string text = endpointName(header.requestor);
    if (header.requestor != sender) {
        text.append(" sent by ").append(endpointName(sender));
    }
    text.append(" -> ").append(recipientList(routing));
    return text + format(": %zu bytes, ", message.size()) + describeContent(message);
}
