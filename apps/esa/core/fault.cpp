#include "core/fault.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <span>
#include <type_traits>

#include "core/control_block.h"
#include "core/operation.h"
#include "platform.h"

static CHAR_t esaDebugMsg[1024];
alignas(8) static CHAR_t esaBugCheckWorkSpace[MMSG_K_MAX_SIZE];

namespace {

constexpr U8_t BUGCHECK_SEVERITY = EMP_E_TYPE_ERROR;
constexpr U16_t BUFFER_EXCERPT = 256;

/** One line of the dump: how a field of the control block is shown. */
struct DumpLine_t {
    const CHAR_t* form; /**< form of the value; nullptr: a hex dump */
    const CHAR_t* label;
    const void* field;
    std::size_t size;
};

constexpr const CHAR_t* TEXT_FORM = "%-45s= [%s]";

#define LINE(form, field)                                                                                              \
    { form, "esaControl." #field, &esaControl.field, sizeof(esaControl.field) }
#define NUMBER(field) LINE("%-45s= [%d]", field)
#define HEX(field) LINE("%-45s= [0x%x]", field)
#define DUMP(field, behind, size)                                                                                      \
    { nullptr, "esaControl." #field behind, &esaControl.field, size }
#define BYTES(field) DUMP(field, "  =", sizeof(esaControl.field))
#define NEAR_BYTES(field) DUMP(field, " =", sizeof(esaControl.field))
// clang-format off
const DumpLine_t BEFORE_TEMPERATURES[] = {
    NUMBER(socketFdMSM), LINE(TEXT_FORM, socketAddressMSM.sun_path), NUMBER(i2cFileFd), NUMBER(enclosureType),
    NUMBER(elementTypeMaxNumber), NUMBER(deviceMaxNumber), NUMBER(powerSupplyMaxNumber), NUMBER(coolingMaxNumber),
    NUMBER(temperatureSensorMaxNumber), NUMBER(audibleAlarmMaxNumber), NUMBER(pageCodeInRecentSndDiagCmd),
    NEAR_BYTES(sesTypeDescriptorList), NUMBER(deviceElementControlOverall), NEAR_BYTES(deviceElementControl),
    NUMBER(deviceElementStatusOverall), NEAR_BYTES(deviceElementStatus), HEX(driveFaultLedStatus0),
    HEX(driveFaultLedStatus1), NUMBER(powerSupplyElementControlOverall), BYTES(powerSupplyElementControl),
    NUMBER(powerSupplyElementStatusOverall), BYTES(powerSupplyElementStatus), HEX(powerSupplyStatus),
    NUMBER(coolingElementControlOverall), BYTES(coolingElementControl), NUMBER(coolingElementStatusOverall),
    BYTES(coolingElementStatus), BYTES(coolingElementOnOff), HEX(fanFaultStatus),
};
const DumpLine_t AFTER_TEMPERATURES[] = {
    NUMBER(audibleAlarmElementControlOverall), BYTES(audibleAlarmElementControl),
    NUMBER(audibleAlarmElementStatusOverall), BYTES(audibleAlarmElementStatus), LINE("%-45s= %d", alarmState),
    HEX(compositeFaultStatus), NUMBER(esaDebug), BYTES(vitesse.vsc055GPD), BYTES(vitesse.vsc055DDP),
    BYTES(vitesse.vsc055FSC), NUMBER(selectTimeout.sec), NUMBER(pollTimeout.sec), DUMP(esaInMsg, "  =", BUFFER_EXCERPT),
    DUMP(esaWorkSpace, "  =", BUFFER_EXCERPT),
};
// clang-format on

/** A field of one or four bytes, as the host keeps it. */
U32_t numberOf(const DumpLine_t& line) {
    if (line.size == sizeof(U8_t)) {
        return *static_cast<const U8_t*>(line.field);
    }
    return *static_cast<const U32_t*>(line.field);
}

void traceLines(std::span<const DumpLine_t> lines) {
    for (const DumpLine_t& line : lines) {
        if (line.form == nullptr) {
            ESA_TRACE_DUMP(line.label, line.field, static_cast<U32_t>(line.size));
        } else if (line.form == TEXT_FORM) {
            ESA_TRACE(line.form, line.label, static_cast<const CHAR_t*>(line.field));
        } else {
            ESA_TRACE(line.form, line.label, numberOf(line));
        }
    }
}

void traceReport(const CHAR_t* fileName, int lineNo, const CHAR_t* fnName) {
    ESA_TRACE("********************** Critical Error *********************");
    ESA_TRACE("| File:      %s", fileName);
    ESA_TRACE("| Function:  %s", fnName);
    ESA_TRACE("| Line:      %d", lineNo);
    ESA_TRACE("| Message:   %s", esaDebugMsg);
    ESA_TRACE("***********************************************************");
}

void traceControlBlock() {
    traceLines(BEFORE_TEMPERATURES);
    for (int i = 0; i < ESA_K_MAX_TEMPERATURE_SENSORS; ++i) {
        ESA_TRACE("esaControl.temperatureSensor[%d]         = %d", i, esaControl.temperatureSensor[i]);
    }
    for (int i = 0; i < ESA_K_MAX_TEMPERATURE_SENSORS; ++i) {
        ESA_TRACE("esaControl.temperatureReportStatus[%d]   = %d", i, esaControl.temperatureReportStatus[i]);
    }
    traceLines(AFTER_TEMPERATURES);
    ESA_TRACE("\nFinish the Enclosure Services Adapter internal data dump.");
}

/** Starts an event record in the bug-check work space; returns its body, zeroed. */
void* startEvent(ESA_EV_ID_e evId, U16_t bodySize) {
    std::memset(esaBugCheckWorkSpace, 0, sizeof(EmpEvLogHeader_t) + bodySize);
    auto& header = wireAt<EmpEvLogHeader_t>(static_cast<void*>(esaBugCheckWorkSpace));
    header.evStructLength = bodySize;
    header.evSource = MMSG_E_EPID_ES_ADAPTERMP;
    header.evType = BUGCHECK_SEVERITY;
    header.evCategory = EMP_E_CATEGORY_ENVIRONMENTAL;
    header.evIdVersion = ESA_K_EVENT_VERSION;
    header.evId = evId;
    return esaBugCheckWorkSpace + sizeof(EmpEvLogHeader_t);
}

const EmpEvLogHeader_t* eventRecord() {
    return &wireAt<EmpEvLogHeader_t>(static_cast<const void*>(esaBugCheckWorkSpace));
}

/** Copies a text into a fixed field: cut without a terminator when it fills the field, zero-filled otherwise. */
template <std::size_t N>
void copyText(U8_t (&field)[N], const CHAR_t* text) {
    std::memcpy(field, text, strnlen(text, N));
}

void sendErrorMessage(const CHAR_t* fileName, int lineNo, const CHAR_t* fnName) {
    auto& body = wireAt<EsaErrorMsg_t>(startEvent(ESA_E_ID_ES_ADAPTERMP_BUGCHECK_ERROR_MSG, sizeof(EsaErrorMsg_t)));
    copyText(body.esaFileName, fileName);
    copyText(body.esaFunctionName, fnName);
    body.esaLineNumber = static_cast<U32_t>(lineNo);
    copyText(body.esaErrorMsg, esaDebugMsg);
    altEventLogM(eventRecord(), oMpuParams);
}

/** A field of the control block as the record has it: bytes and records as they are, numbers in the record's order. */
template <typename To, typename From>
void copyField(To& to, const From& from) {
    if constexpr (std::is_array_v<From>) {
        static_assert(sizeof(to) == sizeof(from));
        std::memcpy(static_cast<void*>(&to), &from, sizeof(to));
    } else {
        to = from;
    }
}

void fillSnapshot(EsaInfo_t& info) {
#define COPY(field) copyField(info.field, esaControl.field)
    // clang-format off
    COPY(socketFdMSM); COPY(i2cFileFd); COPY(enclosureType); COPY(elementTypeMaxNumber); COPY(deviceMaxNumber);
    COPY(powerSupplyMaxNumber); COPY(coolingMaxNumber); COPY(temperatureSensorMaxNumber); COPY(audibleAlarmMaxNumber);
    COPY(pageCodeInRecentSndDiagCmd); COPY(sesTypeDescriptorList); COPY(deviceElementControlOverall);
    COPY(deviceElementControl); COPY(deviceElementStatusOverall); COPY(deviceElementStatus);
    COPY(driveFaultLedStatus0); COPY(driveFaultLedStatus1); COPY(powerSupplyElementControlOverall);
    COPY(powerSupplyElementControl); COPY(powerSupplyElementStatusOverall); COPY(powerSupplyElementStatus);
    COPY(powerSupplyStatus); COPY(coolingElementControlOverall); COPY(coolingElementControl);
    COPY(coolingElementStatusOverall); COPY(coolingElementStatus); COPY(coolingElementOnOff); COPY(fanFaultStatus);
    COPY(audibleAlarmElementControlOverall); COPY(audibleAlarmElementControl); COPY(audibleAlarmElementStatusOverall);
    COPY(audibleAlarmElementStatus); COPY(alarmState); COPY(compositeFaultStatus); COPY(esaDebug);
    // clang-format on
#undef COPY
    info.socketAddressMSM.family = static_cast<U16_t>(esaControl.socketAddressMSM.sun_family);
    copyField(info.socketAddressMSM.path, esaControl.socketAddressMSM.sun_path);
    for (int i = 0; i < ESA_K_MAX_TEMPERATURE_SENSORS; ++i) {
        info.temperatureSensor[i] = static_cast<U16_t>(esaControl.temperatureSensor[i]);
        info.temperatureReportStatus[i] = esaControl.temperatureReportStatus[i];
    }
    wireCopy(info.vitesse, esaControl.vitesse);
    info.selectTimeout = {esaControl.selectTimeout.sec, esaControl.selectTimeout.usec};
    info.pollTimeout = {esaControl.pollTimeout.sec, esaControl.pollTimeout.usec};
}

void sendSnapshot() {
    auto& info = wireAt<EsaInfo_t>(startEvent(ESA_E_ID_ES_ADAPTERMP_BUGCHECK_INFO, sizeof(EsaInfo_t)));
    fillSnapshot(info);
    altEventLogM(eventRecord(), oMpuParams);
}

void sendBuffers() {
    std::memcpy(startEvent(ESA_E_ID_ES_ADAPTERMP_BUGCHECK_MSG_BUFFER, BUFFER_EXCERPT), esaControl.esaInMsg,
                BUFFER_EXCERPT);
    altEventLogM(eventRecord(), oMpuParams);
    std::memcpy(startEvent(ESA_E_ID_ES_ADAPTERMP_BUGCHECK_WORKSPACE_BUFFER, BUFFER_EXCERPT), esaControl.esaWorkSpace,
                BUFFER_EXCERPT);
    altEventLog(eventRecord(), oMpuParams, ALT_EVENT_LOG_K_BUGCHECK);
}

} // namespace

void esaFault(const CHAR_t* fileName, int lineNo, const CHAR_t* fnName, const CHAR_t* msg, ...) {
    ESA_OPERATION();
    std::va_list arguments;
    va_start(arguments, msg);
    (void)std::vsnprintf(esaDebugMsg, sizeof(esaDebugMsg), msg, arguments);
    va_end(arguments);

    traceReport(fileName, lineNo, fnName);
    traceControlBlock();
    sendErrorMessage(fileName, lineNo, fnName);
    sendSnapshot();
    sendBuffers();
}
