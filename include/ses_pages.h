/** SCSI Enclosure Services over MMSG: diagnostic pages, whose lists hold the records of ses_elements.h. */
#pragma once

#include "wire.h"

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
