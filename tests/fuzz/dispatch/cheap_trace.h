/** Trace lines that cost little: the linker puts this before the tracer, and only texts and dumps are read. */
#pragma once

namespace cheaptrace {

/** Hands every line on to the tracer, which formats and writes it. */
extern bool linesAreFormatted;

} // namespace cheaptrace
