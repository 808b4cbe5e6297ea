#include "messaging/dispatch.h"

#include "core/operation.h"
#include "messaging/control_page.h"
#include "messaging/print.h"
#include "messaging/reply.h"
#include "startup.h"

namespace {

/** Whether the message is one for the adapter to look into; says why when it is not. */
bool isAcceptable(const MMCH_t& mmch) {
    const U16_t length = mmch.mmsg_length;
    if (length < MMSG_K_HEADER_SIZE || length > MMSG_K_MAX_SIZE) {
        ESA_TRACE("MMSG mmsh_length [%d] is out of range", length);
        ESA_TRACE("MMSG requestor [%d] sends wrong mmsg_length!!!", mmch.requestor);
        return false;
    }
    // Only messages of the one known type carry recipient bitmaps that can be relied on.
    if (mmch.message_type == MSG_E_TYPE_MMSG && !mmsgIsRecipient(mmch.recipient_loc_bm, MMSG_E_EPID_ES_ADAPTERMP) &&
        !mmsgIsRecipient(mmch.recipient_ob_bm, MMSG_E_EPID_ES_ADAPTERMP)) {
        ESA_TRACE("Received a MMSG but it isn't for us?");
        return false;
    }
    const U8_t protocol = mmch.opcode.request.protocol;
    if (protocol != MMSG_E_PROTOCOL_SES && protocol != MMSG_E_PROTOCOL_STARTUP) {
        ESA_TRACE("Invalid MMSG protocol [%d]", protocol);
        return false;
    }
    return true;
}

/** Whether the message is a response to something the adapter has sent; nothing follows from those. */
bool isOwnResponse(const MMCH_t& mmch) {
    if ((mmch.mmsg_cont & MMCH_K_CONT_RESPONSE) == 0) {
        return false;
    }
    if (mmch.requestor == MMSG_E_EPID_ES_ADAPTERMP) {
        ESA_TRACE("Receive a Response MMSG for a Test Message.");
        return true;
    }
    if (mmch.requestor == MMSG_E_EPID_STARTUPMP) {
        ESA_TRACE("Receive a Response MMSG from Startup with returned code [%s].",
                  mmch.return_code == SUS_E_MMSG_RESP_OK ? "OK" : "REJECTED");
        return true;
    }
    return false;
}

void receiveDiagnosticResults(const MMSG_t& mmsg) {
    ESA_TRACE("ESA receives RCV DIAG Cmd.");
    const auto& command = wireAt<RcvDiagResCommand_t>(static_cast<const void*>(&mmsg.user_data_start));
    if (command.operationCode != SES_K_RECEIVE_DIAGNOSTIC_RESULTS_COMMAND || command.allocationLength == 0) {
        return;
    }
    const U8_t pageCode = command.pcv ? command.pageCode : esaControl.pageCodeInRecentSndDiagCmd;
    esaSendStatus(&mmsg, SES_K_SCSI_STATUS_CODE_GOOD, pageCode, 0, 0, 0);
}

void sendDiagnostic(const MMSG_t& mmsg) {
    ESA_TRACE("ESA receives SND DIAG Cmd.");
    const auto& payload = wireAt<SndDiagCommandMsg_t>(static_cast<const void*>(&mmsg.user_data_start));
    const U8_t pageCode = payload.sndDiagCommandList;
    // Remembered even when there is no parameter list: whatever lies there then is what a later request names.
    esaControl.pageCodeInRecentSndDiagCmd = pageCode;
    if (payload.sndDiagCommand.parameterListLength == 0) {
        if (payload.sndDiagCommand.pf) {
            esaSendStatus(&mmsg, SES_K_SCSI_STATUS_CODE_CHECK_CONDITION, 0, SES_K_SENSE_KEY_ILLEGAL_REQUEST,
                          SES_K_ASC_INVALID_FIELD_IN_CDB, 0);
        } else {
            esaSendStatus(&mmsg, SES_K_SCSI_STATUS_CODE_GOOD, 0, 0, 0, 0);
        }
        return;
    }
    if (pageCode != SES_K_ENCLOSURE_CONTROL_DIAGNOSTIC_PAGE) {
        ESA_TRACE("Un-supported SES Page [%d].", pageCode);
        return;
    }
    esaProcEncContPage(mmsg);
    if (mmsg.mmch.requestor == MMSG_E_EPID_VOLMGRMP) {
        ESA_TRACE("Rx Drive Fault LED SES msg from VM. No returning Status msg.");
        return;
    }
    esaSendStatus(&mmsg, SES_K_SCSI_STATUS_CODE_GOOD, 0, 0, 0, 0);
}

} // namespace

void esaProcMmsgMsg(const MMSG_t& mmsg) {
    ESA_OPERATION();
    if (!isAcceptable(mmsg.mmch)) {
        esaMmsgPrint(&mmsg);
        return;
    }
    ESA_TRACE("Receive a MMSG to the Enclosure Services Adapter");
    esaMmsgPrint(&mmsg);
    if (isOwnResponse(mmsg.mmch)) {
        return;
    }
    const U32_t type = mmsg.mmch.opcode.request.type;
    switch (type) {
    case SES_K_RECEIVE_DIAGNOSTIC_RESULTS_COMMAND:
        receiveDiagnosticResults(mmsg);
        break;
    case SES_K_SEND_DIAGNOSTIC_COMMAND:
        sendDiagnostic(mmsg);
        break;
    default:
        ESA_TRACE("Un-supported SES Command [%d].", type);
        break;
    }
}
