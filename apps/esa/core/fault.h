/** Critical-error handler. */
#pragma once

#include "basetypes.h"

/**
 * Reports a condition that the adapter cannot recover from: a report and a dump of the control block in the trace
 * log, and four records in the platform's event log. The last record asks the platform to end the process; should
 * it not, the handler returns and the caller carries on.
 */
[[gnu::format(printf, 4, 5)]] void esaFault(const CHAR_t* fileName, int lineNo, const CHAR_t* fnName, const CHAR_t* msg,
                                            ...);

/** The first three arguments of esaFault(): where the caller stands. */
#define ESA_CALL_SITE(function) __FILE_NAME__, __LINE__, function
