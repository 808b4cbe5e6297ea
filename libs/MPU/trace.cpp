#include "trace.h"

#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "trace_private.h"

namespace {

constexpr const CHAR_t* STDERR_NAME = "<stderr>";
/** A log that has grown beyond this many bytes is left behind for the next numbered one. */
constexpr off_t MAX_LOG_SIZE = 1999999999;
/** Room for a whole dump of the largest message, so that it reaches the file in one write. */
constexpr std::size_t STREAM_BUFFER_SIZE = 16384;

/** Level words of a process that has not started the facility: whatever module asks, nothing is traced. */
U16_t noLevels[256];

/** The one open log's stdio buffer. It is static because nothing is allocated for writing. */
CHAR_t streamBuffer[STREAM_BUFFER_SIZE];

constexpr TRACE_DATA_t IDLE = {.lock = PTHREAD_MUTEX_INITIALIZER,
                               .infoBuf = {},
                               .fd = nullptr,
                               .fileName = nullptr,
                               .funcName = nullptr,
                               .modNames = nullptr,
                               .modLevels = noLevels,
                               .mpuParams = nullptr,
                               .logWriteCount = 0,
                               .infoBufLen = 0,
                               .lineNumber = 0,
                               .log_to_file = 0,
                               .logNameProto = {},
                               .moduleIndex = 0,
                               .logInstanceNumber = 0,
                               .numModLevels = 0};

bool fileIsOpen() {
    return traceData.log_to_file != 0 && traceData.fd != nullptr;
}

void closeFile() {
    if (fileIsOpen()) {
        (void)std::fclose(traceData.fd); // flushes; what cannot be written is lost
    }
    traceData.fd = nullptr;
}

/**
 * Adds the log's name pattern with its %d conversion ("%d", "%3d", "%02d") replaced by `number`. Anything else,
 * a conversion that the end of the path buffer has cut included, stands for itself.
 */
void addNumberedName(TraceText_t& out, const CHAR_t* pattern, U32_t number) {
    while (*pattern != '\0') {
        const CHAR_t* end = pattern + 1;
        const CHAR_t fill = (*end == '0') ? '0' : ' ';
        U32_t width = 0;
        while (*end >= '0' && *end <= '9') {
            width = width * 10 + static_cast<U32_t>(*end++ - '0');
        }
        if (*pattern == '%' && *end == 'd') {
            out.addNumber(number, width, fill);
            pattern = end + 1;
        } else {
            out.add({pattern++, 1});
        }
    }
}

/**
 * Opens `path` for writing, emptied; nullptr when it cannot be had or is anything but a regular file of one name.
 * Neither a link nor a pipe that stands in the log's place may be followed, waited for or written to.
 */
FILE* openOwnFile(const CHAR_t* path) {
    const int fd = open(path, O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0640);
    struct stat status = {};
    FILE* file = nullptr;
    if (fd >= 0 && fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink <= 1 &&
        ftruncate(fd, 0) == 0) {
        file = fdopen(fd, "w");
    }
    if (fd >= 0 && file == nullptr) {
        (void)close(fd);
    }
    return file;
}

/** Lays the level words, the name pointers and the names into one block. Without memory, tracing stays off. */
void allocateModules(U8_t numModules, const CHAR_t* const* modNames) {
    const std::size_t align = alignof(CHAR_t*);
    const std::size_t levelBytes = (numModules * sizeof(U16_t) + align - 1) / align * align;
    const std::size_t pointerBytes = numModules * sizeof(CHAR_t*);
    std::size_t nameBytes = 0;
    for (U8_t i = 0; i < numModules; ++i) {
        nameBytes += std::strlen(modNames[i]) + 1;
    }
    auto* block =
        static_cast<CHAR_t*>(numModules == 0 ? nullptr : std::calloc(1, levelBytes + pointerBytes + nameBytes));
    if (block == nullptr) {
        return;
    }
    traceData.modNames = reinterpret_cast<CHAR_t**>(block + levelBytes);
    CHAR_t* name = block + levelBytes + pointerBytes;
    for (U8_t i = 0; i < numModules; ++i) {
        traceData.modNames[i] = name;
        name = stpcpy(name, modNames[i]) + 1;
    }
    traceData.modLevels = reinterpret_cast<U16_t*>(block);
    traceData.numModLevels = numModules;
}

bool moduleExists(S32_t module, const CHAR_t* caller) {
    if (module >= 0 && module < traceData.numModLevels) {
        return true;
    }
    (void)std::fprintf(stderr, "ERROR !! %s: Invalid trace MODULE INDEX \n", caller);
    return false;
}

} // namespace

TRACE_DATA_t traceData = IDLE;

void TRACE__init(const MPU_PARAMS_t* mpuParams, const CHAR_t* logName, U8_t numModules, const CHAR_t* const* modNames) {
    traceData = IDLE;
    (void)mpuMutex_Init(&traceData.lock);
    allocateModules(numModules, modNames);
    TRACE__redirect(mpuParams, logName);
}

void TRACE__redirect(const MPU_PARAMS_t* mpuParams, const CHAR_t* logName) {
    (void)mpuMutex_Get(&traceData.lock);
    closeFile();
    traceData.log_to_file = (mpuParams != nullptr && logName != nullptr && *logName != '\0') ? 1 : 0;
    if (traceData.log_to_file != 0) {
        // A directory that fills its field has no terminator.
        (void)std::snprintf(traceData.logNameProto, sizeof traceData.logNameProto, "%.*s/%s",
                            static_cast<int>(sizeof mpuParams->logDirectory), mpuParams->logDirectory, logName);
    } else {
        (void)std::strcpy(traceData.logNameProto, STDERR_NAME);
    }
    traceData.logWriteCount = 0;
    traceData.logInstanceNumber = 0;
    traceReloadZone();
    TRACE_openLog();
    (void)mpuMutex_Unlock(&traceData.lock);
}

void TRACE__getLogName(CHAR_t* dst) {
    TraceText_t name(dst, TRC_K_LOG_NAME_SIZE - 1);
    if (traceData.log_to_file != 0) {
        // Only the name is a pattern: a directory may have a "%" in its name.
        const CHAR_t* slash = std::strrchr(traceData.logNameProto, '/');
        const CHAR_t* pattern = (slash == nullptr) ? traceData.logNameProto : slash + 1;
        name.add({traceData.logNameProto, static_cast<std::size_t>(pattern - traceData.logNameProto)});
        addNumberedName(name, pattern, traceData.logInstanceNumber);
    } else {
        name.add(STDERR_NAME);
    }
    dst[name.length()] = '\0';
}

void TRACE_openLog() {
    traceData.logWriteCount = 0;
    ++traceData.logInstanceNumber;
    closeFile();
    if (traceData.log_to_file != 0) {
        CHAR_t path[TRC_K_LOG_NAME_SIZE];
        TRACE__getLogName(path);
        traceData.fd = openOwnFile(path);
        if (traceData.fd != nullptr) {
            (void)std::setvbuf(traceData.fd, streamBuffer, _IOFBF, sizeof streamBuffer);
            return;
        }
        (void)std::fprintf(stderr, "%s: Failed to open logfile %s", "TRACE_openLog", path);
        (void)std::fputs(" So We are going print all log messages on to stdout", stderr);
        traceData.log_to_file = 0;
    }
    traceData.fd = stderr;
}

void TRACE_checkLog() {
    traceData.logWriteCount = 0;
    if (!fileIsOpen()) {
        return;
    }
    CHAR_t path[TRC_K_LOG_NAME_SIZE];
    TRACE__getLogName(path);
    struct stat status = {};
    if (stat(path, &status) == 0 && status.st_size > MAX_LOG_SIZE) {
        TRACE_openLog();
    }
}

S32_t TRACE__setTraceLevel(S32_t module, U16_t level) {
    if (!moduleExists(module, "TRACE__setTraceLevel")) {
        return -1;
    }
    __atomic_store_n(&traceData.modLevels[module], level, __ATOMIC_RELAXED);
    return 0;
}

U16_t TRACE__getTraceLevel(S32_t module) {
    if (!moduleExists(module, "TRACE__getTraceLevel")) {
        return 0;
    }
    return __atomic_load_n(&traceData.modLevels[module], __ATOMIC_RELAXED);
}

void TRACE__done() {
    if (traceData.numModLevels != 0) {
        U16_t* block = traceData.modLevels;
        traceData.modLevels = noLevels;
        traceData.modNames = nullptr;
        traceData.numModLevels = 0;
        std::free(block);
    }
    (void)mpuMutex_Done(&traceData.lock);
    traceData.lock = IDLE.lock; // a bug check may still want to write its line
    closeFile();
    traceData.log_to_file = 0;
    traceData.fd = stderr;
}

FILE* traceStream() {
    return traceData.fd == nullptr ? stderr : traceData.fd;
}

void traceCountLine() {
    if (++traceData.logWriteCount > TRC_K_LINES_PER_CHECK) {
        TRACE_checkLog();
    }
}
