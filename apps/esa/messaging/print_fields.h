/**
 * What the message printer prints: one line a field, in the order of the table. Labels and their columns are read by
 * people and by log scanners and are kept to the character; where a field lies is the records' own business.
 */
#pragma once

#include <cstddef>
#include <span>

#include "mmsg.h"
#include "ses_mesgs.h"

/** How a field is printed: record's name, label's width, label, value. */
inline constexpr const CHAR_t* DECIMAL = "%s %-*s = [%d]";
inline constexpr const CHAR_t* HEX = "%s %-*s = [0x%x]";
inline constexpr const CHAR_t* UPPER_HEX = "%s %-*s = [0x%X]";
inline constexpr const CHAR_t* TOUCHING = "%s %-*s= [%d]"; /**< the label reaches beyond its column */

/** One field of a record. */
struct FieldLine_t {
    const CHAR_t* label;
    std::size_t offset; /**< first byte of the field in its record */
    std::size_t size;   /**< bytes, big-endian */
    U8_t mask;          /**< bits of a one-byte field */
    const CHAR_t* form = DECIMAL;
};

/** The lines of a record, each behind the record's name. */
struct RecordLines_t {
    const CHAR_t* name;
    int labelWidth;
    std::span<const FieldLine_t> fields;
};

template <typename Field>
inline constexpr U8_t MASK_OF = 0xFF;
template <U8_t MASK>
inline constexpr U8_t MASK_OF<bits_t<MASK>> = MASK;

/** A field of the record that RECORD names while its table is written. */
#define FIELD(member) LABELLED(#member, member)
#define LABELLED(label, member) FORMED(label, member, DECIMAL)
#define FORMED(label, member, form)                                                                                    \
    { label, offsetof(RECORD, member), sizeof(RECORD::member), MASK_OF<decltype(RECORD::member)>, form }

// clang-format off
#define RECORD MMCH_t
inline constexpr FieldLine_t HEADER_FIELDS[] = {
    LABELLED("protocol", opcode.request.protocol), LABELLED("type", opcode.request.type), FIELD(requestor),
    FIELD(mmsg_cont), FORMED("recipient_ob_bm", recipient_ob_bm[0], HEX), FIELD(dest_ep), FIELD(handle),
    FORMED("general_use1", general_use1, UPPER_HEX), FIELD(mmsg_length), FIELD(return_code),
};
#undef RECORD
#define RECORD SenseData_t
inline constexpr FieldLine_t SENSE_FIELDS[] = {
    FIELD(responseCode), FIELD(valid), FIELD(obsolete), FIELD(senseKey), FIELD(reserved), FIELD(ili), FIELD(eom),
    FIELD(filemark), FIELD(information), FIELD(additionalSenseLength), FIELD(commandSpecificInformation),
    FIELD(additionalSenseCode), FIELD(additionalSenseCodeQualifier), FIELD(fieldReplaceableUnitCode),
    FIELD(senseKeySpecific7Bits), FIELD(sksv), FIELD(senseKeySpecific16Bits),
};
#undef RECORD
#define RECORD ConfDiagPageHdr_t
inline constexpr FieldLine_t CONFIGURATION_HEADER_FIELDS[] = {
    FORMED("code", pageCode, HEX), FIELD(numberSubEnclosure), FIELD(pageLength), FIELD(generationCode),
};
#undef RECORD
#define RECORD EnclosureDescHdr_t
inline constexpr FieldLine_t DESCRIPTOR_FIELDS[] = {
    FIELD(numberESProcesses), FIELD(reserved1), FIELD(relESProcessId), FIELD(reserved2), FIELD(subEnclosureId),
    FIELD(numberElementTypeDescHdrs), FIELD(enclosureDescLength),
};
#undef RECORD
#define RECORD TypeDescHdr_t
inline constexpr FieldLine_t TYPE_FIELDS[] = {
    FIELD(elementType), FIELD(numberPossibleElements), FIELD(subEnclosureId), FIELD(typeDescTextLength),
};
#undef RECORD
#define RECORD EncStatDiagPageHdr_t
inline constexpr FieldLine_t STATUS_HEADER_FIELDS[] = {
    FORMED("code", pageCode, HEX), FIELD(unrecov), FIELD(crit), LABELLED("non crit", nonCrit), FIELD(info),
    FIELD(invop), FIELD(reserved), LABELLED("page length", pageLength), LABELLED("generation code", generationCode),
};
#undef RECORD
#define RECORD EncContDiagPageHdr_t
inline constexpr FieldLine_t CONTROL_HEADER_FIELDS[] = {
    FORMED("code", pageCode, HEX), FIELD(unrecov), FIELD(crit), LABELLED("non crit", nonCrit), FIELD(info),
    FIELD(reserved), LABELLED("page length", pageLength), LABELLED("generation code", generationCode),
};
#undef RECORD
#define RECORD DeviceElementStat_t
inline constexpr FieldLine_t DEVICE_STATUS_FIELDS[] = {
    FIELD(commonStatus), FIELD(slotAddress), FIELD(report), FIELD(ident), FIELD(rmv), FIELD(readyToInsert),
    FIELD(enclosureBypB), FIELD(enclosureBypA), FIELD(doNotRemove), FIELD(appClientBypA), FIELD(deviceBypB),
    FIELD(deviceBypA), FIELD(BypB), FIELD(BypA), FIELD(deviceOff), FIELD(faultReqstd), FIELD(faultSensed),
    FIELD(appClientBypB),
};
#undef RECORD
#define RECORD PowerSupplyElementStat_t
inline constexpr FieldLine_t POWER_SUPPLY_STATUS_FIELDS[] = {
    FIELD(commonStatus), FIELD(reserved1), FIELD(ident), FIELD(rsvd1), FIELD(dcOverCurrent), FIELD(dcUnderVoltage),
    FIELD(dcOverVoltage), FIELD(reserved2), FIELD(dcFail), FIELD(acFail), FIELD(tempWarn), FIELD(ovrtmpFail),
    FIELD(off), FIELD(rqstedOn), FIELD(fail), FIELD(rsvd2),
};
#undef RECORD
#define RECORD CoolingElementStat_t
inline constexpr FieldLine_t COOLING_STATUS_FIELDS[] = {
    FIELD(commonStatus), FIELD(actualFanSpeedMsb), FIELD(reserved), FIELD(ident), FIELD(actualFanSpeed),
    FIELD(actualSpeedCode), FIELD(rsvd1), FIELD(off), FIELD(rqstedOn), FIELD(fail), FIELD(rsvd2),
};
#undef RECORD
#define RECORD AudibleAlarmElementStat_t
inline constexpr FieldLine_t ALARM_STATUS_FIELDS[] = {
    FIELD(commonStatus), FIELD(reserved1), FIELD(ident), FIELD(reserved2), FIELD(unrecov), FIELD(crit), FIELD(nonCrit),
    FIELD(info), FIELD(remind), FIELD(rsvd), FIELD(muted), FIELD(rqstMute),
};
#undef RECORD
#define RECORD DeviceElementCont_t
inline constexpr FieldLine_t DEVICE_CONTROL_FIELDS[] = {
    FIELD(commonControl), FIELD(reserved1), FIELD(reserved2), FIELD(rqstIdent), FIELD(rqstRemove), FIELD(rqstInsert),
    FIELD(reserved3), FIELD(rqstActive), FIELD(reserved4), FIELD(enableBypB), FIELD(enableBypA), FIELD(rqstFault),
    FIELD(reserved5),
};
#undef RECORD
#define RECORD PowerSupplyElementCont_t
inline constexpr FieldLine_t POWER_SUPPLY_CONTROL_FIELDS[] = {
    FIELD(commonControl), FIELD(reserved1), FIELD(rqstIdent), FIELD(reserved2), FIELD(reserved3), FIELD(rqstOn),
    FIELD(rqstFail), FIELD(rsvd),
};
#undef RECORD
#define RECORD CoolingElementCont_t
inline constexpr FieldLine_t COOLING_CONTROL_FIELDS[] = {
    FIELD(commonControl), FIELD(reserved1), FIELD(rqstIdent), FIELD(reserved2), FIELD(requestedSpeedCode),
    FIELD(reserved3), FIELD(rqstOn), FIELD(rqstFail), FIELD(rsvd),
};
#undef RECORD
#define RECORD AudibleAlarmElementCont_t
inline constexpr FieldLine_t ALARM_CONTROL_FIELDS[] = {
    FORMED("commonControl", commonControl, TOUCHING), FIELD(reserved1), FIELD(rqstIdent), FIELD(reserved2),
    FIELD(unrecov), FIELD(crit), FIELD(nonCrit), FIELD(info), FIELD(setRemind), FIELD(rsvd1), FIELD(setMute),
    FIELD(rsvd2),
};
#undef RECORD
#define RECORD RcvDiagResCommand_t
inline constexpr FieldLine_t RECEIVE_COMMAND_FIELDS[] = {
    LABELLED("operation code", operationCode), FIELD(reserved), LABELLED("page code", pageCode),
    LABELLED("allocation length", allocationLength), FORMED("control", control, HEX),
};
#undef RECORD
#define RECORD SndDiagCommand_t
inline constexpr FieldLine_t SEND_COMMAND_FIELDS[] = {
    FORMED("operation code", operationCode, HEX), LABELLED("self test code", selfTestCode), FIELD(pf),
    LABELLED("reserved bit", reservedBit), LABELLED("self test", selfTest), FIELD(devOffL), FIELD(unitOffL),
    FIELD(reserved), FIELD(parameterListLength), FORMED("control", control, HEX),
};
#undef RECORD

// clang-format on
#undef FIELD
#undef LABELLED
#undef FORMED

inline constexpr RecordLines_t HEADER_LINES = {"MMCH", 27, HEADER_FIELDS};
inline constexpr RecordLines_t SENSE_LINES = {"Sense Data", 28, SENSE_FIELDS};
inline constexpr RecordLines_t CONFIGURATION_HEADER_LINES = {"ENC CONF Page", 18, CONFIGURATION_HEADER_FIELDS};
inline constexpr RecordLines_t DESCRIPTOR_LINES = {"ENC Descriptor", 29, DESCRIPTOR_FIELDS};
inline constexpr RecordLines_t DEVICE_TYPE_LINES = {"ENC Device Descriptor", 22, TYPE_FIELDS};
inline constexpr RecordLines_t POWER_SUPPLY_TYPE_LINES = {"ENC Power Supply Descriptor", 24, TYPE_FIELDS};
inline constexpr RecordLines_t COOLING_TYPE_LINES = {"ENC Cooling Descriptor", 25, TYPE_FIELDS};
inline constexpr RecordLines_t ALARM_TYPE_LINES = {"ENC Audible Alarm Descriptor", 19, TYPE_FIELDS};
inline constexpr RecordLines_t STATUS_HEADER_LINES = {"ENC STAT Page", 18, STATUS_HEADER_FIELDS};
inline constexpr RecordLines_t CONTROL_HEADER_LINES = {"ENC CONT Page", 18, CONTROL_HEADER_FIELDS};
inline constexpr RecordLines_t DEVICE_STATUS_LINES = {"Device", 13, DEVICE_STATUS_FIELDS};
inline constexpr RecordLines_t POWER_SUPPLY_STATUS_LINES = {"PowerSupply", 14, POWER_SUPPLY_STATUS_FIELDS};
inline constexpr RecordLines_t COOLING_STATUS_LINES = {"Cooling", 19, COOLING_STATUS_FIELDS};
inline constexpr RecordLines_t ALARM_STATUS_LINES = {"Audible Alarm", 13, ALARM_STATUS_FIELDS};
inline constexpr RecordLines_t DEVICE_CONTROL_LINES = {"Device", 13, DEVICE_CONTROL_FIELDS};
inline constexpr RecordLines_t POWER_SUPPLY_CONTROL_LINES = {"PowerSupply", 13, POWER_SUPPLY_CONTROL_FIELDS};
inline constexpr RecordLines_t COOLING_CONTROL_LINES = {"Cooling", 18, COOLING_CONTROL_FIELDS};
inline constexpr RecordLines_t ALARM_CONTROL_LINES = {"Audible Alarm", 11, ALARM_CONTROL_FIELDS};
inline constexpr RecordLines_t RECEIVE_COMMAND_LINES = {"RCV DIAG RES Cmd", 19, RECEIVE_COMMAND_FIELDS};
inline constexpr RecordLines_t SEND_COMMAND_LINES = {"SND DIAG Cmd", 19, SEND_COMMAND_FIELDS};

/** Names of the pages of the status direction, and of those of the control direction that are only named. */
struct PageName_t {
    U8_t pageCode;
    const CHAR_t* name;
};

// clang-format off
#define PAGE(name) {SES_K_##name##_DIAGNOSTIC_PAGE, "SES_K_" #name "_DIAGNOSTIC_PAGE"}
inline constexpr PageName_t STATUS_PAGE_NAMES[] = {
    PAGE(SUPPORTED), PAGE(CONFIGURATION), PAGE(ENCLOSURE_STATUS), PAGE(HELP_TEXT), PAGE(STRING_IN), PAGE(THRESHOLD_IN),
    PAGE(OBSOLETE), PAGE(ELEMENT_DESCRIPTOR), PAGE(SHORT_ENCLOSURE_STATUS), PAGE(ENCLOSURE_BUSY),
    PAGE(ADDITIONAL_ELEMENT_STATUS), PAGE(SUBENCLOSURE_HELP_TEXT), PAGE(SUBENCLOSURE_STRING_IN),
    PAGE(SUPPORTED_SES_DIAGNOTSTIC_PAGES), PAGE(DOWNLOAD_MICROCODE_STATUS), PAGE(SUNENCLOSURE_NICKNAME_STATUS),
};
inline constexpr PageName_t CONTROL_PAGE_NAMES[] = {
    PAGE(STRING_OUT), PAGE(THRESHOLD_OUT), PAGE(SUBENCLOSURE_STRING_OUT), PAGE(DOWNLOAD_MICROCODE_CONTROL),
    PAGE(SUBENCLOSURE_NICKNAME_CONTROL),
};
#undef PAGE
// clang-format on
