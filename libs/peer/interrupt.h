/** Ending a long-running command by a signal or a key. */
#pragma once

/** Thrown out of a wait when the user asked to stop. */
struct Interrupted_t {};

/** Also watch `fd`, a terminal in non-canonical mode, for the key 'q'. -1 stops watching. */
void interruptWatchKeys(int fd);

/** Becomes readable when a key may have been pressed; -1 when none is watched. */
int interruptKeyFd();

/** Whether a stop was asked for by signal or key. Reads and drops any other keys; never blocks. */
bool interruptRequested();
