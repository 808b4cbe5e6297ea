/**
 * What the message printer prints: one line a field, in record order. The labels and their blank fill are read by
 * people and by log scanners and are kept to the character.
 */
#pragma once

#include "basetypes.h"

/** How one field of a record is printed. */
struct FieldLine_t {
    const CHAR_t* format; /**< takes the value; lines of elements take the element's index before it */
    U8_t offset;          /**< first byte of the field in its record */
    U8_t size;            /**< bytes, big-endian */
    U8_t mask;            /**< bits of a one-byte field */
};

constexpr FieldLine_t HEADER_LINES[] = {
    {"MMCH protocol                    = [%d]", 12, 1, 0xFF},
    {"MMCH type                        = [%d]", 13, 3, 0xFF},
    {"MMCH requestor                   = [%d]", 16, 1, 0xFF},
    {"MMCH mmsg_cont                   = [%d]", 17, 1, 0xFF},
    {"MMCH recipient_ob_bm             = [0x%x]", 28, 4, 0xFF},
    {"MMCH dest_ep                     = [%d]", 18, 1, 0xFF},
    {"MMCH handle                      = [%d]", 40, 4, 0xFF},
    {"MMCH general_use1                = [0x%X]", 44, 4, 0xFF},
    {"MMCH mmsg_length                 = [%d]", 10, 2, 0xFF},
    {"MMCH return_code                 = [%d]", 36, 4, 0xFF},
};

constexpr FieldLine_t SENSE_LINES[] = {
    {"Sense Data responseCode                 = [%d]", 0, 1, 0xFE},
    {"Sense Data valid                        = [%d]", 0, 1, 0x01},
    {"Sense Data obsolete                     = [%d]", 1, 1, 0xFF},
    {"Sense Data senseKey                     = [%d]", 2, 1, 0xF0},
    {"Sense Data reserved                     = [%d]", 2, 1, 0x08},
    {"Sense Data ili                          = [%d]", 2, 1, 0x04},
    {"Sense Data eom                          = [%d]", 2, 1, 0x02},
    {"Sense Data filemark                     = [%d]", 2, 1, 0x01},
    {"Sense Data information                  = [%d]", 4, 4, 0xFF},
    {"Sense Data additionalSenseLength        = [%d]", 8, 1, 0xFF},
    {"Sense Data commandSpecificInformation   = [%d]", 12, 4, 0xFF},
    {"Sense Data additionalSenseCode          = [%d]", 16, 1, 0xFF},
    {"Sense Data additionalSenseCodeQualifier = [%d]", 17, 1, 0xFF},
    {"Sense Data fieldReplaceableUnitCode     = [%d]", 18, 1, 0xFF},
    {"Sense Data senseKeySpecific7Bits        = [%d]", 19, 1, 0xFE},
    {"Sense Data sksv                         = [%d]", 19, 1, 0x01},
    {"Sense Data senseKeySpecific16Bits       = [%d]", 20, 2, 0xFF},
};

constexpr FieldLine_t CONFIGURATION_HEADER_LINES[] = {
    {"ENC CONF Page code               = [0x%x]", 0, 1, 0xFF},
    {"ENC CONF Page numberSubEnclosure = [%d]", 1, 1, 0xFF},
    {"ENC CONF Page pageLength         = [%d]", 2, 2, 0xFF},
    {"ENC CONF Page generationCode     = [%d]", 4, 4, 0xFF},
};

constexpr FieldLine_t DESCRIPTOR_LINES[] = {
    {"ENC Descriptor numberESProcesses             = [%d]", 0, 1, 0xE0},
    {"ENC Descriptor reserved1                     = [%d]", 0, 1, 0x10},
    {"ENC Descriptor relESProcessId                = [%d]", 0, 1, 0x0E},
    {"ENC Descriptor reserved2                     = [%d]", 0, 1, 0x01},
    {"ENC Descriptor subEnclosureId                = [%d]", 1, 1, 0xFF},
    {"ENC Descriptor numberElementTypeDescHdrs     = [%d]", 2, 1, 0xFF},
    {"ENC Descriptor enclosureDescLength           = [%d]", 3, 1, 0xFF},
};

constexpr FieldLine_t DEVICE_TYPE_LINES[] = {
    {"ENC Device Descriptor elementType            = [%d]", 0, 1, 0xFF},
    {"ENC Device Descriptor numberPossibleElements = [%d]", 1, 1, 0xFF},
    {"ENC Device Descriptor subEnclosureId         = [%d]", 2, 1, 0xFF},
    {"ENC Device Descriptor typeDescTextLength     = [%d]", 3, 1, 0xFF},
};

constexpr FieldLine_t POWER_SUPPLY_TYPE_LINES[] = {
    {"ENC Power Supply Descriptor elementType              = [%d]", 0, 1, 0xFF},
    {"ENC Power Supply Descriptor numberPossibleElements   = [%d]", 1, 1, 0xFF},
    {"ENC Power Supply Descriptor subEnclosureId           = [%d]", 2, 1, 0xFF},
    {"ENC Power Supply Descriptor typeDescTextLength       = [%d]", 3, 1, 0xFF},
};

constexpr FieldLine_t COOLING_TYPE_LINES[] = {
    {"ENC Cooling Descriptor elementType               = [%d]", 0, 1, 0xFF},
    {"ENC Cooling Descriptor numberPossibleElements    = [%d]", 1, 1, 0xFF},
    {"ENC Cooling Descriptor subEnclosureId            = [%d]", 2, 1, 0xFF},
    {"ENC Cooling Descriptor typeDescTextLength        = [%d]", 3, 1, 0xFF},
};

constexpr FieldLine_t ALARM_TYPE_LINES[] = {
    {"ENC Audible Alarm Descriptor elementType         = [%d]", 0, 1, 0xFF},
    {"ENC Audible Alarm Descriptor numberPossibleElements = [%d]", 1, 1, 0xFF},
    {"ENC Audible Alarm Descriptor subEnclosureId      = [%d]", 2, 1, 0xFF},
    {"ENC Audible Alarm Descriptor typeDescTextLength  = [%d]", 3, 1, 0xFF},
};

constexpr FieldLine_t STATUS_HEADER_LINES[] = {
    {"ENC STAT Page code               = [0x%x]", 0, 1, 0xFF}, {"ENC STAT Page unrecov            = [%d]", 1, 1, 0x80},
    {"ENC STAT Page crit               = [%d]", 1, 1, 0x40},   {"ENC STAT Page non crit           = [%d]", 1, 1, 0x20},
    {"ENC STAT Page info               = [%d]", 1, 1, 0x10},   {"ENC STAT Page invop              = [%d]", 1, 1, 0x08},
    {"ENC STAT Page reserved           = [%d]", 1, 1, 0x07},   {"ENC STAT Page page length        = [%d]", 2, 2, 0xFF},
    {"ENC STAT Page generation code    = [%d]", 4, 4, 0xFF},
};

constexpr FieldLine_t CONTROL_HEADER_LINES[] = {
    {"ENC CONT Page code               = [0x%x]", 0, 1, 0xFF}, {"ENC CONT Page unrecov            = [%d]", 1, 1, 0x80},
    {"ENC CONT Page crit               = [%d]", 1, 1, 0x40},   {"ENC CONT Page non crit           = [%d]", 1, 1, 0x20},
    {"ENC CONT Page info               = [%d]", 1, 1, 0x10},   {"ENC CONT Page reserved           = [%d]", 1, 1, 0x0F},
    {"ENC CONT Page page length        = [%d]", 2, 2, 0xFF},   {"ENC CONT Page generation code    = [%d]", 4, 4, 0xFF},
};

constexpr FieldLine_t DEVICE_STATUS_LINES[] = {
    {"Device [%d] commonStatus  = [%d]", 0, 1, 0xFF}, {"Device [%d] slotAddress   = [%d]", 1, 1, 0xFF},
    {"Device [%d] report        = [%d]", 2, 1, 0x80}, {"Device [%d] ident         = [%d]", 2, 1, 0x40},
    {"Device [%d] rmv           = [%d]", 2, 1, 0x20}, {"Device [%d] readyToInsert = [%d]", 2, 1, 0x10},
    {"Device [%d] enclosureBypB = [%d]", 2, 1, 0x08}, {"Device [%d] enclosureBypA = [%d]", 2, 1, 0x04},
    {"Device [%d] doNotRemove   = [%d]", 2, 1, 0x02}, {"Device [%d] appClientBypA = [%d]", 2, 1, 0x01},
    {"Device [%d] deviceBypB    = [%d]", 3, 1, 0x80}, {"Device [%d] deviceBypA    = [%d]", 3, 1, 0x40},
    {"Device [%d] BypB          = [%d]", 3, 1, 0x20}, {"Device [%d] BypA          = [%d]", 3, 1, 0x10},
    {"Device [%d] deviceOff     = [%d]", 3, 1, 0x08}, {"Device [%d] faultReqstd   = [%d]", 3, 1, 0x04},
    {"Device [%d] faultSensed   = [%d]", 3, 1, 0x02}, {"Device [%d] appClientBypB = [%d]", 3, 1, 0x01},
};

constexpr FieldLine_t POWER_SUPPLY_STATUS_LINES[] = {
    {"PowerSupply [%d] commonStatus   = [%d]", 0, 1, 0xFF}, {"PowerSupply [%d] reserved1      = [%d]", 1, 1, 0xFE},
    {"PowerSupply [%d] ident          = [%d]", 1, 1, 0x01}, {"PowerSupply [%d] rsvd1          = [%d]", 2, 1, 0x80},
    {"PowerSupply [%d] dcOverCurrent  = [%d]", 2, 1, 0x40}, {"PowerSupply [%d] dcUnderVoltage = [%d]", 2, 1, 0x20},
    {"PowerSupply [%d] dcOverVoltage  = [%d]", 2, 1, 0x10}, {"PowerSupply [%d] reserved2      = [%d]", 2, 1, 0x0F},
    {"PowerSupply [%d] dcFail         = [%d]", 3, 1, 0x80}, {"PowerSupply [%d] acFail         = [%d]", 3, 1, 0x40},
    {"PowerSupply [%d] tempWarn       = [%d]", 3, 1, 0x20}, {"PowerSupply [%d] ovrtmpFail     = [%d]", 3, 1, 0x10},
    {"PowerSupply [%d] off            = [%d]", 3, 1, 0x08}, {"PowerSupply [%d] rqstedOn       = [%d]", 3, 1, 0x04},
    {"PowerSupply [%d] fail           = [%d]", 3, 1, 0x02}, {"PowerSupply [%d] rsvd2          = [%d]", 3, 1, 0x01},
};

constexpr FieldLine_t COOLING_STATUS_LINES[] = {
    {"Cooling [%d] commonStatus        = [%d]", 0, 1, 0xFF}, {"Cooling [%d] actualFanSpeedMsb   = [%d]", 1, 1, 0xC0},
    {"Cooling [%d] reserved            = [%d]", 1, 1, 0x3E}, {"Cooling [%d] ident               = [%d]", 1, 1, 0x01},
    {"Cooling [%d] actualFanSpeed      = [%d]", 2, 1, 0xFF}, {"Cooling [%d] actualSpeedCode     = [%d]", 3, 1, 0xE0},
    {"Cooling [%d] rsvd1               = [%d]", 3, 1, 0x10}, {"Cooling [%d] off                 = [%d]", 3, 1, 0x08},
    {"Cooling [%d] rqstedOn            = [%d]", 3, 1, 0x04}, {"Cooling [%d] fail                = [%d]", 3, 1, 0x02},
    {"Cooling [%d] rsvd2               = [%d]", 3, 1, 0x01},
};

constexpr FieldLine_t ALARM_STATUS_LINES[] = {
    {"Audible Alarm [%d] commonStatus  = [%d]", 0, 1, 0xFF}, {"Audible Alarm [%d] reserved1     = [%d]", 1, 1, 0xFE},
    {"Audible Alarm [%d] ident         = [%d]", 1, 1, 0x01}, {"Audible Alarm [%d] reserved2     = [%d]", 2, 1, 0xFF},
    {"Audible Alarm [%d] unrecov       = [%d]", 3, 1, 0x80}, {"Audible Alarm [%d] crit          = [%d]", 3, 1, 0x40},
    {"Audible Alarm [%d] nonCrit       = [%d]", 3, 1, 0x20}, {"Audible Alarm [%d] info          = [%d]", 3, 1, 0x10},
    {"Audible Alarm [%d] remind        = [%d]", 3, 1, 0x08}, {"Audible Alarm [%d] rsvd          = [%d]", 3, 1, 0x04},
    {"Audible Alarm [%d] muted         = [%d]", 3, 1, 0x02}, {"Audible Alarm [%d] rqstMute      = [%d]", 3, 1, 0x01},
};

constexpr FieldLine_t DEVICE_CONTROL_LINES[] = {
    {"Device [%d] commonControl = [%d]", 0, 1, 0xFF}, {"Device [%d] reserved1     = [%d]", 1, 1, 0xFF},
    {"Device [%d] reserved2     = [%d]", 2, 1, 0x80}, {"Device [%d] rqstIdent     = [%d]", 2, 1, 0x40},
    {"Device [%d] rqstRemove    = [%d]", 2, 1, 0x20}, {"Device [%d] rqstInsert    = [%d]", 2, 1, 0x10},
    {"Device [%d] reserved3     = [%d]", 2, 1, 0x0C}, {"Device [%d] rqstActive    = [%d]", 2, 1, 0x01},
    {"Device [%d] reserved4     = [%d]", 3, 1, 0xC0}, {"Device [%d] enableBypB    = [%d]", 3, 1, 0x20},
    {"Device [%d] enableBypA    = [%d]", 3, 1, 0x10}, {"Device [%d] rqstFault     = [%d]", 3, 1, 0x04},
    {"Device [%d] reserved5     = [%d]", 3, 1, 0x03},
};

constexpr FieldLine_t POWER_SUPPLY_CONTROL_LINES[] = {
    {"PowerSupply [%d] commonControl = [%d]", 0, 1, 0xFF}, {"PowerSupply [%d] reserved1     = [%d]", 1, 1, 0xFE},
    {"PowerSupply [%d] rqstIdent     = [%d]", 1, 1, 0x01}, {"PowerSupply [%d] reserved2     = [%d]", 2, 1, 0xFF},
    {"PowerSupply [%d] reserved3     = [%d]", 3, 1, 0xF8}, {"PowerSupply [%d] rqstOn        = [%d]", 3, 1, 0x04},
    {"PowerSupply [%d] rqstFail      = [%d]", 3, 1, 0x02}, {"PowerSupply [%d] rsvd          = [%d]", 3, 1, 0x01},
};

constexpr FieldLine_t COOLING_CONTROL_LINES[] = {
    {"Cooling [%d] commonControl      = [%d]", 0, 1, 0xFF}, {"Cooling [%d] reserved1          = [%d]", 1, 1, 0xFE},
    {"Cooling [%d] rqstIdent          = [%d]", 1, 1, 0x01}, {"Cooling [%d] reserved2          = [%d]", 2, 1, 0xFF},
    {"Cooling [%d] requestedSpeedCode = [%d]", 3, 1, 0xE0}, {"Cooling [%d] reserved3          = [%d]", 3, 1, 0x18},
    {"Cooling [%d] rqstOn             = [%d]", 3, 1, 0x04}, {"Cooling [%d] rqstFail           = [%d]", 3, 1, 0x02},
    {"Cooling [%d] rsvd               = [%d]", 3, 1, 0x01},
};

constexpr FieldLine_t ALARM_CONTROL_LINES[] = {
    {"Audible Alarm [%d] commonControl= [%d]", 0, 1, 0xFF}, {"Audible Alarm [%d] reserved1   = [%d]", 1, 1, 0xFE},
    {"Audible Alarm [%d] rqstIdent   = [%d]", 1, 1, 0x01},  {"Audible Alarm [%d] reserved2   = [%d]", 2, 1, 0xFF},
    {"Audible Alarm [%d] unrecov     = [%d]", 3, 1, 0x80},  {"Audible Alarm [%d] crit        = [%d]", 3, 1, 0x40},
    {"Audible Alarm [%d] nonCrit     = [%d]", 3, 1, 0x20},  {"Audible Alarm [%d] info        = [%d]", 3, 1, 0x10},
    {"Audible Alarm [%d] setRemind   = [%d]", 3, 1, 0x08},  {"Audible Alarm [%d] rsvd1       = [%d]", 3, 1, 0x04},
    {"Audible Alarm [%d] setMute     = [%d]", 3, 1, 0x02},  {"Audible Alarm [%d] rsvd2       = [%d]", 3, 1, 0x01},
};

constexpr FieldLine_t RECEIVE_COMMAND_LINES[] = {
    {"RCV DIAG RES Cmd operation code      = [%d]", 0, 1, 0xFF},
    {"RCV DIAG RES Cmd reserved            = [%d]", 1, 1, 0x7F},
    {"RCV DIAG RES Cmd page code           = [%d]", 2, 1, 0xFF},
    {"RCV DIAG RES Cmd allocation length   = [%d]", 4, 2, 0xFF},
    {"RCV DIAG RES Cmd control             = [0x%x]", 6, 1, 0xFF},
};

constexpr FieldLine_t SEND_COMMAND_LINES[] = {
    {"SND DIAG Cmd operation code      = [0x%x]", 0, 1, 0xFF},
    {"SND DIAG Cmd self test code      = [%d]", 1, 1, 0x07},
    {"SND DIAG Cmd pf                  = [%d]", 1, 1, 0x08},
    {"SND DIAG Cmd reserved bit        = [%d]", 1, 1, 0x10},
    {"SND DIAG Cmd self test           = [%d]", 1, 1, 0x20},
    {"SND DIAG Cmd devOffL             = [%d]", 1, 1, 0x40},
    {"SND DIAG Cmd unitOffL            = [%d]", 1, 1, 0x80},
    {"SND DIAG Cmd reserved            = [%d]", 2, 1, 0xFF},
    {"SND DIAG Cmd parameterListLength = [%d]", 4, 2, 0xFF},
    {"SND DIAG Cmd control             = [0x%x]", 6, 1, 0xFF},
};
/** Names of the pages of the status direction, by page code. */
constexpr const CHAR_t* STATUS_PAGE_NAMES[] = {
    "SES_K_SUPPORTED_DIAGNOSTIC_PAGE",
    "SES_K_CONFIGURATION_DIAGNOSTIC_PAGE",
    "SES_K_ENCLOSURE_STATUS_DIAGNOSTIC_PAGE",
    "SES_K_HELP_TEXT_DIAGNOSTIC_PAGE",
    "SES_K_STRING_IN_DIAGNOSTIC_PAGE",
    "SES_K_THRESHOLD_IN_DIAGNOSTIC_PAGE",
    "SES_K_OBSOLETE_DIAGNOSTIC_PAGE",
    "SES_K_ELEMENT_DESCRIPTOR_DIAGNOSTIC_PAGE",
    "SES_K_SHORT_ENCLOSURE_STATUS_DIAGNOSTIC_PAGE",
    "SES_K_ENCLOSURE_BUSY_DIAGNOSTIC_PAGE",
    "SES_K_ADDITIONAL_ELEMENT_STATUS_DIAGNOSTIC_PAGE",
    "SES_K_SUBENCLOSURE_HELP_TEXT_DIAGNOSTIC_PAGE",
    "SES_K_SUBENCLOSURE_STRING_IN_DIAGNOSTIC_PAGE",
    "SES_K_SUPPORTED_SES_DIAGNOTSTIC_PAGES_DIAGNOSTIC_PAGE",
    "SES_K_DOWNLOAD_MICROCODE_STATUS_DIAGNOSTIC_PAGE",
    "SES_K_SUNENCLOSURE_NICKNAME_STATUS_DIAGNOSTIC_PAGE",
};

/** Names of the pages of the control direction that are only named. */
struct PageName_t {
    U8_t pageCode;
    const CHAR_t* name;
};

constexpr PageName_t CONTROL_PAGE_NAMES[] = {
    {4, "SES_K_STRING_OUT_DIAGNOSTIC_PAGE"},
    {5, "SES_K_THRESHOLD_OUT_DIAGNOSTIC_PAGE"},
    {12, "SES_K_SUBENCLOSURE_STRING_OUT_DIAGNOSTIC_PAGE"},
    {14, "SES_K_DOWNLOAD_MICROCODE_CONTROL_DIAGNOSTIC_PAGE"},
    {15, "SES_K_SUBENCLOSURE_NICKNAME_CONTROL_DIAGNOSTIC_PAGE"},
};
