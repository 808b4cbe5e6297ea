/** The command line. */
#pragma once

/** Runs `msm`; the result is the exit status. */
int msmMain(int argc, const char* const* argv);
