/**
 * MMSG: the message that every management process exchanges through the message switch (MSM). A 64-byte common
 * header, big-endian, followed by a payload.
 */
#pragma once

#include "wire.h"

/** Values of MMCH_t::message_type. */
enum MSG_TYPE_e : U8_t {
    MSG_E_TYPE_INVALID = 0,
    MSG_E_TYPE_ISURP = 1,
    MSG_E_TYPE_SGT = 2,
    MSG_E_TYPE_CLH = 3,
    MSG_E_TYPE_DSD = 4,
    MSG_E_TYPE_VT = 5,
    MSG_E_TYPE_DRP = 6,
    MSG_E_TYPE_EXT = 7,
    MSG_E_TYPE_URGENT = 8,
    MSG_E_TYPE_IOMGR_VT = 9,
    MSG_E_TYPE_RWR = 10,
    MSG_E_TYPE_RCD = 11,
    MSG_E_TYPE_DLM = 12,
    MSG_E_TYPE_FER = 13,
    MSG_E_TYPE_MMSG = 14,
    MSG_E_TYPE_DROP = 15,
    MSG_E_TYPE_RCPM = 16,
    MSG_E_TYPE_BCD = 17,
    MSG_E_TYPE_CMSP = 18,
};

/** Endpoint ids: who sends, and whose bit is set in a recipient bitmap. */
enum MMSG_EPID_e : U8_t {
    MMSG_E_Q4X_EPID_START = 0,
    MMSG_E_EPID_ISCSI18P = 0,
    MMSG_E_EPID_ISCSI28P = 1,
    MMSG_E_EPID_SCSI8P = 2,
    MMSG_E_EPID_CACHE18P = 3,
    MMSG_E_EPID_CACHE28P = 4,
    MMSG_E_EPID_IOMGR8P = 5,
    MMSG_E_EPID_SATA8P = 6,
    MMSG_E_EPID_MIP8P = 7,
    MMSG_E_EPID_PIEMAN8P = 8,
    MMSG_E_EPID_AWR8P = 9,
    MMSG_E_EPID_VPI8P = 10,
    MMSG_E_EPID_MIP_LOCAL_8P = 11,
    MMSG_E_Q4X_EPID_END = 12,
    MMSG_E_MPU_EPID_START = 12,
    MMSG_E_EPID_ICHAR = 12,
    MMSG_E_EPID_OB0 = 13,
    MMSG_E_EPID_OB1 = 14,
    MMSG_E_EPID_HACCMP = 15,
    MMSG_E_EPID_MSMMP = 16,
    MMSG_E_EPID_RCPMP = 17,
    MMSG_E_EPID_STARTUPMP = 18,
    MMSG_E_EPID_DDLMMP = 19,
    MMSG_E_CMAP_EPID_START = 20,
    MMSG_E_EPID_VOLMGRMP = 20,
    MMSG_E_EPID_DRIVEADMP = 21,
    MMSG_E_EPID_ISCSIMP = 22,
    MMSG_E_EPID_SYSTEM_CONFIGMP = 23,
    MMSG_E_EPID_NETWORK_CONFIGMP = 24,
    MMSG_E_EPID_AIMMP = 25,
    MMSG_E_EPID_ENVIRONMP = 26,
    MMSG_E_CMAP_EPID_END = 27,
    MMSG_E_EPID_EVENTLOGMP = 27,
    MMSG_E_EPID_SNMPMP = 28,
    MMSG_E_EPID_SMIS = 29,
    MMSG_E_EPID_SMI_IND = 30,
    MMSG_E_EPID_ISNSC = 31,
    MMSG_E_EPID_BATTERY_MANAGERMP = 32,
    MMSG_E_EPID_ES_ADAPTERMP = 33,
    MMSG_E_MAX_DEFINED_EPIDS = 34,
    MMSG_E_MPU_EPID_END = 34,
};

/** Values of the opcode's protocol byte. */
enum MMSG_PROTOCOL_e : U8_t {
    MMSG_E_PROTOCOL_DEFAULT = 0,
    MMSG_E_PROTOCOL_RCP = 1,
    MMSG_E_PROTOCOL_HACC = 2,
    MMSG_E_PROTOCOL_CMP = 3,
    MMSG_E_PROTOCOL_VOLMGR = 4,
    MMSG_E_PROTOCOL_DDLM = 5,
    MMSG_E_PROTOCOL_NETCFG = 6,
    MMSG_E_PROTOCOL_CMAP = 7,
    MMSG_E_PROTOCOL_EVENTMGR = 8,
    MMSG_E_PROTOCOL_IOMGR = 9,
    MMSG_E_PROTOCOL_ISCSI = 10,
    MMSG_E_PROTOCOL_ISNSC = 11,
    MMSG_E_PROTOCOL_STARTUP = 12,
    MMSG_E_PROTOCOL_SHUTDOWN = 13,
    MMSG_E_PROTOCOL_BUGCHECK = 14,
    MMSG_E_PROTOCOL_SMIS = 15,
    MMSG_E_PROTOCOL_BATTERY_MANAGEMENT = 16,
    MMSG_E_PROTOCOL_FIRMWARE_UPGRADE = 17,
    MMSG_E_PROTOCOL_SES = 18,
    MMSG_E_PROTOCOL_DEVMGR = 19,
    MMSG_E_MAX_PROTOCOL = 19,
};

/** Endpoint categories; no message of the adapter carries one. */
enum MMSG_EP_CATEGORY_e : U8_t {
    MMSG_E_CATEGORY_UNDEFINED = 0,
    MMSG_E_CATEGORY_Q4X = 1,
    MMSG_E_CATEGORY_CMAP = 2,
    MMSG_E_CATEGORY_IMC = 3,
    MMSG_E_CATEGORY_ENVIRONMP = 4,
    MMSG_E_CATEGORY_EVENTLOGMP = 5,
    MMSG_E_CATEGORY_PERFORMMP = 6,
    MMSG_E_CATEGORY_SNMPMP = 7,
    MMSG_E_CATEGORY_SMIS = 8,
    MMSG_E_MAX_CATEGORY = 8,
};

/** MMCH_t::mmch_version of every message. */
inline constexpr U8_t MMCH_K_VERSION = 1;
/** Bit of MMCH_t::mmsg_cont that marks a response. */
inline constexpr U8_t MMCH_K_CONT_RESPONSE = 0x40;
/** Size of the common header, and so the least mmsg_length. */
inline constexpr U16_t MMSG_K_HEADER_SIZE = 64;
/** Size of the large message, and so the greatest mmsg_length. */
inline constexpr U16_t MMSG_K_MAX_SIZE = 4064;

/** List link of a message; only its owner's process reads it. */
struct MMCH_LH_t {
    be32_t flink;
    be32_t blink;
};
WIRE_RECORD(MMCH_LH_t, 8);

struct MMCH_REQUEST_t {
    U8_t protocol; /**< MMSG_PROTOCOL_e */
    be24_t type;   /**< meaning depends on the protocol */
};
WIRE_RECORD(MMCH_REQUEST_t, 4);

union MMCH_OPCODE_t {
    MMCH_REQUEST_t request;
    be32_t whole;
};
WIRE_RECORD(MMCH_OPCODE_t, 4);

/** One word of a recipient bitmap: endpoint e is bit (e mod 32) of word (e div 32). */
using BM_ELEMENT_t = be32_t;
inline constexpr unsigned BM_K_BITS_PER_ELEMENT = 32;
inline constexpr unsigned BM_K_ELEMENTS = 2;

/** Ids that a switch hands out to peers without one of their own, up to the last that a bitmap can name. */
inline constexpr U8_t MMSG_K_FIRST_PEER = MMSG_E_MAX_DEFINED_EPIDS;
inline constexpr U8_t MMSG_K_LAST_PEER = BM_K_BITS_PER_ELEMENT * BM_K_ELEMENTS - 1;

/** The adapter's socket in the switch's directory. */
inline constexpr CHAR_t MMSG_K_ADAPTER_SOCKET[] = "/esadapter";

struct MMCH_TIMESTAMP_t {
    be32_t high;
    be32_t low;
};
WIRE_RECORD(MMCH_TIMESTAMP_t, 8);

/** The common header of every message. */
struct MMCH_t {
    MMCH_LH_t mmch_lh;
    U8_t message_type; /**< MSG_TYPE_e */
    U8_t mmch_version;
    be16_t mmsg_length; /**< whole message in bytes, this header included */
    MMCH_OPCODE_t opcode;
    U8_t requestor; /**< MMSG_EPID_e of the sender */
    U8_t mmsg_cont; /**< flags: MMCH_K_CONT_RESPONSE */
    U8_t dest_ep;   /**< MMSG_EPID_e of the addressee */
    U8_t pad;
    BM_ELEMENT_t recipient_loc_bm[BM_K_ELEMENTS];
    BM_ELEMENT_t recipient_ob_bm[BM_K_ELEMENTS];
    be32_t return_code; /**< result, in a response */
    be32_t handle;      /**< the requester's value, echoed in the response */
    be32_t general_use1;
    be32_t general_use2;
    be32_t general_use3;
    MMCH_TIMESTAMP_t timestamp;
};
WIRE_RECORD(MMCH_t, 64);
WIRE_OFFSET(MMCH_t, mmsg_length, 10);
WIRE_OFFSET(MMCH_t, requestor, 16);
WIRE_OFFSET(MMCH_t, recipient_loc_bm, 20);
WIRE_OFFSET(MMCH_t, recipient_ob_bm, 28);
WIRE_OFFSET(MMCH_t, return_code, 36);
WIRE_OFFSET(MMCH_t, timestamp, 56);

/** A message of any length; the payload goes on behind its first byte. */
struct MMSG_t {
    MMCH_t mmch;
    U8_t user_data_start;
};
WIRE_RECORD(MMSG_t, 65);
WIRE_OFFSET(MMSG_t, user_data_start, 64);

/** Large message. */
struct MMSGLS_t {
    MMCH_t mmch;
    U8_t rsvd[4000];
};
WIRE_RECORD(MMSGLS_t, 4064);

/** Small message. */
struct MMSGSS_t {
    MMCH_t mmch;
    U8_t rsvd[160];
};
WIRE_RECORD(MMSGSS_t, 224);

/** Whether a recipient bitmap names `endpoint`; ids that no bit exists for are never named. */
inline bool mmsgIsRecipient(const BM_ELEMENT_t (&bitmap)[BM_K_ELEMENTS], U8_t endpoint) {
    const unsigned word = endpoint / BM_K_BITS_PER_ELEMENT;
    return word < BM_K_ELEMENTS && ((bitmap[word] >> (endpoint % BM_K_BITS_PER_ELEMENT)) & 1U) != 0;
}

/** Adds `endpoint` to a recipient bitmap; an id that no bit exists for changes nothing. */
inline void mmsgAddRecipient(BM_ELEMENT_t (&bitmap)[BM_K_ELEMENTS], U8_t endpoint) {
    const unsigned word = endpoint / BM_K_BITS_PER_ELEMENT;
    if (word < BM_K_ELEMENTS) {
        bitmap[word] = bitmap[word] | (1U << (endpoint % BM_K_BITS_PER_ELEMENT));
    }
}
