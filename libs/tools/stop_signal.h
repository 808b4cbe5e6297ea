/** Ending a long-running tool by Ctrl-C or a service manager, without losing what is under way. */
#pragma once

/**
 * From now on SIGINT, SIGTERM and SIGHUP do not kill the process but are noted, even where whoever started it holds
 * them back. A SIGHUP that is ignored stays so: the tool is to outlive its terminal. Later calls do nothing.
 */
void stopSignalInstall();

/** Becomes readable with the first such signal and stays so; -1 before stopSignalInstall(). */
[[nodiscard]] int stopSignalFd();

/** Such a signal does again what it did before stopSignalInstall(), held back no more; what came is forgotten. */
void stopSignalForget();

/** Whether one has come. */
[[nodiscard]] bool stopSignalReceived();
