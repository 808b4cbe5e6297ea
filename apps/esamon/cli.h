/** The command line. */
#pragma once

/** Runs `esamon`; the result is the exit status. Every error is one line on standard error. */
int esamonMain(int argc, const char* const* argv);
