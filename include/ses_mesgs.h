/**
 * SCSI Enclosure Services over MMSG: command records, diagnostic pages, element records and sense data.
 *
 * Field names and code values are those of the SCSI standards. Positions are this platform's own: many bit
 * fields are mirrored within their byte and the command records carry padding. Peers expect exactly these bytes.
 */
#pragma once

#include "wire.h"

/** Request type of a message whose protocol is MMSG_E_PROTOCOL_SES, and operationCode of its command record. */
inline constexpr U8_t SES_K_RECEIVE_DIAGNOSTIC_RESULTS_COMMAND = 28;
inline constexpr U8_t SES_K_SEND_DIAGNOSTIC_COMMAND = 29;

/** SesStatus_t::statusCode. */
inline constexpr U8_t SES_K_SCSI_STATUS_CODE_GOOD = 0;
inline constexpr U8_t SES_K_SCSI_STATUS_CODE_CHECK_CONDITION = 2;

/** Diagnostic pages as a status request names them. */
inline constexpr U8_t SES_K_SUPPORTED_DIAGNOSTIC_PAGE = 0;
inline constexpr U8_t SES_K_CONFIGURATION_DIAGNOSTIC_PAGE = 1;
inline constexpr U8_t SES_K_ENCLOSURE_STATUS_DIAGNOSTIC_PAGE = 2;
inline constexpr U8_t SES_K_HELP_TEXT_DIAGNOSTIC_PAGE = 3;
inline constexpr U8_t SES_K_STRING_IN_DIAGNOSTIC_PAGE = 4;
inline constexpr U8_t SES_K_THRESHOLD_IN_DIAGNOSTIC_PAGE = 5;
inline constexpr U8_t SES_K_OBSOLETE_DIAGNOSTIC_PAGE = 6;
inline constexpr U8_t SES_K_ELEMENT_DESCRIPTOR_DIAGNOSTIC_PAGE = 7;
inline constexpr U8_t SES_K_SHORT_ENCLOSURE_STATUS_DIAGNOSTIC_PAGE = 8;
inline constexpr U8_t SES_K_ENCLOSURE_BUSY_DIAGNOSTIC_PAGE = 9;
inline constexpr U8_t SES_K_ADDITIONAL_ELEMENT_STATUS_DIAGNOSTIC_PAGE = 10;
inline constexpr U8_t SES_K_SUBENCLOSURE_HELP_TEXT_DIAGNOSTIC_PAGE = 11;
inline constexpr U8_t SES_K_SUBENCLOSURE_STRING_IN_DIAGNOSTIC_PAGE = 12;
inline constexpr U8_t SES_K_SUPPORTED_SES_DIAGNOTSTIC_PAGES_DIAGNOSTIC_PAGE = 13;
inline constexpr U8_t SES_K_DOWNLOAD_MICROCODE_STATUS_DIAGNOSTIC_PAGE = 14;
inline constexpr U8_t SES_K_SUNENCLOSURE_NICKNAME_STATUS_DIAGNOSTIC_PAGE = 15;

/** Diagnostic pages as a control request names them; they share the codes. */
inline constexpr U8_t SES_K_ENCLOSURE_CONTROL_DIAGNOSTIC_PAGE = 2;
inline constexpr U8_t SES_K_STRING_OUT_DIAGNOSTIC_PAGE = 4;
inline constexpr U8_t SES_K_THRESHOLD_OUT_DIAGNOSTIC_PAGE = 5;
inline constexpr U8_t SES_K_SUBENCLOSURE_STRING_OUT_DIAGNOSTIC_PAGE = 12;
inline constexpr U8_t SES_K_DOWNLOAD_MICROCODE_CONTROL_DIAGNOSTIC_PAGE = 14;
inline constexpr U8_t SES_K_SUBENCLOSURE_NICKNAME_CONTROL_DIAGNOSTIC_PAGE = 15;

/** Element types of the configuration page. */
inline constexpr U8_t SES_K_ELEMENT_TYPE_DEVICE = 1;
inline constexpr U8_t SES_K_ELEMENT_TYPE_POWER_SUPPLY = 2;
inline constexpr U8_t SES_K_ELEMENT_TYPE_COOLING = 3;
inline constexpr U8_t SES_K_ELEMENT_TYPE_TEMPERATURE_SENSOR = 4;
inline constexpr U8_t SES_K_ELEMENT_TYPE_AUDIBLE_ALARM = 6;

/** Sense data of the one CHECK CONDITION that is ever sent. */
inline constexpr U8_t SES_K_SENSE_RESPONSE_CODE_FIXED = 0x70;
inline constexpr U8_t SES_K_SENSE_KEY_ILLEGAL_REQUEST = 5;
inline constexpr U8_t SES_K_ASC_INVALID_FIELD_IN_CDB = 0x24;

/** Value of an element's whole commonStatus byte; the standard's PRDFAIL, DISABLED and SWAP bits stay zero. */
enum SesElementStatusCode_e : U8_t {
    SES_E_ELEMENT_STATUS_CODE_UNSUPPORTED = 0,
    SES_E_ELEMENT_STATUS_CODE_OK = 1,
    SES_E_ELEMENT_STATUS_CODE_CRITICAL = 2,
    SES_E_ELEMENT_STATUS_CODE_NONCRITICAL = 3,
    SES_E_ELEMENT_STATUS_CODE_UNRECOVERABLE = 4,
    SES_E_ELEMENT_STATUS_CODE_NOT_INSTALLED = 5,
    SES_E_ELEMENT_STATUS_CODE_UNKNOWN = 6,
    SES_E_ELEMENT_STATUS_CODE_NOT_AVAILABLE = 7,
};

/** CoolingElementCont_t::requestedSpeedCode. */
enum SesFanRequestedSpeedCode_e : U8_t {
    SES_E_FAN_REQUESTED_RESERVED = 0,
    SES_E_FAN_REQUESTED_LOWEST_SPEED = 1,
    SES_E_FAN_REQUESTED_SECOND_LOWEST_SPEED = 2,
    SES_E_FAN_REQUESTED_SPEED_3 = 3,
    SES_E_FAN_REQUESTED_SPEED_4 = 4,
    SES_E_FAN_REQUESTED_SPEED_5 = 5,
    SES_E_FAN_REQUESTED_INTERMEDIATE_SPEED = 6,
    SES_E_FAN_REQUESTED_HIGHEST_SPEED = 7,
};

/** CoolingElementStat_t::actualSpeedCode. */
enum SesFanActualSpeedCode_e : U8_t {
    SES_E_FAN_ACTUAL_STOP = 0,
    SES_E_FAN_ACTUAL_LOWEST_SPEED = 1,
    SES_E_FAN_ACTUAL_SECOND_LOWEST_SPEED = 2,
    SES_E_FAN_ACTUAL_THIRD_LOWEST_SPEED = 3,
    SES_E_FAN_ACTUAL_INTERMEDIATE_SPEED = 4,
    SES_E_FAN_ACTUAL_THIRD_HIGHEST_SPEED = 5,
    SES_E_FAN_ACTUAL_SECOND_HIGHEST_SPEED = 6,
    SES_E_FAN_ACTUAL_HIGHEST_SPEED = 7,
};

/** Bit of a control list's overall word (its last byte) and of a record's commonControl: act on it. */
inline constexpr U8_t SES_K_CONTROL_SELECT = 0x80;

/* ------------------------------------------------------------------------------------------- commands */

/** RECEIVE DIAGNOSTIC RESULTS. */
struct RcvDiagResCommand_t {
    U8_t operationCode;
    union {
        bits_t<0x80> pcv; /**< page code valid; the standard has it in the lowest bit */
        bits_t<0x7F> reserved;
    };
    U8_t pageCode;
    U8_t padding3;
    be16_t allocationLength; /**< bytes of the largest page that the requester accepts */
    U8_t control;
    U8_t padding7;
};
WIRE_RECORD(RcvDiagResCommand_t, 8);
WIRE_OFFSET(RcvDiagResCommand_t, allocationLength, 4);

/** SEND DIAGNOSTIC. */
struct SndDiagCommand_t {
    U8_t operationCode;
    union {
        bits_t<0x80> unitOffL;
        bits_t<0x40> devOffL;
        bits_t<0x20> selfTest;
        bits_t<0x10> reservedBit;
        bits_t<0x08> pf; /**< page format */
        bits_t<0x07> selfTestCode;
    };
    U8_t reserved;
    U8_t padding3;
    be16_t parameterListLength;
    U8_t control;
    U8_t padding7;
};
WIRE_RECORD(SndDiagCommand_t, 8);
WIRE_OFFSET(SndDiagCommand_t, parameterListLength, 4);

/** Payload of a SEND DIAGNOSTIC message: the command and the first byte (the page code) of its parameter list. */
struct SndDiagCommandMsg_t {
    SndDiagCommand_t sndDiagCommand;
    U8_t sndDiagCommandList;
};
WIRE_RECORD(SndDiagCommandMsg_t, 9);

/** Payload of a reply: the status, then a page or sense data from `payloadList` on. */
struct SesStatus_t {
    U8_t statusCode;
    U8_t payloadList;
};
WIRE_RECORD(SesStatus_t, 2);

/** Fixed-format sense data. */
struct SenseData_t {
    union {
        bits_t<0xFE> responseCode;
        bits_t<0x01> valid;
    };
    U8_t obsolete;
    union {
        bits_t<0xF0> senseKey; /**< the standard has it in the low nibble */
        bits_t<0x08> reserved;
        bits_t<0x04> ili;
        bits_t<0x02> eom;
        bits_t<0x01> filemark;
    };
    U8_t padding3;
    be32_t information;
    U8_t additionalSenseLength;
    U8_t padding9[3];
    be32_t commandSpecificInformation;
    U8_t additionalSenseCode;
    U8_t additionalSenseCodeQualifier;
    U8_t fieldReplaceableUnitCode;
    union {
        bits_t<0xFE> senseKeySpecific7Bits;
        bits_t<0x01> sksv;
    };
    be16_t senseKeySpecific16Bits;
    U8_t padding22[2];
};
WIRE_RECORD(SenseData_t, 24);
WIRE_OFFSET(SenseData_t, information, 4);
WIRE_OFFSET(SenseData_t, commandSpecificInformation, 12);
WIRE_OFFSET(SenseData_t, senseKeySpecific16Bits, 20);

/* ----------------------------------------------------------------------------- page 1: configuration */

struct ConfDiagPageHdr_t {
    U8_t pageCode;
    U8_t numberSubEnclosure;
    be16_t pageLength; /**< bytes that follow this field */
    be32_t generationCode;
};
WIRE_RECORD(ConfDiagPageHdr_t, 8);

struct EnclosureDescHdr_t {
    union {
        bits_t<0xE0> numberESProcesses; /**< the standard keeps this count in the low three bits */
        bits_t<0x10> reserved1;
        bits_t<0x0E> relESProcessId;
        bits_t<0x01> reserved2;
    };
    U8_t subEnclosureId;
    U8_t numberElementTypeDescHdrs;
    U8_t enclosureDescLength; /**< bytes of the descriptor that follow this field */
    U8_t enclosureLogId[8];
    U8_t enclosureVendorId[8];
    U8_t productId[16];
    U8_t productRevLevel[4];
};
WIRE_RECORD(EnclosureDescHdr_t, 40);

struct TypeDescHdr_t {
    U8_t elementType;
    U8_t numberPossibleElements;
    U8_t subEnclosureId;
    U8_t typeDescTextLength;
};
WIRE_RECORD(TypeDescHdr_t, 4);

/** An enclosure descriptor; its type descriptor headers go on behind the first. */
struct EnclosureDescriptor_t {
    EnclosureDescHdr_t encDescHdr;
    TypeDescHdr_t typeDescList[1];
};
WIRE_RECORD(EnclosureDescriptor_t, 44);

struct ConfDiagPage_t {
    ConfDiagPageHdr_t confDiagPageHdr;
    EnclosureDescriptor_t encDescList;
};
WIRE_RECORD(ConfDiagPage_t, 52);

/* ------------------------------------------------------------------ page 2: enclosure status and control */

struct EncStatDiagPageHdr_t {
    U8_t pageCode;
    union {
        bits_t<0x80> unrecov;
        bits_t<0x40> crit;
        bits_t<0x20> nonCrit;
        bits_t<0x10> info;
        bits_t<0x08> invop;
        bits_t<0x07> reserved;
    };
    be16_t pageLength;
    be32_t generationCode;
};
WIRE_RECORD(EncStatDiagPageHdr_t, 8);

/** One element type's part of the status page; the 4-byte records go on behind the first. */
struct StatusList_t {
    be32_t overallStatus;
    U8_t elementStatusList[4];
};
WIRE_RECORD(StatusList_t, 8);

struct EncStatDiagPage_t {
    EncStatDiagPageHdr_t encStatDiagPageHdr;
    StatusList_t statusList;
};
WIRE_RECORD(EncStatDiagPage_t, 16);

struct EncContDiagPageHdr_t {
    U8_t pageCode;
    union {
        bits_t<0x80> unrecov;
        bits_t<0x40> crit;
        bits_t<0x20> nonCrit;
        bits_t<0x10> info;
        bits_t<0x0F> reserved;
    };
    be16_t pageLength;
    be32_t generationCode;
};
WIRE_RECORD(EncContDiagPageHdr_t, 8);

/** One element type's part of the control page; the 4-byte records go on behind the first. */
struct ControlList_t {
    be32_t overallControl;
    U8_t elementControlList[4];
};
WIRE_RECORD(ControlList_t, 8);

struct EncContDiagPage_t {
    EncContDiagPageHdr_t encContDiagPageHdr;
    ControlList_t controlList;
};
WIRE_RECORD(EncContDiagPage_t, 16);

/* -------------------------------------------------------------------------------- element status records */

struct DeviceElementStat_t {
    U8_t commonStatus; /**< SesElementStatusCode_e, here and in the records below */
    U8_t slotAddress;
    union {
        bits_t<0x80> report;
        bits_t<0x40> ident;
        bits_t<0x20> rmv;
        bits_t<0x10> readyToInsert;
        bits_t<0x08> enclosureBypB;
        bits_t<0x04> enclosureBypA;
        bits_t<0x02> doNotRemove;
        bits_t<0x01> appClientBypA;
    };
    union {
        bits_t<0x80> deviceBypB;
        bits_t<0x40> deviceBypA;
        bits_t<0x20> BypB;
        bits_t<0x10> BypA;
        bits_t<0x08> deviceOff;
        bits_t<0x04> faultReqstd;
        bits_t<0x02> faultSensed;
        bits_t<0x01> appClientBypB;
    };
};
WIRE_RECORD(DeviceElementStat_t, 4);

struct PowerSupplyElementStat_t {
    U8_t commonStatus;
    union {
        bits_t<0xFE> reserved1;
        bits_t<0x01> ident;
    };
    union {
        bits_t<0x80> rsvd1;
        bits_t<0x40> dcOverCurrent;
        bits_t<0x20> dcUnderVoltage;
        bits_t<0x10> dcOverVoltage;
        bits_t<0x0F> reserved2;
    };
    union {
        bits_t<0x80> dcFail;
        bits_t<0x40> acFail;
        bits_t<0x20> tempWarn;
        bits_t<0x10> ovrtmpFail;
        bits_t<0x08> off;
        bits_t<0x04> rqstedOn;
        bits_t<0x02> fail;
        bits_t<0x01> rsvd2;
    };
};
WIRE_RECORD(PowerSupplyElementStat_t, 4);

struct CoolingElementStat_t {
    U8_t commonStatus;
    union {
        bits_t<0xC0> actualFanSpeedMsb; /**< upper two bits of the 10-bit speed, unit 10 RPM */
        bits_t<0x3E> reserved;
        bits_t<0x01> ident;
    };
    U8_t actualFanSpeed; /**< lower eight bits of the speed */
    union {
        bits_t<0xE0> actualSpeedCode; /**< SesFanActualSpeedCode_e */
        bits_t<0x10> rsvd1;
        bits_t<0x08> off;
        bits_t<0x04> rqstedOn;
        bits_t<0x02> fail;
        bits_t<0x01> rsvd2;
    };
};
WIRE_RECORD(CoolingElementStat_t, 4);

struct TemperatureSensorElementStat_t {
    U8_t commonStatus;
    union {
        bits_t<0xFE> reserved1;
        bits_t<0x01> ident;
    };
    U8_t temperature; /**< degrees Celsius plus 20; 0 means no reading */
    union {
        bits_t<0x80> utWarning;
        bits_t<0x40> utFailure;
        bits_t<0x20> otWarning;
        bits_t<0x10> otFailure;
        bits_t<0x0F> reserved2;
    };
};
WIRE_RECORD(TemperatureSensorElementStat_t, 4);

struct AudibleAlarmElementStat_t {
    U8_t commonStatus;
    union {
        bits_t<0xFE> reserved1;
        bits_t<0x01> ident;
    };
    U8_t reserved2;
    union {
        bits_t<0x80> unrecov;
        bits_t<0x40> crit;
        bits_t<0x20> nonCrit;
        bits_t<0x10> info;
        bits_t<0x08> remind;
        bits_t<0x04> rsvd;
        bits_t<0x02> muted;
        bits_t<0x01> rqstMute;
    };
};
WIRE_RECORD(AudibleAlarmElementStat_t, 4);

/* ------------------------------------------------------------------------------- element control records */

struct DeviceElementCont_t {
    U8_t commonControl;
    U8_t reserved1;
    union {
        bits_t<0x80> reserved2;
        bits_t<0x40> rqstIdent;
        bits_t<0x20> rqstRemove;
        bits_t<0x10> rqstInsert;
        bits_t<0x0C> reserved3;
        bits_t<0x02> doNotRemove;
        bits_t<0x01> rqstActive;
    };
    union {
        bits_t<0xC0> reserved4;
        bits_t<0x20> enableBypB;
        bits_t<0x10> enableBypA;
        bits_t<0x08> deviceOff;
        bits_t<0x04> rqstFault;
        bits_t<0x03> reserved5;
    };
};
WIRE_RECORD(DeviceElementCont_t, 4);

struct PowerSupplyElementCont_t {
    U8_t commonControl;
    union {
        bits_t<0xFE> reserved1;
        bits_t<0x01> rqstIdent;
    };
    U8_t reserved2;
    union {
        bits_t<0xF8> reserved3;
        bits_t<0x04> rqstOn;
        bits_t<0x02> rqstFail;
        bits_t<0x01> rsvd;
    };
};
WIRE_RECORD(PowerSupplyElementCont_t, 4);

struct CoolingElementCont_t {
    U8_t commonControl;
    union {
        bits_t<0xFE> reserved1;
        bits_t<0x01> rqstIdent;
    };
    U8_t reserved2;
    union {
        bits_t<0xE0> requestedSpeedCode; /**< SesFanRequestedSpeedCode_e */
        bits_t<0x18> reserved3;
        bits_t<0x04> rqstOn;
        bits_t<0x02> rqstFail;
        bits_t<0x01> rsvd;
    };
};
WIRE_RECORD(CoolingElementCont_t, 4);

struct TemperatureSensorElementCont_t {
    U8_t commonControl;
    union {
        bits_t<0xFE> reserved1;
        bits_t<0x01> rqstIdent;
    };
    U8_t reserved2[2];
};
WIRE_RECORD(TemperatureSensorElementCont_t, 4);

struct AudibleAlarmElementCont_t {
    U8_t commonControl;
    union {
        bits_t<0xFE> reserved1;
        bits_t<0x01> rqstIdent;
    };
    U8_t reserved2;
    union {
        bits_t<0x80> unrecov;
        bits_t<0x40> crit;
        bits_t<0x20> nonCrit;
        bits_t<0x10> info;
        bits_t<0x08> setRemind;
        bits_t<0x04> rsvd1;
        bits_t<0x02> setMute;
        bits_t<0x01> rsvd2;
    };
};
WIRE_RECORD(AudibleAlarmElementCont_t, 4);
