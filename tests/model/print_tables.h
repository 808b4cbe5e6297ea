/** What the message printer shows: label, place and form of every field, in the order of the lines. */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace model::printed {

struct Row_t {
    std::string label; /**< the line up to its "="; "%d" in it stands for the element's index */
    std::size_t offset = 0;
    std::size_t width = 1;
    std::uint32_t mask = 0xFFFFFFFF;
    char form = 'd'; /**< d, x, X as printf has them; s: a text, which ends at a zero or at the field's end */
};
using Rows_t = std::vector<Row_t>;

/**
 * The fields of a record, each as "label offset", parted by commas. Behind the offset: "+4" a width in bytes, "&F0" a
 * mask, then the form where it is not decimal. `column` is that of "=" in the format, counted from 1: a label fills up
 * to it, and one that is longer has one blank, or none with "!".
 */
Rows_t rows(const char* prefix, std::size_t column, const char* fields);

inline const Rows_t HEADER =
    rows("MMCH ", 34,
         "protocol 12, type 13+3, requestor 16, mmsg_cont 17, recipient_ob_bm 28+4 x, dest_ep 18, handle 40+4, "
         "general_use1 44+4 X, mmsg_length 10+2, return_code 36+4");

inline const Rows_t SENSE_DATA =
    rows("Sense Data ", 41,
         "responseCode 0&FE, valid 0&01, obsolete 1, senseKey 2&F0, reserved 2&08, ili 2&04, eom 2&02, filemark 2&01, "
         "information 4+4, additionalSenseLength 8, commandSpecificInformation 12+4, additionalSenseCode 16, "
         "additionalSenseCodeQualifier 17, fieldReplaceableUnitCode 18, senseKeySpecific7Bits 19&FE, sksv 19&01, "
         "senseKeySpecific16Bits 20+2");

inline const Rows_t CONFIGURATION_HEADER =
    rows("ENC CONF Page ", 34, "code 0 x, numberSubEnclosure 1, pageLength 2+2, generationCode 4+4");

inline const Rows_t ENCLOSURE_DESCRIPTOR =
    rows("ENC Descriptor ", 46,
         "numberESProcesses 0&E0, reserved1 0&10, relESProcessId 0&0E, reserved2 0&01, subEnclosureId 1, "
         "numberElementTypeDescHdrs 2, enclosureDescLength 3, enclosureLogId 4+8 s, enclosureVendorId 12+8 s, "
         "productId 20+16 s, productRevLevel 36+4");

inline constexpr const char* TYPE_DESCRIPTOR =
    "elementType 0, numberPossibleElements 1, subEnclosureId 2, typeDescTextLength 3";

/** By a descriptor's number in the page; temperature sensors, number 3, are never shown. */
inline const std::map<std::size_t, Rows_t> TYPE_DESCRIPTORS = {
    {0, rows("ENC Device Descriptor ", 46, TYPE_DESCRIPTOR)},
    {1, rows("ENC Power Supply Descriptor ", 54, TYPE_DESCRIPTOR)},
    {2, rows("ENC Cooling Descriptor ", 50, TYPE_DESCRIPTOR)},
    {4, rows("ENC Audible Alarm Descriptor ", 50, TYPE_DESCRIPTOR)}};

inline const Rows_t STATUS_HEADER =
    rows("ENC STAT Page ", 34,
         "code 0 x, unrecov 1&80, crit 1&40, non crit 1&20, info 1&10, invop 1&08, reserved 1&07, page length 2+2, "
         "generation code 4+4");

inline const Rows_t CONTROL_HEADER =
    rows("ENC CONT Page ", 34,
         "code 0 x, unrecov 1&80, crit 1&40, non crit 1&20, info 1&10, reserved 1&0F, page length 2+2, "
         "generation code 4+4");

inline const Rows_t RECEIVE_COMMAND =
    rows("RCV DIAG RES Cmd ", 38, "operation code 0, reserved 1&7F, page code 2, allocation length 4+2, control 6 x");

inline const Rows_t SEND_COMMAND =
    rows("SND DIAG Cmd ", 34,
         "operation code 0 x, self test code 1&07, pf 1&08, reserved bit 1&10, self test 1&20, devOffL 1&40, "
         "unitOffL 1&80, reserved 2, parameterListLength 4+2, control 6 x");

/** One element type of a page: its overall word, then its elements. */
struct List_t {
    Rows_t overall;
    Rows_t element;
};

/** In page order, the temperature sensors between the last two left out. */
using Lists_t = std::array<List_t, 4>;

inline const Lists_t STATUS_LISTS = {
    List_t{rows("Device      ", 27, "overallStatus 0+4 x"),
           rows("Device [%d] ", 27,
                "commonStatus 0, slotAddress 1, report 2&80, ident 2&40, rmv 2&20, readyToInsert 2&10, "
                "enclosureBypB 2&08, enclosureBypA 2&04, doNotRemove 2&02, appClientBypA 2&01, deviceBypB 3&80, "
                "deviceBypA 3&40, BypB 3&20, BypA 3&10, deviceOff 3&08, faultReqstd 3&04, faultSensed 3&02, "
                "appClientBypB 3&01")},
    {rows("PowerSupply ", 27, "overallStatus 0+4 x"),
     rows("PowerSupply [%d] ", 33,
          "commonStatus 0, reserved1 1&FE, ident 1&01, rsvd1 2&80, dcOverCurrent 2&40, dcUnderVoltage 2&20, "
          "dcOverVoltage 2&10, reserved2 2&0F, dcFail 3&80, acFail 3&40, tempWarn 3&20, ovrtmpFail 3&10, off 3&08, "
          "rqstedOn 3&04, fail 3&02, rsvd2 3&01")},
    {rows("Cooling ", 23, "overallStatus 0+4 x"),
     rows("Cooling [%d] ", 34,
          "commonStatus 0, actualFanSpeedMsb 1&C0, reserved 1&3E, ident 1&01, actualFanSpeed 2, actualSpeedCode 3&E0, "
          "rsvd1 3&10, off 3&08, rqstedOn 3&04, fail 3&02, rsvd2 3&01")},
    {rows("Audible Alarm ", 34, "overallStatus 0+4 x"),
     rows("Audible Alarm [%d] ", 34,
          "commonStatus 0, reserved1 1&FE, ident 1&01, reserved2 2, unrecov 3&80, crit 3&40, nonCrit 3&20, info 3&10, "
          "remind 3&08, rsvd 3&04, muted 3&02, rqstMute 3&01")},
};

/** The device's doNotRemove and deviceOff are not shown; overall words are decimal here, in their elements' column. */
inline const Lists_t CONTROL_LISTS = {
    List_t{rows("Device ", 27, "overallControl 0+4"),
           rows("Device [%d] ", 27,
                "commonControl 0, reserved1 1, reserved2 2&80, rqstIdent 2&40, rqstRemove 2&20, rqstInsert 2&10, "
                "reserved3 2&0C, rqstActive 2&01, reserved4 3&C0, enableBypB 3&20, enableBypA 3&10, rqstFault 3&04, "
                "reserved5 3&03")},
    {rows("PowerSupply ", 32, "overallControl 0+4"),
     rows("PowerSupply [%d] ", 32,
          "commonControl 0, reserved1 1&FE, rqstIdent 1&01, reserved2 2, reserved3 3&F8, rqstOn 3&04, rqstFail 3&02, "
          "rsvd 3&01")},
    {rows("Cooling ", 33, "overallControl 0+4"),
     rows("Cooling [%d] ", 33,
          "commonControl 0, reserved1 1&FE, rqstIdent 1&01, reserved2 2, requestedSpeedCode 3&E0, reserved3 3&18, "
          "rqstOn 3&04, rqstFail 3&02, rsvd 3&01")},
    {rows("Audible Alarm ", 32, "overallControl 0+4"),
     rows("Audible Alarm [%d] ", 32,
          "commonControl 0 !, reserved1 1&FE, rqstIdent 1&01, reserved2 2, unrecov 3&80, crit 3&40, nonCrit 3&20, "
          "info 3&10, setRemind 3&08, rsvd1 3&04, setMute 3&02, rsvd2 3&01")},
};

/** By page code, for what is received or asked for; two are spelled so. */
inline constexpr const char* PAGES[] = {
    "SUPPORTED",
    "CONFIGURATION",
    "ENCLOSURE_STATUS",
    "HELP_TEXT",
    "STRING_IN",
    "THRESHOLD_IN",
    "OBSOLETE",
    "ELEMENT_DESCRIPTOR",
    "SHORT_ENCLOSURE_STATUS",
    "ENCLOSURE_BUSY",
    "ADDITIONAL_ELEMENT_STATUS",
    "SUBENCLOSURE_HELP_TEXT",
    "SUBENCLOSURE_STRING_IN",
    "SUPPORTED_SES_DIAGNOTSTIC_PAGES",
    "DOWNLOAD_MICROCODE_STATUS",
    "SUNENCLOSURE_NICKNAME_STATUS",
};

/** By page code, for what is sent with a SEND DIAGNOSTIC. */
inline const std::map<std::uint8_t, const char*> CONTROL_PAGES = {
    {4, "STRING_OUT"},
    {5, "THRESHOLD_OUT"},
    {12, "SUBENCLOSURE_STRING_OUT"},
    {14, "DOWNLOAD_MICROCODE_CONTROL"},
    {15, "SUBENCLOSURE_NICKNAME_CONTROL"},
};

} // namespace model::printed
