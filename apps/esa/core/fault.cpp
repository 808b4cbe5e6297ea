#include "core/fault.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <span>

#include "core/control_block.h"
#include "core/operation.h"
#include "platform.h"

static CHAR_t esaDebugMsg[1024];
alignas(8) static CHAR_t esaBugCheckWorkSpace[MMSG_K_MAX_SIZE];

namespace {

constexpr U8_t BUGCHECK_SEVERITY = EMP_E_TYPE_ERROR;
constexpr U8_t EVENT_VERSION = 1;
constexpr U16_t BUFFER_EXCERPT = 256;

/** One line of the dump: how a field of the control block is shown. */
struct DumpLine_t {
    enum Kind_e { NUMBER, TEXT, BYTES } kind;
    const CHAR_t* text; /**< format of the line, or the label of a hex dump */
    const void* field;
    U32_t size;
};

#define NUMBER_LINE(text, field)                                                                                       \
    { DumpLine_t::NUMBER, text, &esaControl.field, sizeof(esaControl.field) }
#define BYTES_LINE(text, field)                                                                                        \
    { DumpLine_t::BYTES, text, &esaControl.field, sizeof(esaControl.field) }

const DumpLine_t BEFORE_TEMPERATURES[] = {
    NUMBER_LINE("esaControl.socketFdMSM                       = [%d]", socketFdMSM),
    {DumpLine_t::TEXT, "esaControl.socketAddressMSM.sun_path         = [%s]", esaControl.socketAddressMSM.sun_path, 0},
    NUMBER_LINE("esaControl.i2cFileFd                         = [%d]", i2cFileFd),
    NUMBER_LINE("esaControl.enclosureType                     = [%d]", enclosureType),
    NUMBER_LINE("esaControl.elementTypeMaxNumber              = [%d]", elementTypeMaxNumber),
    NUMBER_LINE("esaControl.deviceMaxNumber                   = [%d]", deviceMaxNumber),
    NUMBER_LINE("esaControl.powerSupplyMaxNumber              = [%d]", powerSupplyMaxNumber),
    NUMBER_LINE("esaControl.coolingMaxNumber                  = [%d]", coolingMaxNumber),
    NUMBER_LINE("esaControl.temperatureSensorMaxNumber        = [%d]", temperatureSensorMaxNumber),
    NUMBER_LINE("esaControl.audibleAlarmMaxNumber             = [%d]", audibleAlarmMaxNumber),
    NUMBER_LINE("esaControl.pageCodeInRecentSndDiagCmd        = [%d]", pageCodeInRecentSndDiagCmd),
    BYTES_LINE("esaControl.sesTypeDescriptorList =", sesTypeDescriptorList),
    NUMBER_LINE("esaControl.deviceElementControlOverall       = [%d]", deviceElementControlOverall),
    BYTES_LINE("esaControl.deviceElementControl =", deviceElementControl),
    NUMBER_LINE("esaControl.deviceElementStatusOverall        = [%d]", deviceElementStatusOverall),
    BYTES_LINE("esaControl.deviceElementStatus =", deviceElementStatus),
    NUMBER_LINE("esaControl.driveFaultLedStatus0              = [0x%x]", driveFaultLedStatus0),
    NUMBER_LINE("esaControl.driveFaultLedStatus1              = [0x%x]", driveFaultLedStatus1),
    NUMBER_LINE("esaControl.powerSupplyElementControlOverall  = [%d]", powerSupplyElementControlOverall),
    BYTES_LINE("esaControl.powerSupplyElementControl  =", powerSupplyElementControl),
    NUMBER_LINE("esaControl.powerSupplyElementStatusOverall   = [%d]", powerSupplyElementStatusOverall),
    BYTES_LINE("esaControl.powerSupplyElementStatus  =", powerSupplyElementStatus),
    NUMBER_LINE("esaControl.powerSupplyStatus                 = [0x%x]", powerSupplyStatus),
    NUMBER_LINE("esaControl.coolingElementControlOverall      = [%d]", coolingElementControlOverall),
    BYTES_LINE("esaControl.coolingElementControl  =", coolingElementControl),
    NUMBER_LINE("esaControl.coolingElementStatusOverall       = [%d]", coolingElementStatusOverall),
    BYTES_LINE("esaControl.coolingElementStatus  =", coolingElementStatus),
    BYTES_LINE("esaControl.coolingElementOnOff  =", coolingElementOnOff),
    NUMBER_LINE("esaControl.fanFaultStatus                    = [0x%x]", fanFaultStatus),
};

const DumpLine_t AFTER_TEMPERATURES[] = {
    NUMBER_LINE("esaControl.audibleAlarmElementControlOverall = [%d]", audibleAlarmElementControlOverall),
    BYTES_LINE("esaControl.audibleAlarmElementControl  =", audibleAlarmElementControl),
    NUMBER_LINE("esaControl.audibleAlarmElementStatusOverall  = [%d]", audibleAlarmElementStatusOverall),
    BYTES_LINE("esaControl.audibleAlarmElementStatus  =", audibleAlarmElementStatus),
    NUMBER_LINE("esaControl.alarmState                        = %d", alarmState),
    NUMBER_LINE("esaControl.compositeFaultStatus              = [0x%x]", compositeFaultStatus),
    NUMBER_LINE("esaControl.esaDebug                          = [%d]", esaDebug),
    BYTES_LINE("esaControl.vitesse.vsc055GPD  =", vitesse.vsc055GPD),
    BYTES_LINE("esaControl.vitesse.vsc055DDP  =", vitesse.vsc055DDP),
    BYTES_LINE("esaControl.vitesse.vsc055FSC  =", vitesse.vsc055FSC),
    NUMBER_LINE("esaControl.selectTimeout.sec                 = [%d]", selectTimeout.sec),
    NUMBER_LINE("esaControl.pollTimeout.sec                   = [%d]", pollTimeout.sec),
    {DumpLine_t::BYTES, "esaControl.esaInMsg  =", esaControl.esaInMsg, BUFFER_EXCERPT},
    {DumpLine_t::BYTES, "esaControl.esaWorkSpace  =", esaControl.esaWorkSpace, BUFFER_EXCERPT},
};

/** A field of one or four bytes, as the host keeps it. */
U32_t numberOf(const DumpLine_t& line) {
    if (line.size == sizeof(U8_t)) {
        return *static_cast<const U8_t*>(line.field);
    }
    return *static_cast<const U32_t*>(line.field);
}

void traceLines(std::span<const DumpLine_t> lines) {
    for (const DumpLine_t& line : lines) {
        switch (line.kind) {
        case DumpLine_t::NUMBER:
            ESA_TRACE(line.text, numberOf(line));
            break;
        case DumpLine_t::TEXT:
            ESA_TRACE(line.text, static_cast<const CHAR_t*>(line.field));
            break;
        case DumpLine_t::BYTES:
            ESA_TRACE_DUMP(line.text, line.field, line.size);
            break;
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
    header.evIdVersion = EVENT_VERSION;
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

template <typename T, std::size_t N>
void copyRecords(T (&to)[N], const T (&from)[N]) {
    std::memcpy(static_cast<void*>(to), from, sizeof(to));
}

void fillConnections(EsaInfo_t& info) {
    info.socketFdMSM = static_cast<U32_t>(esaControl.socketFdMSM);
    info.socketAddressMSM.family = static_cast<U16_t>(esaControl.socketAddressMSM.sun_family);
    copyRecords(info.socketAddressMSM.path, esaControl.socketAddressMSM.sun_path);
    info.i2cFileFd = static_cast<U32_t>(esaControl.i2cFileFd);
    info.enclosureType = esaControl.enclosureType;
    info.elementTypeMaxNumber = esaControl.elementTypeMaxNumber;
    info.deviceMaxNumber = esaControl.deviceMaxNumber;
    info.powerSupplyMaxNumber = esaControl.powerSupplyMaxNumber;
    info.coolingMaxNumber = esaControl.coolingMaxNumber;
    info.temperatureSensorMaxNumber = esaControl.temperatureSensorMaxNumber;
    info.audibleAlarmMaxNumber = esaControl.audibleAlarmMaxNumber;
    info.pageCodeInRecentSndDiagCmd = esaControl.pageCodeInRecentSndDiagCmd;
    copyRecords(info.sesTypeDescriptorList, esaControl.sesTypeDescriptorList);
}

void fillElements(EsaInfo_t& info) {
    info.deviceElementControlOverall = esaControl.deviceElementControlOverall;
    copyRecords(info.deviceElementControl, esaControl.deviceElementControl);
    info.deviceElementStatusOverall = esaControl.deviceElementStatusOverall;
    copyRecords(info.deviceElementStatus, esaControl.deviceElementStatus);
    info.driveFaultLedStatus0 = esaControl.driveFaultLedStatus0;
    info.driveFaultLedStatus1 = esaControl.driveFaultLedStatus1;
    info.powerSupplyElementControlOverall = esaControl.powerSupplyElementControlOverall;
    copyRecords(info.powerSupplyElementControl, esaControl.powerSupplyElementControl);
    info.powerSupplyElementStatusOverall = esaControl.powerSupplyElementStatusOverall;
    copyRecords(info.powerSupplyElementStatus, esaControl.powerSupplyElementStatus);
    info.powerSupplyStatus = esaControl.powerSupplyStatus;
    info.coolingElementControlOverall = esaControl.coolingElementControlOverall;
    copyRecords(info.coolingElementControl, esaControl.coolingElementControl);
    info.coolingElementStatusOverall = esaControl.coolingElementStatusOverall;
    copyRecords(info.coolingElementStatus, esaControl.coolingElementStatus);
    copyRecords(info.coolingElementOnOff, esaControl.coolingElementOnOff);
    info.fanFaultStatus = esaControl.fanFaultStatus;
}

void fillConditions(EsaInfo_t& info) {
    for (int i = 0; i < ESA_K_MAX_TEMPERATURE_SENSORS; ++i) {
        info.temperatureSensor[i] = static_cast<U16_t>(esaControl.temperatureSensor[i]);
        info.temperatureReportStatus[i] = esaControl.temperatureReportStatus[i];
    }
    info.audibleAlarmElementControlOverall = esaControl.audibleAlarmElementControlOverall;
    copyRecords(info.audibleAlarmElementControl, esaControl.audibleAlarmElementControl);
    info.audibleAlarmElementStatusOverall = esaControl.audibleAlarmElementStatusOverall;
    copyRecords(info.audibleAlarmElementStatus, esaControl.audibleAlarmElementStatus);
    info.alarmState = esaControl.alarmState;
    info.compositeFaultStatus = esaControl.compositeFaultStatus;
    info.esaDebug = esaControl.esaDebug;
    wireCopy(info.vitesse, esaControl.vitesse);
    info.selectTimeout = {esaControl.selectTimeout.sec, esaControl.selectTimeout.usec};
    info.pollTimeout = {esaControl.pollTimeout.sec, esaControl.pollTimeout.usec};
}

void sendSnapshot() {
    auto& info = wireAt<EsaInfo_t>(startEvent(ESA_E_ID_ES_ADAPTERMP_BUGCHECK_INFO, sizeof(EsaInfo_t)));
    fillConnections(info);
    fillElements(info);
    fillConditions(info);
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
