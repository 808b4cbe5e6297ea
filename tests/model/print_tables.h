/** What the message printer shows: label, place and form of every field, in the order of the lines. */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

namespace model::printed {

/** How a value is shown. TEXT ends at a zero or at the field's end. */
enum Form_e { DECIMAL, HEX, UPPER_HEX, TEXT };

struct Row_t {
    const char* label;
    std::size_t offset; /**< from the group's first byte */
    std::size_t width = 1;
    std::uint32_t mask = 0xFFFFFFFF;
    Form_e form = DECIMAL;
    bool tight = false; /**< no blank before "=" when the label fills its column */
};

struct Group_t {
    const char* prefix; /**< "[%d]" in it stands for the element's index */
    std::size_t column; /**< of "=" in the format, counted from 1 */
    std::vector<Row_t> rows;
};

inline const Group_t HEADER = {"MMCH ",
                               34,
                               {{"protocol", 12},
                                {"type", 13, 3},
                                {"requestor", 16},
                                {"mmsg_cont", 17},
                                {"recipient_ob_bm", 28, 4, 0xFFFFFFFF, HEX},
                                {"dest_ep", 18},
                                {"handle", 40, 4},
                                {"general_use1", 44, 4, 0xFFFFFFFF, UPPER_HEX},
                                {"mmsg_length", 10, 2},
                                {"return_code", 36, 4}}};

inline const Group_t SENSE_DATA = {"Sense Data ",
                                   41,
                                   {{"responseCode", 0, 1, 0xFE},
                                    {"valid", 0, 1, 0x01},
                                    {"obsolete", 1},
                                    {"senseKey", 2, 1, 0xF0},
                                    {"reserved", 2, 1, 0x08},
                                    {"ili", 2, 1, 0x04},
                                    {"eom", 2, 1, 0x02},
                                    {"filemark", 2, 1, 0x01},
                                    {"information", 4, 4},
                                    {"additionalSenseLength", 8},
                                    {"commandSpecificInformation", 12, 4},
                                    {"additionalSenseCode", 16},
                                    {"additionalSenseCodeQualifier", 17},
                                    {"fieldReplaceableUnitCode", 18},
                                    {"senseKeySpecific7Bits", 19, 1, 0xFE},
                                    {"sksv", 19, 1, 0x01},
                                    {"senseKeySpecific16Bits", 20, 2}}};

inline const Group_t CONFIGURATION_HEADER = {
    "ENC CONF Page ",
    34,
    {{"code", 0, 1, 0xFF, HEX}, {"numberSubEnclosure", 1}, {"pageLength", 2, 2}, {"generationCode", 4, 4}}};

inline const Group_t ENCLOSURE_DESCRIPTOR = {"ENC Descriptor ",
                                             46,
                                             {{"numberESProcesses", 0, 1, 0xE0},
                                              {"reserved1", 0, 1, 0x10},
                                              {"relESProcessId", 0, 1, 0x0E},
                                              {"reserved2", 0, 1, 0x01},
                                              {"subEnclosureId", 1},
                                              {"numberElementTypeDescHdrs", 2},
                                              {"enclosureDescLength", 3},
                                              {"enclosureLogId", 4, 8, 0xFF, TEXT},
                                              {"enclosureVendorId", 12, 8, 0xFF, TEXT},
                                              {"productId", 20, 16, 0xFF, TEXT},
                                              {"productRevLevel", 36, 4}}};

inline const std::vector<Row_t> TYPE_DESCRIPTOR = {
    {"elementType", 0}, {"numberPossibleElements", 1}, {"subEnclosureId", 2}, {"typeDescTextLength", 3}};

/** A type descriptor's number in the page, and how it is shown; temperature sensors, number 3, never are. */
struct NumberedGroup_t {
    std::size_t number;
    Group_t group;
};
inline const NumberedGroup_t TYPE_DESCRIPTORS[] = {{0, {"ENC Device Descriptor ", 46, TYPE_DESCRIPTOR}},
                                                   {1, {"ENC Power Supply Descriptor ", 54, TYPE_DESCRIPTOR}},
                                                   {2, {"ENC Cooling Descriptor ", 50, TYPE_DESCRIPTOR}},
                                                   {4, {"ENC Audible Alarm Descriptor ", 50, TYPE_DESCRIPTOR}}};

inline const Group_t STATUS_HEADER = {"ENC STAT Page ",
                                      34,
                                      {{"code", 0, 1, 0xFF, HEX},
                                       {"unrecov", 1, 1, 0x80},
                                       {"crit", 1, 1, 0x40},
                                       {"non crit", 1, 1, 0x20},
                                       {"info", 1, 1, 0x10},
                                       {"invop", 1, 1, 0x08},
                                       {"reserved", 1, 1, 0x07},
                                       {"page length", 2, 2},
                                       {"generation code", 4, 4}}};

inline const Group_t CONTROL_HEADER = {"ENC CONT Page ",
                                       34,
                                       {{"code", 0, 1, 0xFF, HEX},
                                        {"unrecov", 1, 1, 0x80},
                                        {"crit", 1, 1, 0x40},
                                        {"non crit", 1, 1, 0x20},
                                        {"info", 1, 1, 0x10},
                                        {"reserved", 1, 1, 0x0F},
                                        {"page length", 2, 2},
                                        {"generation code", 4, 4}}};

inline const Group_t RECEIVE_COMMAND = {"RCV DIAG RES Cmd ",
                                        38,
                                        {{"operation code", 0},
                                         {"reserved", 1, 1, 0x7F},
                                         {"page code", 2},
                                         {"allocation length", 4, 2},
                                         {"control", 6, 1, 0xFF, HEX}}};

inline const Group_t SEND_COMMAND = {"SND DIAG Cmd ",
                                     34,
                                     {{"operation code", 0, 1, 0xFF, HEX},
                                      {"self test code", 1, 1, 0x07},
                                      {"pf", 1, 1, 0x08},
                                      {"reserved bit", 1, 1, 0x10},
                                      {"self test", 1, 1, 0x20},
                                      {"devOffL", 1, 1, 0x40},
                                      {"unitOffL", 1, 1, 0x80},
                                      {"reserved", 2},
                                      {"parameterListLength", 4, 2},
                                      {"control", 6, 1, 0xFF, HEX}}};

/** One element type of a page: its overall word, then its elements. */
struct List_t {
    Group_t overall;
    Group_t element;
};

/** In page order, the temperature sensors between the last two left out. */
using Lists_t = std::array<List_t, 4>;

inline const Lists_t STATUS_LISTS = {{
    {{"Device      ", 27, {{"overallStatus", 0, 4, 0xFFFFFFFF, HEX}}},
     {"Device [%d] ",
      27,
      {{"commonStatus", 0},
       {"slotAddress", 1},
       {"report", 2, 1, 0x80},
       {"ident", 2, 1, 0x40},
       {"rmv", 2, 1, 0x20},
       {"readyToInsert", 2, 1, 0x10},
       {"enclosureBypB", 2, 1, 0x08},
       {"enclosureBypA", 2, 1, 0x04},
       {"doNotRemove", 2, 1, 0x02},
       {"appClientBypA", 2, 1, 0x01},
       {"deviceBypB", 3, 1, 0x80},
       {"deviceBypA", 3, 1, 0x40},
       {"BypB", 3, 1, 0x20},
       {"BypA", 3, 1, 0x10},
       {"deviceOff", 3, 1, 0x08},
       {"faultReqstd", 3, 1, 0x04},
       {"faultSensed", 3, 1, 0x02},
       {"appClientBypB", 3, 1, 0x01}}}},
    {{"PowerSupply ", 27, {{"overallStatus", 0, 4, 0xFFFFFFFF, HEX}}},
     {"PowerSupply [%d] ",
      33,
      {{"commonStatus", 0},
       {"reserved1", 1, 1, 0xFE},
       {"ident", 1, 1, 0x01},
       {"rsvd1", 2, 1, 0x80},
       {"dcOverCurrent", 2, 1, 0x40},
       {"dcUnderVoltage", 2, 1, 0x20},
       {"dcOverVoltage", 2, 1, 0x10},
       {"reserved2", 2, 1, 0x0F},
       {"dcFail", 3, 1, 0x80},
       {"acFail", 3, 1, 0x40},
       {"tempWarn", 3, 1, 0x20},
       {"ovrtmpFail", 3, 1, 0x10},
       {"off", 3, 1, 0x08},
       {"rqstedOn", 3, 1, 0x04},
       {"fail", 3, 1, 0x02},
       {"rsvd2", 3, 1, 0x01}}}},
    {{"Cooling ", 23, {{"overallStatus", 0, 4, 0xFFFFFFFF, HEX}}},
     {"Cooling [%d] ",
      34,
      {{"commonStatus", 0},
       {"actualFanSpeedMsb", 1, 1, 0xC0},
       {"reserved", 1, 1, 0x3E},
       {"ident", 1, 1, 0x01},
       {"actualFanSpeed", 2},
       {"actualSpeedCode", 3, 1, 0xE0},
       {"rsvd1", 3, 1, 0x10},
       {"off", 3, 1, 0x08},
       {"rqstedOn", 3, 1, 0x04},
       {"fail", 3, 1, 0x02},
       {"rsvd2", 3, 1, 0x01}}}},
    {{"Audible Alarm ", 34, {{"overallStatus", 0, 4, 0xFFFFFFFF, HEX}}},
     {"Audible Alarm [%d] ",
      34,
      {{"commonStatus", 0},
       {"reserved1", 1, 1, 0xFE},
       {"ident", 1, 1, 0x01},
       {"reserved2", 2},
       {"unrecov", 3, 1, 0x80},
       {"crit", 3, 1, 0x40},
       {"nonCrit", 3, 1, 0x20},
       {"info", 3, 1, 0x10},
       {"remind", 3, 1, 0x08},
       {"rsvd", 3, 1, 0x04},
       {"muted", 3, 1, 0x02},
       {"rqstMute", 3, 1, 0x01}}}},
}};

/** The device's doNotRemove and deviceOff are not shown; overall words are decimal here, in their elements' column. */
inline const Lists_t CONTROL_LISTS = {{
    {{"Device ", 27, {{"overallControl", 0, 4}}},
     {"Device [%d] ",
      27,
      {{"commonControl", 0},
       {"reserved1", 1},
       {"reserved2", 2, 1, 0x80},
       {"rqstIdent", 2, 1, 0x40},
       {"rqstRemove", 2, 1, 0x20},
       {"rqstInsert", 2, 1, 0x10},
       {"reserved3", 2, 1, 0x0C},
       {"rqstActive", 2, 1, 0x01},
       {"reserved4", 3, 1, 0xC0},
       {"enableBypB", 3, 1, 0x20},
       {"enableBypA", 3, 1, 0x10},
       {"rqstFault", 3, 1, 0x04},
       {"reserved5", 3, 1, 0x03}}}},
    {{"PowerSupply ", 32, {{"overallControl", 0, 4}}},
     {"PowerSupply [%d] ",
      32,
      {{"commonControl", 0},
       {"reserved1", 1, 1, 0xFE},
       {"rqstIdent", 1, 1, 0x01},
       {"reserved2", 2},
       {"reserved3", 3, 1, 0xF8},
       {"rqstOn", 3, 1, 0x04},
       {"rqstFail", 3, 1, 0x02},
       {"rsvd", 3, 1, 0x01}}}},
    {{"Cooling ", 33, {{"overallControl", 0, 4}}},
     {"Cooling [%d] ",
      33,
      {{"commonControl", 0},
       {"reserved1", 1, 1, 0xFE},
       {"rqstIdent", 1, 1, 0x01},
       {"reserved2", 2},
       {"requestedSpeedCode", 3, 1, 0xE0},
       {"reserved3", 3, 1, 0x18},
       {"rqstOn", 3, 1, 0x04},
       {"rqstFail", 3, 1, 0x02},
       {"rsvd", 3, 1, 0x01}}}},
    {{"Audible Alarm ", 32, {{"overallControl", 0, 4}}},
     {"Audible Alarm [%d] ",
      32,
      {{"commonControl", 0, 1, 0xFFFFFFFF, DECIMAL, true},
       {"reserved1", 1, 1, 0xFE},
       {"rqstIdent", 1, 1, 0x01},
       {"reserved2", 2},
       {"unrecov", 3, 1, 0x80},
       {"crit", 3, 1, 0x40},
       {"nonCrit", 3, 1, 0x20},
       {"info", 3, 1, 0x10},
       {"setRemind", 3, 1, 0x08},
       {"rsvd1", 3, 1, 0x04},
       {"setMute", 3, 1, 0x02},
       {"rsvd2", 3, 1, 0x01}}}},
}};

/** By page code, for what is received or asked for; two are spelled so. */
inline constexpr const char* PAGES[] = {
    "SUPPORTED_DIAGNOSTIC_PAGE",
    "CONFIGURATION_DIAGNOSTIC_PAGE",
    "ENCLOSURE_STATUS_DIAGNOSTIC_PAGE",
    "HELP_TEXT_DIAGNOSTIC_PAGE",
    "STRING_IN_DIAGNOSTIC_PAGE",
    "THRESHOLD_IN_DIAGNOSTIC_PAGE",
    "OBSOLETE_DIAGNOSTIC_PAGE",
    "ELEMENT_DESCRIPTOR_DIAGNOSTIC_PAGE",
    "SHORT_ENCLOSURE_STATUS_DIAGNOSTIC_PAGE",
    "ENCLOSURE_BUSY_DIAGNOSTIC_PAGE",
    "ADDITIONAL_ELEMENT_STATUS_DIAGNOSTIC_PAGE",
    "SUBENCLOSURE_HELP_TEXT_DIAGNOSTIC_PAGE",
    "SUBENCLOSURE_STRING_IN_DIAGNOSTIC_PAGE",
    "SUPPORTED_SES_DIAGNOTSTIC_PAGES_DIAGNOSTIC_PAGE",
    "DOWNLOAD_MICROCODE_STATUS_DIAGNOSTIC_PAGE",
    "SUNENCLOSURE_NICKNAME_STATUS_DIAGNOSTIC_PAGE",
};

/** By page code, for what is sent with a SEND DIAGNOSTIC. */
inline const std::map<std::uint8_t, const char*> CONTROL_PAGES = {
    {4, "STRING_OUT_DIAGNOSTIC_PAGE"},
    {5, "THRESHOLD_OUT_DIAGNOSTIC_PAGE"},
    {12, "SUBENCLOSURE_STRING_OUT_DIAGNOSTIC_PAGE"},
    {14, "DOWNLOAD_MICROCODE_CONTROL_DIAGNOSTIC_PAGE"},
    {15, "SUBENCLOSURE_NICKNAME_CONTROL_DIAGNOSTIC_PAGE"},
};

} // namespace model::printed
