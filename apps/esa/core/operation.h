/**
 * Tracing under the name of the operation that is under way. Whatever an operation calls traces under its name, so
 * that helpers come, go and move without a change in anybody's log, and operations that share a helper can be told
 * apart.
 */
#pragma once

#include "trace.h"

/** Name of the operation under way; outside of all it is the start-up or the main loop. */
inline const CHAR_t* esaOperation = "main";

/** Gives the trace lines of a scope, and of all that it calls, the name of an operation. */
class EsaOperationScope_t {
public:
    explicit EsaOperationScope_t(const CHAR_t* name) : outer_(esaOperation) { esaOperation = name; }
    ~EsaOperationScope_t() { esaOperation = outer_; }
    EsaOperationScope_t(const EsaOperationScope_t&) = delete;
    EsaOperationScope_t& operator=(const EsaOperationScope_t&) = delete;

private:
    const CHAR_t* outer_;
};

/** First line of an operation whose name the log knows; a function behind it that goes by another name gives that. */
#define ESA_OPERATION() ESA_OPERATION_NAMED(__func__)
#define ESA_OPERATION_NAMED(name) const EsaOperationScope_t esaOperationScope(name)

/** Traces one line: printf's format and arguments. Nothing is evaluated while tracing is off. */
#define ESA_TRACE(...)                                                                                                 \
    do {                                                                                                               \
        if (TRACE_ENABLED(TRC_E_MOD_ESA, TRC_K_INFO)) {                                                                \
            TRACE__info(__FILE_NAME__, esaOperation, __LINE__, __VA_ARGS__);                                           \
        }                                                                                                              \
    } while (0)

/** Traces a label and a hex dump of `length` bytes. */
#define ESA_TRACE_DUMP(label, buffer, length)                                                                          \
    do {                                                                                                               \
        if (TRACE_ENABLED(TRC_E_MOD_ESA, TRC_K_INFO)) {                                                                \
            TRACE__dump(__FILE_NAME__, esaOperation, __LINE__, label, buffer, length);                                 \
        }                                                                                                              \
    } while (0)

/** Traces a text, where there is one. */
#define ESA_TRACE_TEXT(text)                                                                                           \
    do {                                                                                                               \
        const CHAR_t* const esaText = (text);                                                                          \
        if (esaText != nullptr) {                                                                                      \
            ESA_TRACE("%s", esaText);                                                                                  \
        }                                                                                                              \
    } while (0)
