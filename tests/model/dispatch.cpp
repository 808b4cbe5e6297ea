/** Messages that came: what they are, and which of them are answered how. */
#include "adapter.h"
#include "octets.h"

namespace model {

namespace {

constexpr std::uint32_t RECEIVE_DIAGNOSTIC = 28;
constexpr std::uint32_t SEND_DIAGNOSTIC = 29;

/** The adapter's endpoint 33 in one of the two recipient bitmaps: bit 1 of the second word. */
bool namesAdapter(std::span<const std::uint8_t> message, std::size_t bitmap) {
    return (octets::number(message, bitmap + 4, 4) & 0x2) != 0;
}

} // namespace

void Adapter_t::esaProcMmsgMsg() {
    const char* const operation = "esaProcMmsgMsg";
    const std::span<const std::uint8_t> message = state.esaInMsg;
    const std::uint32_t length = octets::number(message, 10, 2);
    const int protocol = message[12];
    const int requestor = message[16];

    if (length < 64 || length > 4064) {
        trace(operation, "MMSG mmsh_length [%d] is out of range", static_cast<int>(length));
        trace(operation, "MMSG requestor [%d] sends wrong mmsg_length!!!", requestor);
        printMessage(message);
        return;
    }
    // A message of another type is processed whoever it names.
    if (message[8] == 14 && !namesAdapter(message, 20) && !namesAdapter(message, 28)) {
        trace(operation, "Received a MMSG but it isn't for us?");
        printMessage(message);
        return;
    }
    if (protocol != 18 && protocol != 12) {
        trace(operation, "Invalid MMSG protocol [%d]", protocol);
        printMessage(message);
        return;
    }
    trace(operation, "Receive a MMSG to the Enclosure Services Adapter");
    printMessage(message);

    const bool response = (message[17] & 0x40) != 0;
    if (response && requestor == 33) {
        trace(operation, "Receive a Response MMSG for a Test Message.");
        return;
    }
    if (response && requestor == 18) {
        trace(operation, "Receive a Response MMSG from Startup with returned code [%s].",
              octets::number(message, 36, 4) == 1 ? "OK" : "REJECTED");
        return;
    }
    const std::uint32_t type = octets::number(message, 13, 3);
    if (type == RECEIVE_DIAGNOSTIC) {
        dispatchReceiveDiagnostic();
    } else if (type == SEND_DIAGNOSTIC) {
        dispatchSendDiagnostic();
    } else {
        trace(operation, "Un-supported SES Command [%d].", static_cast<int>(type));
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
    const char* const operation = "esaProcMmsgMsg";
    trace(operation, "ESA receives SND DIAG Cmd.");
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
        trace(operation, "Un-supported SES Page [%d].", pageCode);
        return;
    }
    esaProcEncContPage();
    if (state.esaInMsg[16] == 20) {
        trace(operation, "Rx Drive Fault LED SES msg from VM. No returning Status msg.");
    } else {
        esaSendStatus(0, 0, 0, 0, 0);
    }
}

} // namespace model
