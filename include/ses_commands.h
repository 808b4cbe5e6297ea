/** SCSI Enclosure Services over MMSG: command records, what answers them, and sense data. */
#pragma once

#include "wire.h"

/** Request type of a message whose protocol is MMSG_E_PROTOCOL_SES, and operationCode of its command record. */
inline constexpr U8_t SES_K_RECEIVE_DIAGNOSTIC_RESULTS_COMMAND = 28;
inline constexpr U8_t SES_K_SEND_DIAGNOSTIC_COMMAND = 29;

/** SesStatus_t::statusCode. */
inline constexpr U8_t SES_K_SCSI_STATUS_CODE_GOOD = 0;
inline constexpr U8_t SES_K_SCSI_STATUS_CODE_CHECK_CONDITION = 2;

/** Sense data of the one CHECK CONDITION that is ever sent. */
inline constexpr U8_t SES_K_SENSE_RESPONSE_CODE_FIXED = 0x70;
inline constexpr U8_t SES_K_SENSE_KEY_ILLEGAL_REQUEST = 5;
inline constexpr U8_t SES_K_ASC_INVALID_FIELD_IN_CDB = 0x24;

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
