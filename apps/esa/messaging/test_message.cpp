#include "messaging/test_message.h"

#include "core/fault.h"
#include "core/operation.h"
#include "core/outgoing.h"
#include "messaging/print.h"

namespace {

constexpr U16_t RCV_DIAG_LENGTH = 72;
/** Slots whose fault LED the test page asks for. */
constexpr U32_t TEST_FAULT_SLOTS = 1U << 0 | 1U << 3 | 1U << 7 | 1U << 12;

/** Status records of the lists whose sizes the test message counts with. */
U16_t recordBytes(bool withAlarms) {
    const int records = esaControl.deviceMaxNumber + esaControl.powerSupplyMaxNumber + esaControl.coolingMaxNumber +
                        (withAlarms ? esaControl.audibleAlarmMaxNumber : 0);
    return static_cast<U16_t>(SES_K_ELEMENT_SIZE * static_cast<U32_t>(records));
}

void buildReceiveDiagnostic(MMSG_t& mmsg, U8_t pageCode) {
    auto& command = wireAt<RcvDiagResCommand_t>(static_cast<void*>(&mmsg.user_data_start));
    wireClear(command);
    command.operationCode = SES_K_RECEIVE_DIAGNOSTIC_RESULTS_COMMAND;
    command.pcv = 1;
    command.pageCode = pageCode;
    command.allocationLength = static_cast<U16_t>(recordBytes(false) + 21);
    mmsg.mmch.mmsg_length = RCV_DIAG_LENGTH;
}

/** Writes one control list at `list`: a zero overall word, then `count` zeroed records each handed to `fill`. */
template <typename Record, typename Fill>
U8_t* buildList(U8_t* list, U8_t count, Fill fill) {
    wireAt<be32_t>(static_cast<void*>(list)) = 0;
    U8_t* record = list + sizeof(be32_t);
    for (U8_t i = 0; i < count; ++i, record += sizeof(Record)) {
        auto& control = wireAt<Record>(static_cast<void*>(record));
        wireClear(control);
        fill(control, i);
    }
    return record;
}

/** The page has no temperature list: the alarms follow the fans, as the page always did. */
void buildControlPage(U8_t* page) {
    page[0] = SES_K_ENCLOSURE_CONTROL_DIAGNOSTIC_PAGE;
    U8_t* list = page + sizeof(EncContDiagPageHdr_t);
    list = buildList<DeviceElementCont_t>(list, esaControl.deviceMaxNumber, [](auto& control, U8_t slot) {
        control.rqstFault = static_cast<U8_t>(slot < 32 ? (TEST_FAULT_SLOTS >> slot) & 1U : 0);
    });
    list = buildList<PowerSupplyElementCont_t>(list, esaControl.powerSupplyMaxNumber,
                                               [](auto& control, U8_t) { control.rqstOn = 1; });
    list = buildList<CoolingElementCont_t>(list, esaControl.coolingMaxNumber,
                                           [](auto& control, U8_t) { control.rqstOn = 1; });
    buildList<AudibleAlarmElementCont_t>(list, esaControl.audibleAlarmMaxNumber,
                                         [](auto& control, U8_t) { control.setMute = 1; });
}

void buildSendDiagnostic(MMSG_t& mmsg, U8_t pageCode) {
    auto& payload = wireAt<SndDiagCommandMsg_t>(static_cast<void*>(&mmsg.user_data_start));
    wireClear(payload.sndDiagCommand);
    payload.sndDiagCommand.operationCode = SES_K_SEND_DIAGNOSTIC_COMMAND;
    payload.sndDiagCommand.pf = 1;
    if (pageCode != SES_K_ENCLOSURE_CONTROL_DIAGNOSTIC_PAGE) {
        ESA_TRACE("Un-supported SES Page [%d].", pageCode);
        return;
    }
    buildControlPage(&payload.sndDiagCommandList);
    payload.sndDiagCommand.parameterListLength = static_cast<U16_t>(recordBytes(true) + 24);
    mmsg.mmch.mmsg_length = static_cast<U16_t>(recordBytes(true) + 96);
    ESA_TRACE("mmsg_length = [%d], sizeof(MMCH_t) = [%d]", U16_t{mmsg.mmch.mmsg_length}, MMSG_K_HEADER_SIZE);
}

} // namespace

S32_t esaTestMsg(U8_t commandType, U8_t pageCode) {
    ESA_OPERATION();
    MMSG_t& mmsg = esaStartMmsg(MMSG_E_PROTOCOL_SES, commandType, MMSG_E_EPID_ES_ADAPTERMP);
    mmsg.mmch.dest_ep = MMSG_E_EPID_ES_ADAPTERMP;
    mmsg.mmch.mmsg_length = 0;
    ESA_TRACE("This test SES Command Message is from Local Blade.");
    switch (commandType) {
    case SES_K_RECEIVE_DIAGNOSTIC_RESULTS_COMMAND:
        buildReceiveDiagnostic(mmsg, pageCode);
        break;
    case SES_K_SEND_DIAGNOSTIC_COMMAND:
        buildSendDiagnostic(mmsg, pageCode);
        break;
    default:
        ESA_TRACE("Un-supported SES Command [%d].", commandType);
        break;
    }
    ESA_TRACE("Send out a Test SES Command MMSG from the ESA to ESA.");
    esaMmsgPrint(&mmsg);
    return esaSendMmsg(ESA_CALL_SITE("esaTestMsg()"));
}
