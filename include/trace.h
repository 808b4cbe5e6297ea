/**
 * Trace and log facility: one line a call, into numbered files of the log directory or standard error.
 *
 * A trace call whose level bit is off costs two loads, a test and a branch; nothing is evaluated or formatted.
 */
#pragma once

#include <cstdio>

#include "mpu_gbl.h"
#include "osdep.h"

/** Trace module indices: every process family counts from 0. */
enum TRC_MODULE_INDEX_e : U8_t {
    TRC_E_MOD_BEGIN = 0,
    TRC_E_MOD_CMAP_BEGIN = 0,
    TRC_E_MOD_DDLM = 0,
    TRC_E_MOD_CEE = 1,
    TRC_E_MOD_AIM = 2,
    TRC_E_MOD_ESM = 3,
    TRC_E_MOD_ICS = 4,
    TRC_E_MOD_NCS = 5,
    TRC_E_MOD_SCC = 6,
    TRC_E_MOD_VOLMGR = 7,
    TRC_E_MOD_CLASS = 8,
    TRC_E_MOD_CMAP_DEFINED_MODS = 9,
    TRC_E_MOD_MSM_BEGIN = 0,
    TRC_E_MOD_MSM = 0,
    TRC_E_MOD_MSM_DEFINED_MODS = 1,
    TRC_E_MOD_EMP_BEGIN = 0,
    TRC_E_MOD_EMP = 0,
    TRC_E_MOD_EMP_DEFINED_MODS = 1,
    TRC_E_MOD_ESA_BEGIN = 0,
    TRC_E_MOD_ESA = 0,
    TRC_E_MOD_ESA_DEFINED_MODS = 1,
};

/** Bits of a module's level word. */
inline constexpr U16_t TRC_K_TIMESTAMP = 0x8000; /**< prefix: time stamp */
inline constexpr U16_t TRC_K_FUNCTION = 0x4000;  /**< prefix: function name */
inline constexpr U16_t TRC_K_FILE = 0x2000;      /**< prefix: source file name */
inline constexpr U16_t TRC_K_ENTRY_EXIT = 0x80;  /**< function entry and exit lines are written */
inline constexpr U16_t TRC_K_INFO = 0x10;        /**< information lines and dumps are written */

inline constexpr U32_t TRC_K_INFO_SIZE = 1024;        /**< longest text of a call, terminator included */
inline constexpr U32_t TRC_K_LOG_NAME_SIZE = 192;     /**< longest log path, terminator included */
inline constexpr U32_t TRC_K_LINES_PER_CHECK = 99999; /**< lines written before the file's size is looked at */

struct TRACE_DATA_t {
    MPU_MUTEX_t lock; /**< guards this record and the stream, from formatting to the end of writing */
    CHAR_t infoBuf[TRC_K_INFO_SIZE];
    FILE* fd; /**< the open log, or standard error */
    const CHAR_t* fileName;
    const CHAR_t* funcName;
    CHAR_t** modNames;
    U16_t* modLevels; /**< one level word a module; never null: a table of zeros while the facility is off */
    const MPU_PARAMS_t* mpuParams; /**< stays null: every call stores null, and the bug check hands that on */
    U32_t logWriteCount;           /**< lines since the last size check or open */
    U32_t infoBufLen;
    U32_t lineNumber;
    BOOLEAN log_to_file;
    CHAR_t logNameProto[TRC_K_LOG_NAME_SIZE];
    U8_t moduleIndex;
    U8_t logInstanceNumber; /**< wraps from 255 to 0 */
    U8_t numModLevels;
};

extern TRACE_DATA_t traceData;

/**
 * Starts the facility: `numModules` level words, all 0, copies of the module names, and the log `logName`: a name
 * with one "%d" or "%02d" that takes the log's number, counted from 1. Takes what memory the facility ever needs.
 * Call it while no other thread traces, and TRACE__done() before calling it again.
 */
void TRACE__init(const MPU_PARAMS_t* mpuParams, const CHAR_t* logName, U8_t numModules, const CHAR_t* const* modNames);
/**
 * Closes the log and opens `logName` in the block's log directory, numbered from 1 again, or standard error when the
 * block or the name is missing.
 */
void TRACE__redirect(const MPU_PARAMS_t* mpuParams, const CHAR_t* logName);
/** Puts the current log's path, or "<stderr>", into `dst` of TRC_K_LOG_NAME_SIZE bytes. */
void TRACE__getLogName(CHAR_t* dst);
/** Opens the next numbered log; when that fails, all further output goes to standard error. */
void TRACE_openLog();
/** Opens the next numbered log when the current one has grown beyond 1999999999 bytes. */
void TRACE_checkLog();

/** Writers. The caller holds the lock and has filled the current-call fields; they release the lock. */
S32_t TRACE__logInfo(BOOLEAN write, BOOLEAN bugCheck);
void TRACE__logDump(const void* buffer, U32_t length);
void TRACE__logEnter();
void TRACE__logReturn();

/** Sets a module's level word; 0, or -1 with a report on standard error for a module that does not exist. */
S32_t TRACE__setTraceLevel(S32_t module, U16_t level);
/** A module's level word; 0 with a report on standard error for a module that does not exist. */
U16_t TRACE__getTraceLevel(S32_t module);
/** Puts "Mmm dd hh:mm:ss", local time, into `buffer`, cut to `size`; its length, 0 without a buffer. */
U32_t TRACE_getTimestamp(CHAR_t* buffer, U32_t size);
/** Ends the facility: the level words are gone, so nothing is traced any more, and the stream is standard error. */
void TRACE__done();
/** Reports the current text to the event log and aborts. The caller holds the lock. */
[[noreturn]] void TRACE__bugCheck();

/** What the macros below call once the level bit is seen; not for direct use. errno is left as it was. */
[[gnu::format(printf, 4, 5)]] void TRACE__info(const CHAR_t* file, const CHAR_t* function, U32_t line,
                                               const CHAR_t* format, ...);
[[gnu::format(printf, 4, 5), noreturn]] void TRACE__infoBugCheck(const CHAR_t* file, const CHAR_t* function, U32_t line,
                                                                 const CHAR_t* format, ...);
void TRACE__dump(const CHAR_t* file, const CHAR_t* function, U32_t line, const CHAR_t* label, const void* buffer,
                 U32_t length);
void TRACE__enter(U8_t module, const CHAR_t* file, const CHAR_t* function, U32_t line, const CHAR_t* text);
void TRACE__return(U8_t module, const CHAR_t* file, const CHAR_t* function, U32_t line, const CHAR_t* text);

/** Whether `bit` of the level word of `module`, one that TRACE__init() was told of, is set. Safe at any time. */
#define TRACE_ENABLED(module, bit)                                                                                     \
    __builtin_expect((__atomic_load_n(&traceData.modLevels[module], __ATOMIC_RELAXED) & (bit)) != 0, 0)

/** Traces one line: printf's format and arguments. */
#define TRACE_INFO(...)                                                                                                \
    do {                                                                                                               \
        if (TRACE_ENABLED(0, TRC_K_INFO)) {                                                                            \
            TRACE__info(__FILE_NAME__, __func__, __LINE__, __VA_ARGS__);                                               \
        }                                                                                                              \
    } while (0)

/** Traces a label and a hex dump of `length` bytes. */
#define TRACE_DUMP(label, buffer, length)                                                                              \
    do {                                                                                                               \
        if (TRACE_ENABLED(0, TRC_K_INFO)) {                                                                            \
            TRACE__dump(__FILE_NAME__, __func__, __LINE__, label, buffer, length);                                     \
        }                                                                                                              \
    } while (0)

/** Traces that a function of `module` is entered, or left, with a text of its own. */
#define TRACE_ENTER(module, text)                                                                                      \
    do {                                                                                                               \
        if (TRACE_ENABLED(module, TRC_K_ENTRY_EXIT)) {                                                                 \
            TRACE__enter(module, __FILE_NAME__, __func__, __LINE__, text);                                             \
        }                                                                                                              \
    } while (0)
#define TRACE_RETURN(module, text)                                                                                     \
    do {                                                                                                               \
        if (TRACE_ENABLED(module, TRC_K_ENTRY_EXIT)) {                                                                 \
            TRACE__return(module, __FILE_NAME__, __func__, __LINE__, text);                                            \
        }                                                                                                              \
    } while (0)

/** Reports a broken invariant: writes the line whatever the level, records it in the event log and aborts. */
#define TRACE_BUGCHECK(...) TRACE__infoBugCheck(__FILE_NAME__, __func__, __LINE__, __VA_ARGS__)
