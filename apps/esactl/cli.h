/** The command line. */
#pragma once

/**
 * Runs `esactl`; the result is the exit status (tool_error.h). Every error is one line on standard error; with --json
 * it is a JSON document on standard output as well.
 */
int esactlMain(int argc, const char* const* argv);
