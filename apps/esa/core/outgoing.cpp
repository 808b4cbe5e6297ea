#include "core/outgoing.h"

#include <sys/socket.h>

#include <cstdint>

#include "core/fault.h"

MMSG_t& esaClearMmsg() {
    auto& mmsg = wireAt<MMSG_t>(static_cast<void*>(esaControl.esaWorkSpace));
    wireClear(mmsg.mmch);
    const auto ownAddress = static_cast<U32_t>(reinterpret_cast<std::uintptr_t>(esaControl.esaWorkSpace));
    mmsg.mmch.mmch_lh.flink = ownAddress;
    mmsg.mmch.mmch_lh.blink = ownAddress;
    mmsg.mmch.message_type = MSG_E_TYPE_MMSG;
    mmsg.mmch.mmch_version = MMCH_K_VERSION;
    mmsg.mmch.requestor = MMSG_E_EPID_MSMMP;
    return mmsg;
}

MMSG_t& esaStartMmsg(MMSG_PROTOCOL_e protocol, U32_t type, U8_t endpoint) {
    MMSG_t& mmsg = esaClearMmsg();
    mmsg.mmch.mmsg_length = MMSG_K_HEADER_SIZE;
    mmsg.mmch.opcode.request.protocol = protocol;
    mmsg.mmch.opcode.request.type = type;
    mmsg.mmch.requestor = MMSG_E_EPID_ES_ADAPTERMP;
    mmsgAddRecipient(mmsg.mmch.recipient_loc_bm, endpoint);
    return mmsg;
}

S32_t esaSendMmsg(const CHAR_t* fileName, int lineNo, const CHAR_t* functionName) {
    const U16_t length = wireAt<MMCH_t>(static_cast<const void*>(esaControl.esaWorkSpace)).mmsg_length;
    const auto sent = static_cast<S32_t>(send(esaControl.socketFdMSM, esaControl.esaWorkSpace, length, 0));
    if (sent != length) {
        esaFault(fileName, lineNo, functionName, "Linux send function fails, sendSize = [%d] is wrong", length);
    }
    return sent;
}
