/**
 * The platform's event log: one JSON object a line in the file altevents.jsonl. A record may come from the handler
 * of a fatal signal, so nothing here uses stdio, the heap or a lock.
 */
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>
#include <span>
#include <string_view>

#include <unistd.h>

#include "esa_evl.h"
#include "journal.h"
#include "log_file.h"
#include "mmsg.h"
#include "platform.h"

namespace {

constexpr std::string_view LOG_FILE = "/altevents.jsonl";

/** Room for everything of a line but the body: the names (97 characters) and seven numbers of at most 42 digits. */
constexpr std::size_t LINE_K_FRAME = 160;

/** Records come from message buffers of this size; a longer body is legal, but nobody sends one. */
constexpr std::size_t COMMON_K_BODY_MAX = 4064;
constexpr std::size_t BODY_MAX = 65535;

char* putText(char* at, std::string_view text) {
    return std::copy(text.begin(), text.end(), at);
}

char* putMember(char* at, std::string_view nameAndColon, std::int64_t value) {
    at = putText(at, nameAndColon);
    return std::to_chars(at, at + std::numeric_limits<std::int64_t>::digits10 + 2, value).ptr;
}

char* putHex(char* at, const U8_t* bytes, std::size_t count) {
    constexpr char DIGITS[] = "0123456789abcdef";
    for (std::size_t i = 0; i < count; ++i) {
        *at++ = DIGITS[bytes[i] >> 4];
        *at++ = DIGITS[bytes[i] & 0xF];
    }
    return at;
}

char* putRecord(char* at, const EmpEvLogHeader_t& record) {
    const auto* body = reinterpret_cast<const U8_t*>(&record) + sizeof(record);
    at = putMember(at, R"({"time":)", std::int64_t{time(nullptr)});
    at = putMember(at, R"(,"evId":)", record.evId);
    at = putMember(at, R"(,"evSource":)", record.evSource);
    at = putMember(at, R"(,"evType":)", record.evType);
    at = putMember(at, R"(,"evCategory":)", record.evCategory);
    at = putMember(at, R"(,"evIdVersion":)", record.evIdVersion);
    at = putMember(at, R"(,"evStructLength":)", record.evStructLength);
    at = putText(at, R"(,"body":")");
    at = putHex(at, body, record.evStructLength);
    return putText(at, "\"}\n");
}

/** The last resort: there is nobody left to tell that it fails. */
void writeToStandardError(std::string_view line) {
    while (!line.empty()) {
        const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
        if (written > 0) {
            line.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || errno != EINTR) {
            return;
        }
    }
}

/** Appends the line to the event log of the block's directory; false when there is no block or it cannot be kept. */
bool keepLine(std::span<CHAR_t> line, const MPU_PARAMS_t* params) {
    if (params == nullptr || params->logDirectory[0] == '\0') {
        return false;
    }
    char path[sizeof(params->logDirectory) + LOG_FILE.size() + 1];
    char* end = putText(path, {params->logDirectory, strnlen(params->logDirectory, sizeof(params->logDirectory))});
    end = putText(end, LOG_FILE);
    *end = '\0';
    return logFileAppend(path, line);
}

/** Appends the record, whose body has at most CAPACITY bytes, to the log; to standard error when that fails. */
template <std::size_t CAPACITY>
[[gnu::noinline]] void append(const EmpEvLogHeader_t& record, const MPU_PARAMS_t* params) {
    char text[1 + LINE_K_FRAME + 2 * CAPACITY];
    const char* end = putRecord(text + 1, record);
    const std::span<CHAR_t> line{text + 1, static_cast<std::size_t>(end - text - 1)};
    if (!keepLine(line, params)) {
        // In the journal on a line of its own, whatever the process has printed before.
        const std::size_t lineEnds = journalListens() ? 1 : 0;
        text[0] = '\n';
        writeToStandardError({line.data() - lineEnds, line.size() + lineEnds});
    }
}

std::string_view textOf(const U8_t* bytes, std::size_t size) {
    const auto* text = reinterpret_cast<const CHAR_t*>(bytes);
    return {text, strnlen(text, size)};
}

/** A record that says why the process ends is put into the journal, where people look first. */
void tellJournal(const EmpEvLogHeader_t& record) {
    const auto* body = reinterpret_cast<const U8_t*>(&record) + sizeof(record);
    if (record.evSource != MMSG_E_EPID_ES_ADAPTERMP || record.evId != ESA_E_ID_ES_ADAPTERMP_BUGCHECK_ERROR_MSG ||
        record.evStructLength != sizeof(EsaErrorMsg_t)) {
        return;
    }
    const auto& error = *reinterpret_cast<const EsaErrorMsg_t*>(body);
    char number[10];
    const char* end = std::to_chars(number, number + sizeof(number), U32_t{error.esaLineNumber}).ptr;
    journalLine({"esa: critical error in ",
                 textOf(error.esaFunctionName, sizeof(error.esaFunctionName)),
                 " (",
                 textOf(error.esaFileName, sizeof(error.esaFileName)),
                 ":",
                 {number, static_cast<std::size_t>(end - number)},
                 "): ",
                 textOf(error.esaErrorMsg, sizeof(error.esaErrorMsg))});
}

} // namespace

void altEventLogM(const EmpEvLogHeader_t* record, const MPU_PARAMS_t* params) {
    const int callersErrno = errno; // the code that a signal interrupted may be about to look at it
    /* The whole line is built before it is written, whatever its length. The large buffer is kept out of the frame
       of the common case: a signal handler's stack may be small. */
    if (record->evStructLength <= COMMON_K_BODY_MAX) {
        append<COMMON_K_BODY_MAX>(*record, params);
    } else {
        append<BODY_MAX>(*record, params);
    }
    tellJournal(*record);
    errno = callersErrno;
}

void altEventLog(const EmpEvLogHeader_t* record, const MPU_PARAMS_t* params, S32_t action) {
    altEventLogM(record, params);
    if (action == ALT_EVENT_LOG_K_BUGCHECK) {
        abort();
    }
}
