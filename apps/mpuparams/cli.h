/** The command line. */
#pragma once

/** Runs `mpuparams`; the result is the exit status. */
int mpuparamsMain(int argc, const char* const* argv);
