/** The writers of trace lines. */
#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include <stdio_ext.h>
#include <unistd.h>

#include "trace_private.h"

namespace {

constexpr U32_t PREFIX_SIZE = 168;
/** A dump's text is written out when it is longer than this: one more byte with its address still fits. */
constexpr U32_t DUMP_FLUSH_LENGTH = 1008;
constexpr U32_t DUMP_BYTES_PER_LINE = 32;
constexpr U32_t DUMP_BYTES_PER_GROUP = 8;

U16_t currentLevel() {
    const U8_t module = traceData.moduleIndex;
    return module < traceData.numModLevels ? __atomic_load_n(&traceData.modLevels[module], __ATOMIC_RELAXED) : U16_t{0};
}

void addStamp(TraceText_t& prefix, U16_t level) {
    if ((level & TRC_K_TIMESTAMP) != 0) {
        prefix.add(traceCurrentStamp());
    }
}

/** "file:function:line" as far as the level asks for them; `end` follows the line number. */
void addPlace(TraceText_t& prefix, U16_t level, std::string_view end) {
    if ((level & TRC_K_FILE) != 0) {
        prefix.addName(traceData.fileName);
        prefix.add(':');
    }
    if ((level & TRC_K_FUNCTION) != 0) {
        prefix.addName(traceData.funcName);
        prefix.add(':');
    }
    if ((level & (TRC_K_FILE | TRC_K_FUNCTION)) != 0) {
        prefix.addNumber(traceData.lineNumber);
        prefix.add(end);
    }
}

std::string_view currentText() {
    return {traceData.infoBuf, strnlen(traceData.infoBuf, sizeof traceData.infoBuf - 1)};
}

/** Whether nothing of an earlier line waits in the stream: one that could not be written stays there. */
bool isFlushed(FILE* stream) {
    return __fpending(stream) == 0;
}

/** Puts a whole line into the file. The stream is passed by where that cannot change the order of the bytes. */
void writeLine(const CHAR_t* line, std::size_t length) {
    FILE* stream = traceStream();
    const int fd = isFlushed(stream) ? fileno(stream) : -1;
    const ssize_t written = fd < 0 ? 0 : write(fd, line, length);
    const std::size_t done = written < 0 ? 0 : static_cast<std::size_t>(written);
    if (done < length) {
        (void)std::fwrite(line + done, 1, length - done, stream);
        (void)std::fflush(stream);
    }
}

/** A line that is put together first and then reaches the stream, and the file, in one piece. */
struct Line_t {
    CHAR_t buffer[PREFIX_SIZE + TRC_K_INFO_SIZE + 1];
    TraceText_t preBuf{buffer, PREFIX_SIZE - 1};

    void finishAndWrite(std::string_view text) {
        TraceText_t rest(buffer + preBuf.length(), static_cast<U32_t>(sizeof buffer) - preBuf.length());
        rest.add(text);
        rest.add('\n');
        writeLine(buffer, preBuf.length() + rest.length());
    }
};

void writeCallLine(std::string_view direction) {
    traceCountLine();
    const U16_t level = currentLevel();
    Line_t line;
    addStamp(line.preBuf, level);
    if ((level & TRC_K_FILE) != 0) {
        line.preBuf.addName(traceData.fileName);
        line.preBuf.add(':');
        line.preBuf.addNumber(traceData.lineNumber);
        line.preBuf.add(':');
    }
    line.preBuf.add(direction);
    line.preBuf.addName(traceData.funcName);
    line.preBuf.add(": ");
    line.finishAndWrite(currentText());
    (void)mpuMutex_Unlock(&traceData.lock);
}

void writeBufferedDump() {
    (void)std::fwrite(traceData.infoBuf, 1, traceData.infoBufLen, traceStream());
    traceData.infoBufLen = 0;
}

void bufferHex(U32_t value, U32_t digits) {
    for (U32_t shift = digits * 4; shift > 0;) {
        shift -= 4;
        traceData.infoBuf[traceData.infoBufLen++] = "0123456789ABCDEF"[(value >> shift) & 0xF];
    }
}

void bufferText(std::string_view text) {
    std::memcpy(traceData.infoBuf + traceData.infoBufLen, text.data(), text.size());
    traceData.infoBufLen += static_cast<U32_t>(text.size());
}

void writeBytes(const U8_t* bytes, U32_t length) {
    traceData.infoBufLen = 0;
    for (U32_t i = 0; i < length; ++i) {
        if (traceData.infoBufLen > DUMP_FLUSH_LENGTH) {
            writeBufferedDump();
            ++traceData.logWriteCount;
        }
        if (i % DUMP_BYTES_PER_LINE == 0) {
            bufferText("\n0x");
            bufferHex(static_cast<U32_t>(reinterpret_cast<std::uintptr_t>(bytes) + i), 8);
            bufferText(": ");
        } else if (i % DUMP_BYTES_PER_GROUP == 0) {
            bufferText(" ");
        }
        bufferHex(bytes[i], 2);
    }
    writeBufferedDump();
}

/** Ends the text that has been printed into the buffer; `length` is the result of vsnprintf() or snprintf(). */
void endText(int length) {
    traceData.infoBufLen = length < 0 ? 0 : std::min(static_cast<U32_t>(length), TRC_K_INFO_SIZE - 1);
    traceData.infoBuf[traceData.infoBufLen] = '\0';
}

/** Puts `text` into the buffer without a terminator; its room is the whole buffer. */
void copyLabel(const CHAR_t* text) {
    traceData.infoBufLen = static_cast<U32_t>(strnlen(text, TRC_K_INFO_SIZE));
    std::memcpy(traceData.infoBuf, text, traceData.infoBufLen);
}

/** Callers read errno after they have traced a failure. */
class ErrnoKeeper_t {
public:
    ErrnoKeeper_t() = default;
    ErrnoKeeper_t(const ErrnoKeeper_t&) = delete;
    ErrnoKeeper_t& operator=(const ErrnoKeeper_t&) = delete;
    ~ErrnoKeeper_t() { errno = saved_; }

private:
    int saved_ = errno;
};

} // namespace

void traceBeginCall(U8_t module, const CHAR_t* file, const CHAR_t* function, U32_t line) {
    (void)mpuMutex_Get(&traceData.lock);
    traceData.moduleIndex = module;
    traceData.fileName = file;
    traceData.funcName = function;
    traceData.lineNumber = line;
    traceData.mpuParams = nullptr;
}

S32_t TRACE__logInfo(BOOLEAN write, BOOLEAN bugCheck) {
    traceCountLine();
    if (write != 0) {
        const U16_t level = currentLevel();
        Line_t line;
        addStamp(line.preBuf, level);
        if (bugCheck != 0) {
            line.preBuf.add("TRACE LOG BUG-CHECK AT: ");
        }
        addPlace(line.preBuf, level, ":  ");
        line.finishAndWrite(currentText());
    }
    if (bugCheck != 0) {
        TRACE__bugCheck();
    }
    return mpuMutex_Unlock(&traceData.lock);
}

void TRACE__logDump(const void* buffer, U32_t length) {
    traceCountLine();
    CHAR_t preBuf[PREFIX_SIZE];
    TraceText_t prefix(preBuf, PREFIX_SIZE - 1);
    addPlace(prefix, currentLevel(), ": ");
    (void)std::fwrite(preBuf, 1, prefix.length(), traceStream());
    const U32_t room = std::min(traceData.infoBufLen, TRC_K_INFO_SIZE);
    (void)std::fwrite(traceData.infoBuf, 1, strnlen(traceData.infoBuf, room), traceStream());
    writeBytes(static_cast<const U8_t*>(buffer), length);
    (void)std::fputc('\n', traceStream());
    (void)std::fflush(traceStream());
    (void)mpuMutex_Unlock(&traceData.lock);
}

void TRACE__logEnter() {
    writeCallLine("ENTERING into func: ");
}

void TRACE__logReturn() {
    writeCallLine("EXITING from func: ");
}

void TRACE__info(const CHAR_t* file, const CHAR_t* function, U32_t line, const CHAR_t* format, ...) {
    const ErrnoKeeper_t keeper;
    traceBeginCall(0, file, function, line);
    va_list args;
    va_start(args, format);
    endText(traceFormat(traceData.infoBuf, sizeof traceData.infoBuf, format, args));
    va_end(args);
    (void)TRACE__logInfo(1, 0);
}

void TRACE__infoBugCheck(const CHAR_t* file, const CHAR_t* function, U32_t line, const CHAR_t* format, ...) {
    traceBeginCall(0, file, function, line);
    va_list args;
    va_start(args, format);
    endText(traceFormat(traceData.infoBuf, sizeof traceData.infoBuf, format, args));
    va_end(args);
    (void)TRACE__logInfo(1, 1);
    std::abort(); // never reached: the bug check has ended the process
}

void TRACE__dump(const CHAR_t* file, const CHAR_t* function, U32_t line, const CHAR_t* label, const void* buffer,
                 U32_t length) {
    const ErrnoKeeper_t keeper;
    traceBeginCall(0, file, function, line);
    copyLabel(label);
    TRACE__logDump(buffer, length);
}

void TRACE__enter(U8_t module, const CHAR_t* file, const CHAR_t* function, U32_t line, const CHAR_t* text) {
    const ErrnoKeeper_t keeper;
    traceBeginCall(module, file, function, line);
    endText(std::snprintf(traceData.infoBuf, sizeof traceData.infoBuf, "%s", text));
    TRACE__logEnter();
}

void TRACE__return(U8_t module, const CHAR_t* file, const CHAR_t* function, U32_t line, const CHAR_t* text) {
    const ErrnoKeeper_t keeper;
    traceBeginCall(module, file, function, line);
    endText(std::snprintf(traceData.infoBuf, sizeof traceData.infoBuf, "%s", text));
    TRACE__logReturn();
}
