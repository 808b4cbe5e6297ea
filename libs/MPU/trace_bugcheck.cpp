/** The last act of a process with a broken invariant: its last trace text goes to the event log. */
#include <cstdlib>
#include <cstring>

#include "emp_mesgs.h"
#include "mmsg.h"
#include "platform.h"
#include "trace_private.h"

namespace {

constexpr U16_t BUG_CHECK_EVENT_ID = 2000;
constexpr std::size_t MAX_FILE_NAME_LENGTH = 20;

/** An event for the event manager, in a message of the largest size. */
struct BugCheckMessage_t {
    MMCH_t mmch;
    EmpEvLogHeader_t evLogHeader;
    be16_t lineNumber;
    CHAR_t names[30]; /**< file name without its extension, a zero, function name */
    CHAR_t text[256]; /**< zero-terminated */
    U8_t unused[3560];
};
WIRE_RECORD(BugCheckMessage_t, 4064);

constexpr std::size_t FIXED_BODY_SIZE = sizeof(be16_t) + sizeof(BugCheckMessage_t::names);

BugCheckMessage_t message;

std::string_view fileNameWithoutExtension() {
    const std::string_view name = (traceData.fileName == nullptr) ? "" : traceData.fileName;
    return name.substr(0, name.rfind('.')).substr(0, MAX_FILE_NAME_LENGTH);
}

void fillNames() {
    TraceText_t names(message.names, sizeof message.names);
    names.add(fileNameWithoutExtension());
    names.add({"\0", 1});
    names.add(traceData.funcName == nullptr ? "" : traceData.funcName);
}

/** Returns the text's length, its terminating zero included. */
std::size_t fillText() {
    constexpr std::size_t END_OF_LINE_AND_ZERO = 2;
    TraceText_t text(message.text, sizeof message.text - END_OF_LINE_AND_ZERO);
    text.add("BUG CHECK: ");
    text.add({traceData.infoBuf, strnlen(traceData.infoBuf, sizeof traceData.infoBuf)});
    message.text[text.length()] = '\n';
    return text.length() + END_OF_LINE_AND_ZERO;
}

} // namespace

void TRACE__bugCheck() {
    wireClear(message);
    message.mmch.opcode.request.protocol = MMSG_E_PROTOCOL_EVENTMGR;
    message.mmch.opcode.request.type = EMP_E_MSGS_LOG;
    message.evLogHeader.evSource = MMSG_E_EPID_SYSTEM_CONFIGMP;
    message.evLogHeader.evType = EMP_E_TYPE_ERROR;
    message.evLogHeader.evCategory = EMP_E_CATEGORY_SYSTEM;
    message.evLogHeader.evIdVersion = 1;
    message.evLogHeader.evId = BUG_CHECK_EVENT_ID;
    message.lineNumber = static_cast<U16_t>(traceData.lineNumber);
    fillNames();
    message.evLogHeader.evStructLength = static_cast<U16_t>(FIXED_BODY_SIZE + fillText());
    altEventLogM(&message.evLogHeader, traceData.mpuParams);
    std::abort();
}
