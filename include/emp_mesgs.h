/** Messages of the event manager process (EMP): kinds, event classes and the event-log header. */
#pragma once

#include "wire.h"

/** Request type of a message whose protocol is MMSG_E_PROTOCOL_EVENTMGR. */
enum EMP_MESGS_TYPE_e : U32_t {
    EMP_E_MSGS_LOG = 1,
    EMP_E_MSGS_INQUIRY = 2,
    EMP_E_MSGS_SET_EVENT_ARCHIVER = 3,
    EMP_E_MSGS_GET_EVENT_ARCHIVER = 4,
    EMP_E_MSGS_GET_EVENT_MANAGER_STATUS = 5,
    EMP_E_MSGS_GET_EVENT_ARCHIVER_STATUS = 6,
    EMP_E_MSGS_ALTERNATE_LOG = 7,
};

/** Severity of an event. */
enum EMP_TYPE_e : U8_t {
    EMP_E_TYPE_INFORMATION = 1,
    EMP_E_TYPE_WARNING = 2,
    EMP_E_TYPE_ERROR = 3,
};

/** What an event is about. */
enum EMP_CATEGORY_e : U8_t {
    EMP_E_CATEGORY_SYSTEM = 1,
    EMP_E_CATEGORY_MANAGEMENT = 2,
    EMP_E_CATEGORY_ENVIRONMENTAL = 3,
    EMP_E_CATEGORY_DISK = 4,
    EMP_E_CATEGORY_VOLUME = 5,
    EMP_E_CATEGORY_SATA = 6,
    EMP_E_CATEGORY_SCSI = 7,
    EMP_E_CATEGORY_ISCSI = 8,
    EMP_E_CATEGORY_NETWORK = 9,
    EMP_E_CATEGORY_HARDWARE = 10,
    EMP_E_CATEGORY_IO = 11,
    EMP_E_CATEGORY_CACHE = 12,
    EMP_E_CATEGORY_ISNSC = 13,
};

/** Header of an event-log record; `evStructLength` bytes of event body follow it. */
struct EmpEvLogHeader_t {
    CHAR_t evEnclosureId[64];
    CHAR_t evBladeId[64];
    be32_t evSlotId;
    be32_t evInstanceNumber;
    be32_t evSequenceId;
    be32_t evTime;
    be16_t evStructLength; /**< bytes of the body */
    U8_t evSource;         /**< MMSG_EPID_e of the reporting process */
    U8_t evType;           /**< EMP_TYPE_e */
    U8_t evCategory;       /**< EMP_CATEGORY_e */
    U8_t evIdVersion;
    be16_t evId; /**< event number within its source */
};
WIRE_RECORD(EmpEvLogHeader_t, 152);
WIRE_OFFSET(EmpEvLogHeader_t, evSlotId, 128);
WIRE_OFFSET(EmpEvLogHeader_t, evStructLength, 144);
WIRE_OFFSET(EmpEvLogHeader_t, evId, 150);
