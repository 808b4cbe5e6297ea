#include "messaging/reply.h"

#include <cstring>

#include "core/fault.h"
#include "core/operation.h"
#include "core/outgoing.h"
#include "messaging/pages.h"
#include "messaging/print.h"

/** Pages and sense data are gathered here: building a page sends other messages from `esaWorkSpace`. */
static U8_t sesPayload[ESA_K_PAGE_SIZE];

namespace {

constexpr U16_t GOOD_STATUS_LENGTH = 68;
constexpr U16_t CHECK_CONDITION_LENGTH = 92;
constexpr U16_t NO_REPLY = 0;

U16_t fillSenseData(U8_t senseKey, U8_t asc, U8_t ascq) {
    auto& sense = wireAt<SenseData_t>(static_cast<void*>(sesPayload));
    sense.responseCode = SES_K_SENSE_RESPONSE_CODE_FIXED;
    sense.senseKey = senseKey;
    sense.additionalSenseCode = asc;
    sense.additionalSenseCodeQualifier = ascq;
    return CHECK_CONDITION_LENGTH;
}

/** Both pages are sent one byte short of their end: the peers' message lengths have always been these. */
U16_t replyLength(U16_t pageSize) {
    return static_cast<U16_t>(MMSG_K_HEADER_SIZE + sizeof(SesStatus_t::statusCode) + pageSize - 1);
}

/** A configuration page that the requester has no room for is not sent at all. */
U16_t fillConfigurationPage(U16_t allocationLength) {
    const U16_t size = esaBuildConfigurationPage(sesPayload);
    return allocationLength < size ? NO_REPLY : replyLength(size);
}

U16_t fillPage(const MMSG_t& rcvMmsg, U8_t pageCode) {
    const auto& command = wireAt<RcvDiagResCommand_t>(static_cast<const void*>(&rcvMmsg.user_data_start));
    switch (pageCode) {
    case SES_K_SUPPORTED_DIAGNOSTIC_PAGE:
        return NO_REPLY;
    case SES_K_CONFIGURATION_DIAGNOSTIC_PAGE:
        return fillConfigurationPage(command.allocationLength);
    case SES_K_ENCLOSURE_STATUS_DIAGNOSTIC_PAGE:
        return replyLength(esaBuildEnclosureStatusPage(sesPayload));
    default:
        ESA_TRACE("Un-supported SES Page [%d].", pageCode);
        return NO_REPLY;
    }
}

/** Fills `sesPayload` with what follows the status byte; returns the reply's mmsg_length, NO_REPLY for none. */
U16_t fillPayload(const MMSG_t& rcvMmsg, U8_t statusCode, U8_t pageCode, U8_t senseKey, U8_t asc, U8_t ascq) {
    const U32_t command = rcvMmsg.mmch.opcode.request.type;
    if (command != SES_K_SEND_DIAGNOSTIC_COMMAND && command != SES_K_RECEIVE_DIAGNOSTIC_RESULTS_COMMAND) {
        ESA_TRACE("Un-supported SES Command [%d].", command);
        return NO_REPLY;
    }
    switch (statusCode) {
    case SES_K_SCSI_STATUS_CODE_CHECK_CONDITION:
        return fillSenseData(senseKey, asc, ascq);
    case SES_K_SCSI_STATUS_CODE_GOOD:
        return command == SES_K_SEND_DIAGNOSTIC_COMMAND ? GOOD_STATUS_LENGTH : fillPage(rcvMmsg, pageCode);
    default:
        return NO_REPLY;
    }
}

void fillHeader(MMCH_t& mmch, const MMCH_t& request, U8_t statusCode, U16_t length) {
    mmch.mmsg_length = length;
    mmch.mmsg_cont = MMCH_K_CONT_RESPONSE;
    mmch.dest_ep = request.requestor;
    mmch.return_code = statusCode;
    mmch.handle = request.handle;
}

} // namespace

void esaSendStatus(const MMSG_t* rcvMmsgPtr, U8_t statusCode, U8_t pageCode, U8_t senseKey, U8_t asc, U8_t ascq) {
    ESA_OPERATION();
    std::memset(sesPayload, 0, sizeof(sesPayload));
    const U16_t length = fillPayload(*rcvMmsgPtr, statusCode, pageCode, senseKey, asc, ascq);
    if (length == NO_REPLY) {
        return;
    }
    const MMCH_t& request = rcvMmsgPtr->mmch;
    MMSG_t& reply = esaStartMmsg(static_cast<MMSG_PROTOCOL_e>(U8_t{request.opcode.request.protocol}),
                                 request.opcode.request.type, request.requestor);
    fillHeader(reply.mmch, request, statusCode, length);
    auto& status = wireAt<SesStatus_t>(static_cast<void*>(&reply.user_data_start));
    status.statusCode = statusCode;
    std::memcpy(&status.payloadList, sesPayload, sizeof(sesPayload));
    ESA_TRACE("Send out a Diagnostic Page.");
    esaMmsgPrint(&reply);
    esaSendMmsg(ESA_CALL_SITE("esaSndDiagPage()"));
}
