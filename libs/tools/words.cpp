#include "words.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <span>
#include <string_view>

#include "chassis_list.h"
#include "emp_mesgs.h"
#include "esa_evl.h"
#include "mmsg.h"
#include "ses_mesgs.h"
#include "startup.h"

namespace {

struct Name_t {
    U32_t value;
    std::string_view name;
};

constexpr auto PROTOCOLS = std::to_array<std::string_view>({
    "default",
    "rcp",
    "hacc",
    "cmp",
    "volmgr",
    "ddlm",
    "netcfg",
    "cmap",
    "eventmgr",
    "iomgr",
    "iscsi",
    "isnsc",
    "startup",
    "shutdown",
    "bugcheck",
    "smis",
    "battery-management",
    "firmware-upgrade",
    "ses",
    "devmgr",
});
static_assert(PROTOCOLS.size() == MMSG_E_MAX_PROTOCOL + 1);

constexpr auto ENDPOINTS = std::to_array<std::string_view>({
    "iscsi1",
    "iscsi2",
    "scsi",
    "cache1",
    "cache2",
    "iomgr",
    "sata",
    "mip",
    "pieman",
    "awr",
    "vpi",
    "mip-local",
    "ichar",
    "ob0",
    "ob1",
    "hacc",
    "msm",
    "rcp",
    "startup",
    "ddlm",
    "volmgr",
    "drivead",
    "iscsi",
    "system-config",
    "network-config",
    "aim",
    "environ",
    "eventlog",
    "snmp",
    "smis",
    "smi-ind",
    "isnsc",
    "battery-manager",
    "esadapter",
});
static_assert(ENDPOINTS.size() == MMSG_E_MAX_DEFINED_EPIDS);

constexpr auto STARTUP_TYPES = std::to_array<Name_t>({
    {SUS_E_MMSG_NOTIFY_INIT_COMPLETE, "notify-init-complete"},
    {SUS_E_MMSG_START_Q4X, "start-q4x"},
    {SUS_E_MMSG_SYSTEM_CONFIG, "system-config"},
    {SUS_E_MMSG_UPDATE_HACC_IP_ADDRESS, "update-hacc-ip-address"},
    {SUS_E_MMSG_GET_MGT_INFO, "get-mgt-info"},
    {SUS_E_MMSG_SET_MGT_INFO, "set-mgt-info"},
    {SUS_E_MMSG_SHUTDOWN_Q4X, "shutdown-q4x"},
    {SUS_E_MMSG_STATUS_CHANGE, "status-change"},
    {SUS_E_MMSG_GET_MPU_STATUS, "get-mpu-status"},
    {SUS_E_MMSG_GET_Q4X_STATUS, "get-q4x-status"},
    {SUS_E_MMSG_NOTIFY_OF_BATTERY_STATE, "notify-of-battery-state"},
    {SUS_E_MMSG_UPDATE_DF_GATEWAY, "update-df-gateway"},
    {SUS_E_MMSG_MGT_PORT_RESTORE_MFG_PARAMS, "mgt-port-restore-mfg-params"},
    {SUS_E_MMSG_CHANGE_LED_COLOR, "change-led-color"},
    {SUS_E_MMSG_EMAIL_NOTIFICATION_CONFIG, "email-notification-config"},
    {SUS_E_MMSG_SEND_EMAIL_NOTIFICATION, "send-email-notification"},
});

constexpr auto EVENT_MANAGER_TYPES = std::to_array<Name_t>({
    {EMP_E_MSGS_LOG, "log"},
    {EMP_E_MSGS_INQUIRY, "inquiry"},
    {EMP_E_MSGS_SET_EVENT_ARCHIVER, "set-event-archiver"},
    {EMP_E_MSGS_GET_EVENT_ARCHIVER, "get-event-archiver"},
    {EMP_E_MSGS_GET_EVENT_MANAGER_STATUS, "get-event-manager-status"},
    {EMP_E_MSGS_GET_EVENT_ARCHIVER_STATUS, "get-event-archiver-status"},
    {EMP_E_MSGS_ALTERNATE_LOG, "alternate-log"},
});

constexpr auto SHUTDOWN_TYPES = std::to_array<Name_t>({{SHUTDOWN_K_MMSG_ORDERLY, "orderly"}});

constexpr auto SES_TYPES = std::to_array<Name_t>({
    {SES_K_RECEIVE_DIAGNOSTIC_RESULTS_COMMAND, "receive-diagnostic-results"},
    {SES_K_SEND_DIAGNOSTIC_COMMAND, "send-diagnostic"},
});

constexpr auto EVENTS = std::to_array<Name_t>({
    {ESA_E_ID_ES_ADAPTERMP_BUGCHECK_ERROR_MSG, "bug check error message"},
    {ESA_E_ID_ES_ADAPTERMP_BUGCHECK_INFO, "bug check information"},
    {ESA_E_ID_ES_ADAPTERMP_BUGCHECK_MSG_BUFFER, "bug check message buffer"},
    {ESA_E_ID_ES_ADAPTERMP_BUGCHECK_WORKSPACE_BUFFER, "bug check workspace buffer"},
    {ESA_E_ID_ES_ADAPTERMP_DRIVE_FAULT_LED_STATUS, "drive fault LED status"},
    {ESA_E_ID_ES_ADAPTERMP_POWER_SUPPLY_STATUS, "power supply status"},
    {ESA_E_ID_ES_ADAPTERMP_FAN_FAULT_STATUS, "fan fault status"},
    {ESA_E_ID_ES_ADAPTERMP_TEMPERATURE_SENSOR_STATUS, "temperature sensor status"},
    {ESA_E_ID_ES_ADAPTERMP_ALARM_STATUS, "alarm status"},
    {ESA_E_ID_ES_ADAPTERMP_INFORMATION, "information"},
});

constexpr auto EVENT_TYPES = std::to_array<Name_t>({
    {EMP_E_TYPE_INFORMATION, "information"},
    {EMP_E_TYPE_WARNING, "warning"},
    {EMP_E_TYPE_ERROR, "error"},
});

constexpr auto TEMPERATURE_BANDS = std::to_array<TemperatureBand_t>({
    {ESA_E_EVENT_TEMPERATURE_BELOW_35_DEGREES, 35, true},
    {ESA_E_EVENT_TEMPERATURE_OVER_35_DEGREES, 35, false},
    {ESA_E_EVENT_TEMPERATURE_OVER_45_DEGREES, 45, false},
    {ESA_E_EVENT_TEMPERATURE_OVER_55_DEGREES, 55, false},
});

constexpr auto ALARM_STATES = std::to_array<Name_t>({
    {0, "idle"},
    {1, "fault"},
    {2, "remind"},
    {3, "mute"},
    {4, "critical"},
    // The controller's further states.
    {5, "S5"},
    {6, "S6"},
    {7, "S7"},
});

constexpr U32_t LAST_ALARM_STATE = 4;

constexpr auto INFORMATION = std::to_array<Name_t>({
    {ESA_E_EVENT_INFO_REQUEST_ORDERLY_SHUTDOWN, "orderly shutdown requested"},
    {ESA_E_EVENT_INFO_I2C_BUS_FAULT, "I2C bus fault"},
});

constexpr auto STATUS_PAGES = std::to_array<Name_t>({
    {SES_K_SUPPORTED_DIAGNOSTIC_PAGE, "supported pages"},
    {SES_K_CONFIGURATION_DIAGNOSTIC_PAGE, "configuration"},
    {SES_K_ENCLOSURE_STATUS_DIAGNOSTIC_PAGE, "enclosure status"},
    {SES_K_HELP_TEXT_DIAGNOSTIC_PAGE, "help text"},
    {SES_K_STRING_IN_DIAGNOSTIC_PAGE, "string in"},
    {SES_K_THRESHOLD_IN_DIAGNOSTIC_PAGE, "threshold in"},
    {SES_K_OBSOLETE_DIAGNOSTIC_PAGE, "obsolete"},
    {SES_K_ELEMENT_DESCRIPTOR_DIAGNOSTIC_PAGE, "element descriptor"},
    {SES_K_SHORT_ENCLOSURE_STATUS_DIAGNOSTIC_PAGE, "short enclosure status"},
    {SES_K_ENCLOSURE_BUSY_DIAGNOSTIC_PAGE, "enclosure busy"},
    {SES_K_ADDITIONAL_ELEMENT_STATUS_DIAGNOSTIC_PAGE, "additional element status"},
    {SES_K_SUBENCLOSURE_HELP_TEXT_DIAGNOSTIC_PAGE, "subenclosure help text"},
    {SES_K_SUBENCLOSURE_STRING_IN_DIAGNOSTIC_PAGE, "subenclosure string in"},
    {SES_K_SUPPORTED_SES_DIAGNOTSTIC_PAGES_DIAGNOSTIC_PAGE, "supported SES pages"},
    {SES_K_DOWNLOAD_MICROCODE_STATUS_DIAGNOSTIC_PAGE, "download microcode status"},
    {SES_K_SUNENCLOSURE_NICKNAME_STATUS_DIAGNOSTIC_PAGE, "subenclosure nickname status"},
});

constexpr auto CONTROL_PAGES = std::to_array<Name_t>({
    {SES_K_ENCLOSURE_CONTROL_DIAGNOSTIC_PAGE, "enclosure control"},
    {SES_K_STRING_OUT_DIAGNOSTIC_PAGE, "string out"},
    {SES_K_THRESHOLD_OUT_DIAGNOSTIC_PAGE, "threshold out"},
    {SES_K_SUBENCLOSURE_STRING_OUT_DIAGNOSTIC_PAGE, "subenclosure string out"},
    {SES_K_DOWNLOAD_MICROCODE_CONTROL_DIAGNOSTIC_PAGE, "download microcode control"},
    {SES_K_SUBENCLOSURE_NICKNAME_CONTROL_DIAGNOSTIC_PAGE, "subenclosure nickname control"},
});

constexpr auto SENSE_KEYS = std::to_array<Name_t>({{SES_K_SENSE_KEY_ILLEGAL_REQUEST, "illegal request"}});

const Name_t* findName(std::span<const Name_t> table, U32_t value) {
    const auto found = std::ranges::find(table, value, &Name_t::value);
    return found == table.end() ? nullptr : &*found;
}

/** The value's name, or `what` and the number. */
std::string nameOf(std::span<const Name_t> table, U32_t value, std::string_view what) {
    const Name_t* const entry = findName(table, value);
    return entry != nullptr ? std::string(entry->name) : std::string(what) + ' ' + std::to_string(value);
}

/** "enclosure status (2)": pages and chassis are known by their numbers as well. */
std::string withNumber(std::string_view name, U8_t value) {
    return std::string(name).append(" (").append(std::to_string(value)).append(")");
}

std::string nameAndNumber(std::span<const Name_t> table, U8_t value) {
    const Name_t* const entry = findName(table, value);
    return withNumber(entry != nullptr ? entry->name : "unknown", value);
}

std::span<const Name_t> typesOf(U8_t protocol) {
    switch (protocol) {
    case MMSG_E_PROTOCOL_STARTUP:
        return STARTUP_TYPES;
    case MMSG_E_PROTOCOL_EVENTMGR:
        return EVENT_MANAGER_TYPES;
    case MMSG_E_PROTOCOL_SHUTDOWN:
        return SHUTDOWN_TYPES;
    case MMSG_E_PROTOCOL_SES:
        return SES_TYPES;
    default:
        return {};
    }
}

} // namespace

std::string_view endpointWord(U8_t endpoint) {
    if (endpoint < ENDPOINTS.size()) {
        return ENDPOINTS[endpoint];
    }
    return endpoint <= MMSG_K_LAST_PEER ? "peer" : "unknown";
}

std::string endpointName(U8_t endpoint) {
    return std::string(endpointWord(endpoint)).append("(").append(std::to_string(endpoint)).append(")");
}

std::string protocolName(U8_t protocol) {
    return protocol < PROTOCOLS.size() ? std::string(PROTOCOLS[protocol]) : "protocol " + std::to_string(protocol);
}

std::string typeName(U8_t protocol, U32_t type) {
    return nameOf(typesOf(protocol), type, "type");
}

std::string eventName(U16_t eventId) {
    return nameOf(EVENTS, eventId, "event");
}
std::string eventTypeName(U8_t eventType) {
    return nameOf(EVENT_TYPES, eventType, "type");
}
std::string chassisTitle(U8_t chassis) {
    const ChassisFacts_t* const facts = findChassis(unsigned{chassis});
    return withNumber(facts != nullptr ? facts->title : "unknown", chassis);
}
std::string temperatureStateName(U32_t state) {
    const TemperatureBand_t* const band = findTemperatureBand(state);
    if (band == nullptr) {
        return "state " + std::to_string(state);
    }
    const std::string limit = std::to_string(band->celsius);
    return band->below ? "back to " + limit + " or below" : "over " + limit;
}
std::string alarmStateName(U32_t state) {
    return nameOf(ALARM_STATES, state, "state");
}
std::string informationName(U32_t information) {
    return nameOf(INFORMATION, information, "information");
}

std::string statusPageName(U8_t page) {
    return nameAndNumber(STATUS_PAGES, page);
}
std::string controlPageName(U8_t page) {
    return nameAndNumber(CONTROL_PAGES, page);
}
std::string senseKeyName(U8_t key) {
    return nameOf(SENSE_KEYS, key, "sense key");
}

bool isEventType(U8_t eventType) {
    return findName(EVENT_TYPES, eventType) != nullptr;
}

bool isAlarmState(U32_t state) {
    return state <= LAST_ALARM_STATE;
}

const TemperatureBand_t* findTemperatureBand(U32_t state) {
    const auto* const found = std::ranges::find(TEMPERATURE_BANDS, state, &TemperatureBand_t::state);
    return found == TEMPERATURE_BANDS.end() ? nullptr : found;
}

std::string stableName(std::string_view name) {
    std::string stable;
    for (const char c : name) {
        stable += c == ' ' ? '-' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return stable;
}
