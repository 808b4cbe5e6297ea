/** Messages that came: what they are, and which of them are answered how. */
#include <algorithm>

#include "adapter.h"
#include "octets.h"
#include "outgoing.h"

namespace model {

namespace {

constexpr std::uint32_t RECEIVE_DIAGNOSTIC = 28;
constexpr std::uint32_t SEND_DIAGNOSTIC = 29;

/** The adapter's endpoint 33 in one of the two recipient bitmaps: bit 1 of the second word. */
bool namesAdapter(std::span<const std::uint8_t> message, std::size_t bitmap) {
    return (octets::number(message, bitmap + 4, 4) & 0x2) != 0;
}

/** Endpoint e is bit (e mod 32) of word (e div 32); there are two words. */
void addressTo(std::span<std::uint8_t> message, std::uint32_t endpoint) {
    if (endpoint < 64) {
        octets::put(message, 20 + 4 * (endpoint / 32), 4, 1U << endpoint % 32);
    }
    octets::put(message, 18, 1, endpoint);
}

} // namespace

void Adapter_t::esaProcMmsgMsg() {
    const char* const F = "esaProcMmsgMsg";
    const std::span<const std::uint8_t> message = state.esaInMsg;
    const std::uint32_t length = octets::number(message, 10, 2);
    const int protocol = message[12];
    const int requestor = message[16];

    if (length < 64 || length > 4064) {
        trace(F, "MMSG mmsh_length [%d] is out of range", static_cast<int>(length));
        trace(F, "MMSG requestor [%d] sends wrong mmsg_length!!!", requestor);
        printMessage(message);
        return;
    }
    // A message of another type is processed whoever it names.
    if (message[8] == 14 && !namesAdapter(message, 20) && !namesAdapter(message, 28)) {
        trace(F, "Received a MMSG but it isn't for us?");
        printMessage(message);
        return;
    }
    if (protocol != 18 && protocol != 12) {
        trace(F, "Invalid MMSG protocol [%d]", protocol);
        printMessage(message);
        return;
    }
    trace(F, "Receive a MMSG to the Enclosure Services Adapter");
    printMessage(message);

    const bool response = (message[17] & 0x40) != 0;
    if (response && requestor == 33) {
        trace(F, "Receive a Response MMSG for a Test Message.");
        return;
    }
    if (response && requestor == 18) {
        trace(F, "Receive a Response MMSG from Startup with returned code [%s].",
              octets::number(message, 36, 4) == 1 ? "OK" : "REJECTED");
        return;
    }
    const std::uint32_t type = octets::number(message, 13, 3);
    if (type == RECEIVE_DIAGNOSTIC) {
        dispatchReceiveDiagnostic();
    } else if (type == SEND_DIAGNOSTIC) {
        dispatchSendDiagnostic();
    } else {
        trace(F, "Un-supported SES Command [%d].", static_cast<int>(type));
    }
}

void Adapter_t::dispatchReceiveDiagnostic() {
    trace("esaProcMmsgMsg", "ESA receives RCV DIAG Cmd.");
    const std::uint32_t allocationLength = octets::number(state.esaInMsg, 68, 2);
    if (state.esaInMsg[64] == RECEIVE_DIAGNOSTIC && allocationLength != 0) {
        esaSendStatus();
    }
}

void Adapter_t::dispatchSendDiagnostic() {
    const char* const F = "esaProcMmsgMsg";
    trace(F, "ESA receives SND DIAG Cmd.");
    const std::uint8_t pageCode = state.esaInMsg[72];
    state.pageCodeInRecentSndDiagCmd = pageCode;

    if (octets::number(state.esaInMsg, 68, 2) == 0) { // no parameter list
        const bool pageFormat = (state.esaInMsg[65] & 0x08) != 0;
        if (pageFormat) {
            esaSendStatus(2, 0, 5, 0x24, 0); // ILLEGAL REQUEST, INVALID FIELD IN CDB
        } else {
            esaSendStatus(0, 0, 0, 0, 0);
        }
        return;
    }
    if (pageCode != 2) {
        trace(F, "Un-supported SES Page [%d].", pageCode);
        return;
    }
    esaProcEncContPage();
    if (state.esaInMsg[16] == 20) {
        trace(F, "Rx Drive Fault LED SES msg from VM. No returning Status msg.");
    } else {
        esaSendStatus(0, 0, 0, 0, 0);
    }
}

long Adapter_t::esaTestMsg(std::uint8_t commandType, std::uint8_t pageCode) {
    const char* const F = "esaTestMsg";
    const std::span<std::uint8_t> message = state.esaWorkSpace;
    const std::uint32_t elements = 0U + state.deviceMaxNumber + state.powerSupplyMaxNumber + state.coolingMaxNumber;
    std::uint32_t length = 0;
    clearHeader(message);
    octets::put(message, 12, 1, 18);
    octets::put(message, 16, 1, 33);
    trace(F, "This test SES Command Message is from Local Blade.");
    addressTo(message, 33);
    octets::put(message, 13, 3, commandType);

    if (commandType == RECEIVE_DIAGNOSTIC) {
        std::ranges::fill(message.subspan(64, 8), std::uint8_t{0});
        octets::put(message, 64, 1, 28);
        octets::put(message, 65, 1, 0x80); // page code valid
        octets::put(message, 66, 1, pageCode);
        octets::put(message, 68, 2, 4 * elements + 21);
        length = 72;
    } else if (commandType == SEND_DIAGNOSTIC) {
        std::ranges::fill(message.subspan(64, 8), std::uint8_t{0});
        octets::put(message, 64, 1, 29);
        octets::put(message, 65, 1, 0x08); // page format
        if (pageCode == 2) {
            octets::put(message, 72, 1, 2);
            std::size_t at = 80;
            // The alarm list follows the cooling list: the test page has no temperature sensors.
            const struct {
                std::uint8_t count;
                std::uint8_t bits; /**< of a record's byte 3; a device's only in some slots */
            } lists[] = {{state.deviceMaxNumber, 0x04},
                         {state.powerSupplyMaxNumber, 0x04},
                         {state.coolingMaxNumber, 0x04},
                         {state.audibleAlarmMaxNumber, 0x02}};
            for (const auto& list : lists) {
                octets::put(message, at, 4, 0);
                for (std::uint8_t i = 0; i < list.count; ++i) {
                    const bool lit = &list != &lists[0] || i == 0 || i == 3 || i == 7 || i == 12;
                    octets::put(message, at += 4, 4, lit ? list.bits : 0);
                }
                at += 4;
            }
            const std::uint32_t records = elements + state.audibleAlarmMaxNumber;
            octets::put(message, 68, 2, 4 * records + 24);
            length = 4 * records + 96;
            trace(F, "mmsg_length = [%d], sizeof(MMCH_t) = [%d]", static_cast<int>(length), 64);
        } else {
            trace(F, "Un-supported SES Page [%d].", pageCode);
        }
    } else {
        trace(F, "Un-supported SES Command [%d].", commandType);
    }
    octets::put(message, 10, 2, length);
    trace(F, "Send out a Test SES Command MMSG from the ESA to ESA.");
    printMessage(message);
    return sendWorkSpace(length, "esaTestMsg()");
}

} // namespace model
