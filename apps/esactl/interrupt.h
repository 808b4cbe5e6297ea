/** Ending a long-running command by Ctrl-C, SIGTERM or a key, without losing what is under way. */
#pragma once

/** Thrown out of a wait when the user asked to stop. */
struct Interrupted {};

/**
 * From now on SIGINT, SIGTERM and SIGHUP do not kill the process but make interruptRequested() true and every wait
 * throw Interrupted. Call once.
 */
void interruptInstall();

/** Also watch `fd`, a terminal in non-canonical mode, for the key 'q'. -1 stops watching. */
void interruptWatchKeys(int fd);

/** Descriptors that become readable when a stop may have been asked for; -1 where there is none. */
int interruptSignalFd();
int interruptKeyFd();

/** Whether a stop was asked for. Reads and drops any other keys; never blocks. */
bool interruptRequested();
