/** Messages of the Startup process: request and response kinds, and the e-mail settings it keeps. */
#pragma once

#include "wire.h"

/** Request type of a message whose protocol is MMSG_E_PROTOCOL_STARTUP. */
enum STARTUP_MMSG_type_e : U32_t {
    SUS_E_MMSG_NOTIFY_INIT_COMPLETE = 1,
    SUS_E_MMSG_START_Q4X = 2,
    SUS_E_MMSG_SYSTEM_CONFIG = 3,
    SUS_E_MMSG_UPDATE_HACC_IP_ADDRESS = 4,
    SUS_E_MMSG_GET_MGT_INFO = 5,
    SUS_E_MMSG_SET_MGT_INFO = 6,
    SUS_E_MMSG_SHUTDOWN_Q4X = 7,
    SUS_E_MMSG_STATUS_CHANGE = 8,
    SUS_E_MMSG_GET_MPU_STATUS = 9,
    SUS_E_MMSG_GET_Q4X_STATUS = 10,
    SUS_E_MMSG_NOTIFY_OF_BATTERY_STATE = 11,
    SUS_E_MMSG_UPDATE_DF_GATEWAY = 12,
    SUS_E_MMSG_MGT_PORT_RESTORE_MFG_PARAMS = 13,
    SUS_E_MMSG_CHANGE_LED_COLOR = 14,
    SUS_E_MMSG_EMAIL_NOTIFICATION_CONFIG = 15,
    SUS_E_MMSG_SEND_EMAIL_NOTIFICATION = 16,
};

/** return_code of Startup's responses. */
enum STARTUP_MMSG_RESPONSE_e : U32_t {
    SUS_E_MMSG_RESP_OK = 1,
    SUS_E_MMSG_RESP_REJECTED = 2,
};

/** Request type of the orderly shutdown, under MMSG_E_PROTOCOL_SHUTDOWN. */
inline constexpr U32_t SHUTDOWN_K_MMSG_ORDERLY = 1;
/** general_use1 and general_use2 of the LED request: which LED, and its state. */
inline constexpr U32_t SUS_K_LED_COMPOSITE_FAULT = 2;
inline constexpr U32_t SUS_K_LED_OFF = 1;
inline constexpr U32_t SUS_K_LED_ON = 2;
/** general_use2 of the orderly shutdown request. */
inline constexpr U32_t SHUTDOWN_K_REASON_OVERHEAT = 1;

/** Parameters of SUS_E_MMSG_EMAIL_NOTIFICATION_CONFIG; Startup keeps them, the adapter's request carries none. */
struct EmailNotificationParameters_t {
    CHAR_t senderAddress[128];
    CHAR_t recipientAddress[128];
    be32_t authenticationMethod;
    CHAR_t userName[128];
    CHAR_t password[128];
    be32_t serverAddress; /**< IPv4 */
    be32_t serverPort;
    be32_t enable; /**< 1 when notifications are sent */
};
WIRE_RECORD(EmailNotificationParameters_t, 528);
