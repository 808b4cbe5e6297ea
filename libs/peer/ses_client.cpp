#include "ses_client.h"

#include <algorithm>
#include <cstdio>
#include <unistd.h>

#include "errors.h"
#include "ses_mesgs.h"

namespace {

// The command record and the header in front of it; a parameter list follows.
constexpr std::size_t COMMAND_MESSAGE_SIZE = sizeof(MMCH_t) + 8;
// Larger than any page the adapter can fit into a message.
constexpr U16_t ALLOCATION_LENGTH = MMSG_K_MAX_SIZE;
constexpr std::chrono::milliseconds WAITING_INTERVAL{200};

Message_t newRequest(U8_t requestor, U8_t operationCode, std::size_t size) {
    Message_t message(size, 0);
    MMCH_t& header = wireAt<MMCH_t>(message.data());
    header.message_type = MSG_E_TYPE_MMSG;
    header.mmch_version = MMCH_K_VERSION;
    header.mmsg_length = static_cast<U16_t>(size);
    header.opcode.request.protocol = MMSG_E_PROTOCOL_SES;
    header.opcode.request.type = U32_t{operationCode};
    header.requestor = requestor;
    header.dest_ep = MMSG_E_EPID_ES_ADAPTERMP;
    mmsgAddRecipient(header.recipient_loc_bm, MMSG_E_EPID_ES_ADAPTERMP);
    message[sizeof(MMCH_t)] = operationCode;
    return message;
}

bool answers(const MMCH_t& reply, const MMCH_t& request) {
    return (reply.mmsg_cont & MMCH_K_CONT_RESPONSE) != 0 && reply.requestor == MMSG_E_EPID_ES_ADAPTERMP &&
           reply.opcode.whole == request.opcode.whole && reply.handle == request.handle;
}

SesReply_t decodeReply(const Message_t& message) {
    if (message.size() <= sizeof(MMCH_t)) {
        throw badAnswerError("the adapter's reply ends before its status byte");
    }
    SesReply_t reply;
    reply.returnCode = messageHeader(message).return_code;
    reply.statusCode = message[sizeof(MMCH_t)];
    reply.payload.assign(message.begin() + sizeof(MMCH_t) + 1, message.end());
    return reply;
}

} // namespace

SesClient_t::SesClient_t(const std::string& directory, std::chrono::milliseconds timeout, const PeerDoor_t& door)
    : timeout_(timeout), peer_(directory, Clock_t::now() + timeout, door),
      // A reply to a process that had this endpoint id before us must not pass for ours.
      handle_((static_cast<U32_t>(getpid()) << 12) ^
              static_cast<U32_t>(Clock_t::now().time_since_epoch() / std::chrono::microseconds(1))) {}

SesReply_t SesClient_t::receiveDiagnostic(U8_t page) {
    Message_t message = newRequest(peer_.endpointId(), SES_K_RECEIVE_DIAGNOSTIC_RESULTS_COMMAND, COMMAND_MESSAGE_SIZE);
    auto& command = wireAt<RcvDiagResCommand_t>(message.data() + sizeof(MMCH_t));
    command.pcv = 1;
    command.pageCode = page;
    command.allocationLength = ALLOCATION_LENGTH;
    const bool answered = page == SES_K_CONFIGURATION_DIAGNOSTIC_PAGE || page == SES_K_ENCLOSURE_STATUS_DIAGNOSTIC_PAGE;
    return exchange(std::move(message), "the request for page " + std::to_string(page),
                    answered
                        ? "is the adapter running? It may be starting (three minutes at most), or held up by a bus "
                          "that does not answer: then try a longer --timeout"
                        : "the adapter answers pages 1 and 2 only");
}

SesReply_t SesClient_t::sendDiagnostic(std::span<const U8_t> page) {
    if (page.size() > SES_K_MAX_CONTROL_PAGE) {
        throw usageError("a page of " + std::to_string(page.size()) + " bytes does not fit into a message; at most " +
                         std::to_string(SES_K_MAX_CONTROL_PAGE) + " do");
    }
    Message_t message =
        newRequest(peer_.endpointId(), SES_K_SEND_DIAGNOSTIC_COMMAND, COMMAND_MESSAGE_SIZE + page.size());
    auto& command = wireAt<SndDiagCommand_t>(message.data() + sizeof(MMCH_t));
    command.pf = 1;
    command.parameterListLength = static_cast<U16_t>(page.size());
    std::copy(page.begin(), page.end(), message.begin() + COMMAND_MESSAGE_SIZE);
    return exchange(std::move(message), "the control page",
                    "it may still be carried out; only page 2 is ever answered");
}

SesReply_t SesClient_t::exchange(Message_t request, const std::string& what, const std::string& hint) {
    MMCH_t& header = wireAt<MMCH_t>(request.data());
    header.handle = ++handle_;
    const Deadline_t deadline = Clock_t::now() + timeout_;
    peer_.connection().send(request);
    for (bool isOver = false; !isOver;) {
        const Deadline_t until = whileWaiting ? std::min(deadline, Clock_t::now() + WAITING_INTERVAL) : deadline;
        const std::optional<Message_t> message = peer_.connection().receive(until);
        if (message && answers(messageHeader(*message), header)) {
            return decodeReply(*message);
        }
        isOver = !message && until == deadline;
        if (whileWaiting) {
            whileWaiting();
        }
    }
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%g", static_cast<double>(timeout_.count()) / 1000.0);
    throw noAnswerError("no answer to " + what + " within " + seconds + " s; " + hint);
}

void requireGood(const SesReply_t& reply, const std::string& what) {
    if (reply.statusCode == SES_K_SCSI_STATUS_CODE_GOOD && reply.returnCode == SES_K_SCSI_STATUS_CODE_GOOD) {
        return;
    }
    std::string text = what + " was refused: status " + std::to_string(reply.statusCode) + ", return code " +
                       std::to_string(reply.returnCode);
    if (reply.statusCode == SES_K_SCSI_STATUS_CODE_CHECK_CONDITION && reply.payload.size() > 17) {
        char sense[64];
        std::snprintf(sense, sizeof sense, ", sense key 0x%X, ASC 0x%02X, ASCQ 0x%02X", reply.payload[2] >> 4,
                      reply.payload[16], reply.payload[17]);
        text += sense;
    }
    throw refusedError(text);
}
