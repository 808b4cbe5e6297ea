#include "names.h"

#include <array>
#include <span>
#include <string_view>

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

constexpr auto CHASSIS = std::to_array<Name_t>({
    {1, "none"},
    {2, "Xyratex 2U12"},
    {3, "VSC055 Quadra"},
    {4, "Chenbro 3U16"},
    {5, "VSC055 backplane"},
    {6, "W83782D backplane"},
});

constexpr auto TEMPERATURE_STATES = std::to_array<Name_t>({
    {ESA_E_EVENT_TEMPERATURE_BELOW_35_DEGREES, "back to 35 or below"},
    {ESA_E_EVENT_TEMPERATURE_OVER_35_DEGREES, "over 35"},
    {ESA_E_EVENT_TEMPERATURE_OVER_45_DEGREES, "over 45"},
    {ESA_E_EVENT_TEMPERATURE_OVER_55_DEGREES, "over 55"},
});

constexpr auto ALARM_STATES = std::to_array<Name_t>({
    {0, "idle"},
    {1, "fault"},
    {2, "remind"},
    {3, "mute"},
    {4, "critical"},
    {5, "S5"},
    {6, "S6"},
    {7, "S7"},
});

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

/** The value's name, or `what` and the number. */
std::string nameOf(std::span<const Name_t> table, U32_t value, std::string_view what) {
    for (const Name_t& entry : table) {
        if (entry.value == value) {
            return std::string(entry.name);
        }
    }
    return std::string(what) + ' ' + std::to_string(value);
}

/** "enclosure status (2)": pages and chassis are known by their numbers as well. */
std::string nameAndNumber(std::span<const Name_t> table, U8_t value) {
    for (const Name_t& entry : table) {
        if (entry.value == value) {
            return std::string(entry.name).append(" (").append(std::to_string(value)).append(")");
        }
    }
    return "unknown (" + std::to_string(value) + ")";
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

std::string endpointName(U8_t endpoint) {
    std::string_view name = "peer";
    if (endpoint < ENDPOINTS.size()) {
        name = ENDPOINTS[endpoint];
    } else if (endpoint >= BM_K_BITS_PER_ELEMENT * BM_K_ELEMENTS) {
        name = "unknown";
    }
    return std::string(name).append("(").append(std::to_string(endpoint)).append(")");
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
std::string chassisName(U8_t chassis) {
    return nameAndNumber(CHASSIS, chassis);
}
std::string temperatureStateName(U32_t state) {
    return nameOf(TEMPERATURE_STATES, state, "state");
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
