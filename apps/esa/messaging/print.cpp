#include "messaging/print.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstring>
#include <span>

#include "core/operation.h"
#include "messaging/print_fields.h"
#include "startup.h"

namespace {

/** Places of the four printed types in the configuration page's list; the temperature sensors are never printed. */
constexpr U32_t DEVICE_TYPE = 0;
constexpr U32_t POWER_SUPPLY_TYPE = 1;
constexpr U32_t COOLING_TYPE = 2;
constexpr U32_t ALARM_TYPE = 4;

U32_t valueOf(const U8_t* record, const FieldLine_t& field) {
    const U8_t* bytes = record + field.offset;
    if (field.size == 1) {
        return static_cast<U32_t>((bytes[0] & field.mask) >> std::countr_zero(field.mask));
    }
    U32_t value = 0;
    for (std::size_t i = 0; i < field.size; ++i) {
        value = value << 8 | bytes[i];
    }
    return value;
}

void printFields(const CHAR_t* name, const void* record, const RecordLines_t& lines) {
    for (const FieldLine_t& field : lines.fields) {
        ESA_TRACE(field.form, name, lines.labelWidth, field.label, valueOf(static_cast<const U8_t*>(record), field));
    }
}

void printRecord(const void* record, const RecordLines_t& lines) {
    printFields(lines.name, record, lines);
}

/** Prints one list of a status or control page, overall line first; returns where the next list starts. */
const U8_t* printElements(const U8_t* list, const CHAR_t* overallFormat, U8_t count, const RecordLines_t& lines) {
    ESA_TRACE(overallFormat, U32_t{wireAt<be32_t>(static_cast<const void*>(list))});
    const U8_t* record = list + sizeof(be32_t);
    for (U8_t index = 0; index < count; ++index, record += SES_K_ELEMENT_SIZE) {
        CHAR_t name[32];
        CHAR_t* const number = stpcpy(stpcpy(name, lines.name), " [");
        (void)stpcpy(std::to_chars(number, name + sizeof(name), index).ptr, "]");
        printFields(name, record, lines);
    }
    return record;
}

/** Steps over a list that is not printed. */
const U8_t* skipElements(const U8_t* list, U8_t count) {
    return list + sizeof(be32_t) + SES_K_ELEMENT_SIZE * count;
}

/** A text field that may fill its record without a terminator. */
template <std::size_t N>
void printText(const CHAR_t* format, const U8_t (&text)[N]) {
    ESA_TRACE(format, static_cast<int>(N), reinterpret_cast<const CHAR_t*>(text));
}

void printPageName(std::span<const PageName_t> names, U8_t pageCode) {
    const auto page = std::ranges::find(names, pageCode, &PageName_t::pageCode);
    if (page != names.end()) {
        ESA_TRACE("Page                             = [%s]", page->name);
    } else {
        ESA_TRACE("Un-supported SES Page [%d].", pageCode);
    }
}

void printConfigurationPage(const U8_t* bytes) {
    const auto& page = wireAt<ConfDiagPage_t>(static_cast<const void*>(bytes));
    const EnclosureDescHdr_t& descriptor = page.encDescList.encDescHdr;
    printRecord(&page.confDiagPageHdr, CONFIGURATION_HEADER_LINES);
    printRecord(&descriptor, DESCRIPTOR_LINES);
    printText("ENC Descriptor enclosureLogId                = [%.*s]", descriptor.enclosureLogId);
    printText("ENC Descriptor enclosureVendorId             = [%.*s]", descriptor.enclosureVendorId);
    printText("ENC Descriptor productId                     = [%.*s]", descriptor.productId);
    ESA_TRACE("ENC Descriptor productRevLevel               = [%d]",
              U32_t{wireAt<be32_t>(static_cast<const void*>(descriptor.productRevLevel))});
    const U8_t* types = bytes + sizeof(ConfDiagPageHdr_t) + sizeof(EnclosureDescHdr_t);
    printRecord(types + SES_K_ELEMENT_SIZE * DEVICE_TYPE, DEVICE_TYPE_LINES);
    printRecord(types + SES_K_ELEMENT_SIZE * POWER_SUPPLY_TYPE, POWER_SUPPLY_TYPE_LINES);
    printRecord(types + SES_K_ELEMENT_SIZE * COOLING_TYPE, COOLING_TYPE_LINES);
    printRecord(types + SES_K_ELEMENT_SIZE * ALARM_TYPE, ALARM_TYPE_LINES);
}

void printEnclosureStatusPage(const U8_t* page) {
    printRecord(page, STATUS_HEADER_LINES);
    const U8_t* list = page + sizeof(EncStatDiagPageHdr_t);
    list = printElements(list, "Device      overallStatus = [0x%x]", esaControl.deviceMaxNumber, DEVICE_STATUS_LINES);
    list = printElements(list, "PowerSupply overallStatus = [0x%x]", esaControl.powerSupplyMaxNumber,
                         POWER_SUPPLY_STATUS_LINES);
    list = printElements(list, "Cooling overallStatus = [0x%x]", esaControl.coolingMaxNumber, COOLING_STATUS_LINES);
    list = skipElements(list, esaControl.temperatureSensorMaxNumber);
    printElements(list, "Audible Alarm overallStatus      = [0x%x]", esaControl.audibleAlarmMaxNumber,
                  ALARM_STATUS_LINES);
}

void printEnclosureControlPage(const U8_t* page) {
    printRecord(page, CONTROL_HEADER_LINES);
    const U8_t* list = page + sizeof(EncContDiagPageHdr_t);
    list = printElements(list, "Device overallControl     = [%d]", esaControl.deviceMaxNumber, DEVICE_CONTROL_LINES);
    list = printElements(list, "PowerSupply overallControl     = [%d]", esaControl.powerSupplyMaxNumber,
                         POWER_SUPPLY_CONTROL_LINES);
    list = printElements(list, "Cooling overallControl          = [%d]", esaControl.coolingMaxNumber,
                         COOLING_CONTROL_LINES);
    list = skipElements(list, esaControl.temperatureSensorMaxNumber);
    printElements(list, "Audible Alarm overallControl   = [%d]", esaControl.audibleAlarmMaxNumber, ALARM_CONTROL_LINES);
}

void printReturnedPage(const U8_t* page) {
    const U8_t pageCode = page[0];
    printPageName(STATUS_PAGE_NAMES, pageCode);
    if (pageCode == SES_K_CONFIGURATION_DIAGNOSTIC_PAGE) {
        printConfigurationPage(page);
    } else if (pageCode == SES_K_ENCLOSURE_STATUS_DIAGNOSTIC_PAGE) {
        printEnclosureStatusPage(page);
    }
}

/** Prints the status of a reply; returns whether it is GOOD. */
bool printStatus(const SesStatus_t& status) {
    if (status.statusCode == SES_K_SCSI_STATUS_CODE_GOOD) {
        ESA_TRACE("Status                           = [SES_K_SCSI_STATUS_CODE_GOOD]");
        return true;
    }
    if (status.statusCode == SES_K_SCSI_STATUS_CODE_CHECK_CONDITION) {
        ESA_TRACE("Status                           = [SES_K_SCSI_STATUS_CODE_CHECK_CONDITION]");
        printRecord(&status.payloadList, SENSE_LINES);
    }
    return false;
}

void printResponse(const MMSG_t& mmsg) {
    ESA_TRACE("This is a Response Message.");
    if (mmsg.mmch.requestor == MMSG_E_EPID_STARTUPMP) {
        ESA_TRACE("Startup Response MMSG with returned code [%s].",
                  mmsg.mmch.return_code == SUS_E_MMSG_RESP_OK ? "OK" : "REJECTED");
        return;
    }
    const auto& status = wireAt<SesStatus_t>(static_cast<const void*>(&mmsg.user_data_start));
    const U32_t command = mmsg.mmch.opcode.request.type;
    switch (command) {
    case SES_K_RECEIVE_DIAGNOSTIC_RESULTS_COMMAND:
        ESA_TRACE("Command                          = [SES_K_RECEIVE_DIAGNOSTIC_RESULTS_COMMAND]");
        if (printStatus(status)) {
            printReturnedPage(&status.payloadList);
        }
        break;
    case SES_K_SEND_DIAGNOSTIC_COMMAND:
        ESA_TRACE("Command                          = [SES_K_SEND_DIAGNOSTIC_COMMAND]");
        printStatus(status);
        break;
    default:
        ESA_TRACE("Un-supported SES Command [%d].", command);
        break;
    }
}

void printReceiveDiagnostic(const U8_t* payload) {
    const auto& command = wireAt<RcvDiagResCommand_t>(static_cast<const void*>(payload));
    printRecord(&command, RECEIVE_COMMAND_LINES);
    printPageName(STATUS_PAGE_NAMES, command.pageCode);
}

void printSendDiagnostic(const U8_t* payload) {
    const auto& command = wireAt<SndDiagCommandMsg_t>(static_cast<const void*>(payload));
    printRecord(&command.sndDiagCommand, SEND_COMMAND_LINES);
    const U8_t pageCode = command.sndDiagCommandList;
    if (pageCode == SES_K_ENCLOSURE_CONTROL_DIAGNOSTIC_PAGE) {
        printEnclosureControlPage(&command.sndDiagCommandList);
    } else {
        printPageName(CONTROL_PAGE_NAMES, pageCode);
    }
}

void printRequest(const MMSG_t& mmsg) {
    ESA_TRACE("This is a Request Message.");
    const U32_t command = mmsg.mmch.opcode.request.type;
    switch (command) {
    case SES_K_RECEIVE_DIAGNOSTIC_RESULTS_COMMAND:
        printReceiveDiagnostic(&mmsg.user_data_start);
        break;
    case SES_K_SEND_DIAGNOSTIC_COMMAND:
        printSendDiagnostic(&mmsg.user_data_start);
        break;
    default:
        ESA_TRACE("Un-supported SES Command [%d].", command);
        break;
    }
}

} // namespace

void esaMmsgPrint(const MMSG_t* mmsgPtr) {
    ESA_OPERATION();
    if (!TRACE_ENABLED(TRC_E_MOD_ESA, TRC_K_INFO)) {
        return;
    }
    printRecord(&mmsgPtr->mmch, HEADER_LINES);
    if ((mmsgPtr->mmch.mmsg_cont & MMCH_K_CONT_RESPONSE) != 0) {
        printResponse(*mmsgPtr);
    } else {
        printRequest(*mmsgPtr);
    }
}
